#include "Utility/Layscan/Report/ReportDisk.h"

#include <vector>

#include "SectorBuffer/Dev/SectorProvider.h"
#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Report/ConsistencySection.h"
#include "Utility/Layscan/Report/EpbrChainSection.h"
#include "Utility/Layscan/Model/DiskConsistency.h"
#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Report/GptSection.h"
#include "Utility/Layscan/Report/GptSectorDump.h"
#include "Utility/Layscan/Report/MbrBootRecordSection.h"
#include "Utility/Layscan/Model/MbrDisk.h"
#include "Utility/Layscan/Report/MbrPartitionInfoSection.h"
#include "Utility/Layscan/Report/ReportStream.h"
#include "Utility/Layscan/Report/VolumeBootRecords.h"

namespace {

void ReportMbrDisk(SectorProvider& sectors, const DiskInfo& info, ReportStream& out, const Geometry& geometry) {
    const nsLayout::DiagnosticMbrDisk disk(sectors, geometry);
    WritePartitionInfoSection(disk, info, out);
    WriteMasterBootRecordSection(sectors, *disk.GetMbr(), info.diskNumber, MbrRole::Master, out);
    WriteEpbrChainSection(disk, info, out);
    WriteVolumeBootRecords(sectors, disk.GetVolumePartitions(), info, out);
    if (info.verify) WriteConsistencySection(CheckConsistency(MbrDiskFactsOf(disk, sectors)), info.diskNumber, out);
}

void ReportGptDisk(SectorProvider& sectors, const DiskInfo& info, ReportStream& out) {
    const nsLayout::DiagnosticGptDisk disk(sectors);
    WriteGptSection(disk, info, out);
    WriteMasterBootRecordSection(sectors, *disk.GetProtectiveMbr(), info.diskNumber, MbrRole::Protective, out);
    DumpGptSectors(disk, info.diskNumber, out);
    WriteVolumeBootRecords(sectors, disk.GetVolumePartitions(), info, out);
    if (info.verify) WriteConsistencySection(CheckConsistency(GptDiskFactsOf(disk, sectors)), info.diskNumber, out);
}

}  // namespace

void ReportDisk(SectorProvider& sectors, const DiskInfo& info, ReportStream& out, uint32_t sectorsPerTrack,
                uint32_t cylinderCount, uint32_t headCount) {
    // A disk without sectors has no sector 0 for either recogniser to read.
    if (sectors.GetSectorCount() == 0) return;
    // Asked first, so a disk both would take is reported as an MBR disk.
    if (nsLayout::IsMbr(sectors)) {
        const Geometry reported(sectors.GetBytesPerSector(), sectorsPerTrack, cylinderCount, headCount,
                                sectors.GetSectorCount());
        ReportMbrDisk(sectors, info, out, reported);
    } else if (nsLayout::IsGpt(sectors)) {
        ReportGptDisk(sectors, info, out);
    }
}
