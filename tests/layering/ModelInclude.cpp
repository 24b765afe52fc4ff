// Built by the layering tests only: a model source including a header of the
// layer below it, or of the report layer above it. Only the first builds.
#if defined(LAYSCAN_INCLUDE_ABOVE)
#include "Utility/Layscan/Report/ReportDisk.h"
#elif defined(LAYSCAN_INCLUDE_BELOW)
#include "Utility/Layscan/OnDisk/MbrRecord.h"
#endif

int LayeringProbe() { return 0; }
