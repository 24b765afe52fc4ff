#include "Utility/Layscan/Report/BootRecordListing.h"

#include "Utility/Layscan/Model/BootRecordBase.h"
#include "Utility/Layscan/Report/ColumnLayout.h"
#include "Utility/Layscan/Report/MbrTableRow.h"
#include "Utility/Layscan/Report/ReportPrimitives.h"
#include "Utility/Layscan/Report/ReportStream.h"


namespace {

const wchar_t kForDisk[] = L" for Disk ";
const wchar_t kOnDiskValues[] = L"On Disk Values:";
const wchar_t kCalculated[] = L"Calculated:";
const std::wstring kEntryHeader =
    L"#  Entry                 Values           Boot     BCyl Head Sect FS      ECyl Head Sect       StartSect"
    L"         EndSect        NumSects\n";

enum Column { kSlot, kEntry, kValues, kBoot, kBeginCyl, kBeginHead, kBeginSect, kType, kEndCyl, kEndHead, kEndSect,
              kStart, kEnd, kCount };

const ColumnLayout& Layout() {
    static const ColumnLayout layout(kEntryHeader,
                                     {L"#", L"Entry", L"Values", L"Boot", L"BCyl", L"Head", L"Sect", L"FS", L"ECyl",
                                      L"Head", L"Sect", L"StartSect", L"EndSect", L"NumSects"});
    return layout;
}

// The calculated CHS of lba, placed in the three columns from first.
void PlaceChs(ColumnLayout::Row& row, const Geometry& geometry, uint64_t lba, size_t first) {
    uint64_t cylinder;
    uint32_t head, sector;
    geometry.GetChsFromLba(lba, cylinder, head, sector);
    row.RightDecimal(first, cylinder)
        .RightDecimal(first + 1, head)
        .RightDecimal(first + 2, sector);
}

}  // namespace

void WriteBootRecordHeading(const std::wstring& title, uint16_t diskNumber, ReportStream& stream) {
    stream << L"\n" << RuleEquals121 << title << kForDisk << diskNumber << L"\n";
}

void WriteBootRecordEntryHeader(ReportStream& stream) { stream << kEntryHeader << RuleDashes137; }

void WriteBootRecordEntry(const BootRecordBase& record, uint32_t slot, const std::wstring& label,
                          ReportStream& stream) {
    const OnDiskMbrPartitionEntry& entry = record.GetEntry(slot);
    ColumnLayout::Row stored(Layout());
    stored.Left(kSlot, ColumnLayout::Decimal(slot)).Left(kEntry, label).Left(kValues, kOnDiskValues);
    PlaceStoredEntry(stored, kBoot, entry);
    stored.RightCount(kStart, entry.GetStartSector()).RightCount(kCount, entry.GetSectorCount());

    ColumnLayout::Row calculated(Layout());
    calculated.Left(kValues, kCalculated);
    // An empty entry describes no sectors: there is nothing to calculate.
    if (entry.GetPartitionType() != 0) {
        const Geometry& geometry = record.GetGeometry();
        const uint64_t start = record.GetStartLba(slot);
        const uint64_t end = record.GetEndLba(slot);
        PlaceChs(calculated, geometry, start, kBeginCyl);
        PlaceChs(calculated, geometry, end, kEndCyl);
        calculated.RightCount(kStart, start).RightCount(kEnd, end);
    }
    stored.WriteLine(stream);
    calculated.WriteLine(stream);
}

void WriteBootRecordDump(const BootRecordBase& record, ReportStream& stream) {
    DumpHex(record.GetBuffer()->Data(), record.GetBuffer()->GetSize(), stream, L"\n");
}
