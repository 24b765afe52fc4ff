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
    row.Left(kSystem, label).RightCount(kTableLba, tableLba).RightDecimal(kSlot, slot);
    PlaceStoredEntry(row, kBoot, entry);
    row.RightCount(kStart, startLba).RightCount(kCount, entry.GetSectorCount());
    row.WriteLine(stream);
}

void WriteMbrTableRow(ReportStream& stream, const nsLayout::SectorCopies& copies, const BootRecordBase& record,
                      uint32_t slot) {
    WriteMbrTableRow(stream, PartitionTypeLabel(copies, record, slot), record.GetMyLba(), slot, record.GetEntry(slot),
                     record.GetStartLba(slot));
}

std::wstring PartitionTypeLabel(const nsLayout::SectorCopies& copies, const BootRecordBase& record, uint32_t slot) {
    const uint8_t type = record.GetEntry(slot).GetPartitionType();
    // An empty entry's label needs no sector.
    if (type == 0) return GetPartitionTypeName(type, nullptr, 0);
    const uint64_t start = record.GetStartLba(slot);
    // One buffer for every label: a chain's logical partitions are labelled
    // several times each.
    thread_local std::vector<uint8_t> firstSector;
    if (start < copies.GetSectorCount())
        copies.GetPrefix(start, firstSector);
    else
        firstSector.assign(copies.GetBytesPerSector(), 0);
    return GetPartitionTypeName(type, firstSector.data(), firstSector.size());
}

void PlaceStoredEntry(ColumnLayout::Row& row, size_t bootColumn, const OnDiskMbrPartitionEntry& entry) {
    const OnDiskCHS& begin = entry.GetBeginChs();
    const OnDiskCHS& end = entry.GetEndChs();
    row.RightHex(bootColumn, entry.GetBootIndicator(), 2)
        .RightDecimal(bootColumn + 1, begin.GetCylinder())
        .RightDecimal(bootColumn + 2, begin.GetHead())
        .RightDecimal(bootColumn + 3, begin.GetSector())
        .RightHex(bootColumn + 4, entry.GetPartitionType(), 2)
        .RightDecimal(bootColumn + 5, end.GetCylinder())
        .RightDecimal(bootColumn + 6, end.GetHead())
        .RightDecimal(bootColumn + 7, end.GetSector());
}
