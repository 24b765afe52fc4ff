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
    row.Right(first, ColumnLayout::Decimal(cylinder))
        .Right(first + 1, ColumnLayout::Decimal(head))
        .Right(first + 2, ColumnLayout::Decimal(sector));
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
    stored.Right(kStart, ColumnLayout::Count(entry.GetStartSector())).Right(kCount, ColumnLayout::Count(entry.GetSectorCount()));

    ColumnLayout::Row calculated(Layout());
    calculated.Left(kValues, kCalculated);
    // An empty entry describes no sectors: there is nothing to calculate.
    if (entry.GetPartitionType() != 0) {
        const Geometry& geometry = record.GetGeometry();
        PlaceChs(calculated, geometry, record.GetStartLba(slot), kBeginCyl);
        PlaceChs(calculated, geometry, record.GetEndLba(slot), kEndCyl);
        calculated.Right(kStart, ColumnLayout::Count(record.GetStartLba(slot)))
            .Right(kEnd, ColumnLayout::Count(record.GetEndLba(slot)));
    }
    stream << stored.Text() << L"\n" << calculated.Text() << L"\n";
}

void WriteBootRecordDump(const BootRecordBase& record, ReportStream& stream) {
    DumpHex(record.GetBuffer()->Data(), record.GetBuffer()->GetSize(), stream, L"\n");
}
