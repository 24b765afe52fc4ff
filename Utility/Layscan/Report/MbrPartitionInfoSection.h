#pragma once
// The partition information section of an MBR disk: the geometry report, the
// MBR partition table with every entry of the MBR and of each EPBR and the
// warnings about each, then the disk's partitions and free space in disk
// order with the operating system's volume at each.

#include <cstdint>
#include <string>
#include <vector>

class ReportStream;

namespace nsLayout {
class MbrDisk;
struct DiskInfo;
}  // namespace nsLayout

// Status words of the partition list: "Primary" or "Logical" for the table the
// entry is in, preceded by "Active " when its boot indicator is 0x80. Free
// space inside an extended partition is "In Extended"; other free space has
// no status.
void WritePartitionInfoSection(const nsLayout::MbrDisk& disk, const nsLayout::DiskInfo& diskInfo, ReportStream& stream);

// One row of the partition list: an entry of a table (with where it stands)
// or free space, and the operating system's volume on exactly its sectors.
struct PartitionListRow {
    uint64_t start;
    uint64_t count;
    std::wstring type;
    std::wstring status;
    bool inTable;
    uint64_t tableLba;
    uint32_t slot;
    bool active;
    bool logical;
    std::wstring volume;
};

// The rows in disk order: entries in table order where starts are equal,
// free space after the entries.
std::vector<PartitionListRow> PartitionListRows(const nsLayout::MbrDisk& disk, const nsLayout::DiskInfo& diskInfo);
