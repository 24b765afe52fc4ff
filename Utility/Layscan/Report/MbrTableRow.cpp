#include "Utility/Layscan/Report/MbrTableRow.h"

#include <vector>

#include "Utility/Layscan/Model/BootRecordBase.h"
#include "Utility/Layscan/Model/SectorCopies.h"
#include "Utility/Layscan/Report/ColumnLayout.h"
#include "Utility/Layscan/Report/DiskGeometryReport.h"
#include "Utility/Layscan/Report/PartitionTypeName.h"
#include "Utility/Layscan/Report/ReportStream.h"


namespace {

enum Column { kSystem, kTableLba, kSlot, kBoot, kBeginCyl, kBeginHead, kBeginSect, kType, kEndCyl, kEndHead,
              kEndSect, kStart, kCount };

const ColumnLayout& Layout() {
    static const ColumnLayout layout(kMbrTableHeader, {L"System", L"Part Table LBA", L"#", L"Boot", L"BCyl", L"Head",
                                                       L"Sect", L"FS", L"ECyl", L"Head", L"Sect", L"StartSect",
                                                       L"NumSects"});
    return layout;
}

}  // namespace

void WriteMbrTableRow(ReportStream& stream, const std::wstring& label, uint64_t tableLba, uint32_t slot,
                      const OnDiskMbrPartitionEntry& entry, uint64_t startLba) {
    ColumnLayout::Row row(Layout());
    row.Left(kSystem, label).Right(kTableLba, ColumnLayout::Count(tableLba)).Right(kSlot, ColumnLayout::Decimal(slot));
    PlaceStoredEntry(row, kBoot, entry);
    row.Right(kStart, ColumnLayout::Count(startLba)).Right(kCount, ColumnLayout::Count(entry.GetSectorCount()));
    stream << row.Text() << L"\n";
}

void WriteMbrTableRow(ReportStream& stream, const nsLayout::SectorCopies& copies, const BootRecordBase& record,
                      uint32_t slot) {
    WriteMbrTableRow(stream, PartitionTypeLabel(copies, record, slot), record.GetMyLba(), slot, record.GetEntry(slot),
                     record.GetStartLba(slot));
}

std::wstring PartitionTypeLabel(const nsLayout::SectorCopies& copies, const BootRecordBase& record, uint32_t slot) {
    const uint8_t type = record.GetEntry(slot).GetPartitionType();
    std::vector<uint8_t> firstSector(copies.GetBytesPerSector(), 0);
    const uint64_t start = record.GetStartLba(slot);
    if (type != 0 && start < copies.GetSectorCount()) copies.GetPrefix(start, firstSector);
    return GetPartitionTypeName(type, firstSector.data(), firstSector.size());
}

void PlaceStoredEntry(ColumnLayout::Row& row, size_t bootColumn, const OnDiskMbrPartitionEntry& entry) {
    const OnDiskCHS& begin = entry.GetBeginChs();
    const OnDiskCHS& end = entry.GetEndChs();
    row.Right(bootColumn, ColumnLayout::Hex(entry.GetBootIndicator(), 2))
        .Right(bootColumn + 1, ColumnLayout::Decimal(begin.GetCylinder()))
        .Right(bootColumn + 2, ColumnLayout::Decimal(begin.GetHead()))
        .Right(bootColumn + 3, ColumnLayout::Decimal(begin.GetSector()))
        .Right(bootColumn + 4, ColumnLayout::Hex(entry.GetPartitionType(), 2))
        .Right(bootColumn + 5, ColumnLayout::Decimal(end.GetCylinder()))
        .Right(bootColumn + 6, ColumnLayout::Decimal(end.GetHead()))
        .Right(bootColumn + 7, ColumnLayout::Decimal(end.GetSector()));
}
