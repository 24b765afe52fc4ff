#pragma once
// The partition information section of an MBR disk: the geometry report, the
// MBR partition table with every entry of the MBR and of each EPBR and the
// warnings about each, then the disk's partitions and free space in disk
// order with the operating system's volume at each.

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
