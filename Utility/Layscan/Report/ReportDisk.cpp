#include "Utility/Layscan/Report/ReportDisk.h"

#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Model/MbrDisk.h"
#include "Utility/Layscan/Report/EpbrChainSection.h"
#include "Utility/Layscan/Report/GptSection.h"
#include "Utility/Layscan/Report/GptSectorDump.h"
#include "Utility/Layscan/Report/MbrBootRecordSection.h"
#include "Utility/Layscan/Report/MbrPartitionInfoSection.h"
#include "Utility/Layscan/Report/ReportStream.h"
#include "Utility/Layscan/Report/VolumeBootRecords.h"

using nsLayout::DiskInfo;

void ReportMbrDisk(const nsLayout::MbrDisk& disk, const DiskInfo& info, ReportStream& out) {
    WritePartitionInfoSection(disk, info, out);
    WriteMasterBootRecordSection(disk.GetSectorCopies(), *disk.GetMbr(), info.diskNumber, MbrRole::Master, out);
    WriteEpbrChainSection(disk, info, out);
    WriteVolumeBootRecords(disk.GetSectorCopies(), disk.GetVolumePartitions(), info, out);
}

void ReportGptDisk(const nsLayout::GptDisk& disk, const DiskInfo& info, ReportStream& out) {
    WriteGptSection(disk, info, out);
    WriteMasterBootRecordSection(disk.GetSectorCopies(), *disk.GetProtectiveMbr(), info.diskNumber,
                                 MbrRole::Protective, out);
    DumpGptSectors(disk, info.diskNumber, out);
    WriteVolumeBootRecords(disk.GetSectorCopies(), disk.GetVolumePartitions(), info, out);
}
