#include "Utility/Layscan/Os/Platform.h"

const char* PlatformName() { return "linux"; }

// Linux never translates line ends.
void SetStandardOutputBinary() {}
