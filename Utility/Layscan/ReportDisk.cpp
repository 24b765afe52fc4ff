#include "Utility/Layscan/ReportDisk.h"

#include "SectorBuffer/Dev/SectorProvider.h"
#include "Utility/Layscan/DiskInfo.h"
#include "Utility/Layscan/ReportStream.h"

void ReportDisk(SectorProvider&, const DiskInfo&, ReportStream&, uint32_t, uint32_t, uint32_t) {
    // The MBR and GPT recognisers are not in place yet: every disk is one
    // that neither accepts, and such a disk gets no text.
}
