#pragma once
// The partition information section of an MBR disk: the geometry report, the
// MBR partition table with every entry of the MBR and of each EPBR and the
// warnings about each, then the disk's partitions and free space in disk
// order with the operating system's volume at each.

#include <cstdint>
#include <string>
#include <vector>

class BootRecordBase;
class ReportStream;

namespace nsLayout {
class MbrDisk;
class SectorCopies;
struct DiskInfo;
}  // namespace nsLayout

// Status words of the partition list: "Primary" or "Logical" for the table the
// entry is in, preceded by "Active " when its boot indicator is 0x80. Free
// space inside an extended partition is "In Extended"; other free space has
// no status.
void WritePartitionInfoSection(const nsLayout::MbrDisk& disk, const nsLayout::DiskInfo& diskInfo, ReportStream& stream);

// One row of the partition list: an entry of a table, or free space. Its
// texts are made when the row is written: a chain lists a million rows.
struct PartitionListRow {
    uint64_t start;
    uint64_t count;
    const BootRecordBase* record;  // null for free space
    uint32_t slot;
    bool logical;  // an entry of an EPBR, or free space inside the extended partition
};

// The rows in disk order: entries in table order where starts are equal,
// free space after the entries. Every type label is made here once, so a
// failed read of a partition's first sector ends the report before the list.
std::vector<PartitionListRow> PartitionListRows(const nsLayout::MbrDisk& disk);
// The row's columns: type label ("Unallocated" for free space), status, and
// the operating system's volume on exactly its sectors.
std::wstring PartitionListType(const PartitionListRow& row, const nsLayout::SectorCopies& copies);
std::wstring PartitionListStatus(const PartitionListRow& row);
bool IsPartitionListRowActive(const PartitionListRow& row);
std::wstring PartitionListVolume(const PartitionListRow& row, const nsLayout::DiskInfo& diskInfo,
                                 uint64_t bytesPerSector);
