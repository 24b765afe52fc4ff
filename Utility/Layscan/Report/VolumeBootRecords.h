#pragma once
// The last section of each disk's report: for the partitions that can hold a
// Windows file system, the operating system's volume, a heading and the BPB
// listing of the first sector; for every partition, a hex dump of that sector.

#include <cstdint>
#include <string>

#include "Utility/Layscan/Model/VolumePartition.h"

class ReportStream;

namespace nsLayout {
class SectorCopies;
struct DiskInfo;
}  // namespace nsLayout

// Partitions of the EFI system and basic data types get a BPB listing; the
// others only a hex dump.
bool GetsBpbListing(const nsLayout::VolumePartition& partition);
// The operating system's volume on exactly the partition's sectors, or empty.
std::wstring VolumeOfPartition(const nsLayout::VolumePartition& partition, const nsLayout::DiskInfo& diskInfo);

// Each partition's first sector as the model read it; a failed read fails
// below the heading of the listing or dump that shows it.
void WriteVolumeBootRecords(const nsLayout::SectorCopies& copies, const nsLayout::VolumePartitionList& partitions,
                            const nsLayout::DiskInfo& diskInfo, ReportStream& out);

// "Volume Boot Record for Disk N:  at Sector X  (0xH)", under a rule.
void WriteVolumeBootRecordHeading(uint16_t diskNumber, uint64_t lba, ReportStream& out);

// A heading line, then the hex dump of the sector at `lba` (nothing below the
// heading for a sector of one repeated byte).
void WriteVolumeBootRecordHexDump(const nsLayout::SectorCopies& copies, uint16_t diskNumber, uint64_t lba,
                                  ReportStream& out);
