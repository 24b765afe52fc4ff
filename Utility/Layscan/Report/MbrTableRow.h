#pragma once
// One row of the MBR partition table that follows the geometry report: an
// entry of the MBR or of an EPBR, as it stands on disk, under the columns of
// kMbrTableHeader.

#include <cstdint>
#include <string>

#include "Utility/Layscan/Report/ColumnLayout.h"

class OnDiskMbrPartitionEntry;
class ReportStream;

class BootRecordBase;

namespace nsLayout {
class SectorCopies;
}  // namespace nsLayout

// The row: label, the LBA of the table holding the entry, its slot, the boot
// indicator and type as two hex digits, both on-disk CHS values, the entry's
// absolute first sector and its sector count. Ends with a line end.
void WriteMbrTableRow(ReportStream& stream, const std::wstring& label, uint64_t tableLba, uint32_t slot,
                      const OnDiskMbrPartitionEntry& entry, uint64_t startLba);

// The row of slot of an MBR or EPBR, labelled with PartitionTypeLabel.
void WriteMbrTableRow(ReportStream& stream, const nsLayout::SectorCopies& copies, const BootRecordBase& record,
                      uint32_t slot);

// The type label of slot of record. The partition's first sector, as the
// model read it, counts only when it lies on the disk; an empty entry, or one
// that starts beyond the end, is labelled as over a sector of zeros. A failed
// read of that sector fails here.
std::wstring PartitionTypeLabel(const nsLayout::SectorCopies& copies, const BootRecordBase& record, uint32_t slot);

// The entry's stored boot indicator, begin CHS, type and end CHS in the eight
// columns "Boot" BCyl Head Sect "FS" ECyl Head Sect that start at bootColumn:
// the MBR table and the boot record sections show them alike.
void PlaceStoredEntry(ColumnLayout::Row& row, size_t bootColumn, const OnDiskMbrPartitionEntry& entry);
