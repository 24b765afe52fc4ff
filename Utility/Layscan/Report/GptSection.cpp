#include "Utility/Layscan/Report/GptSection.h"

#include <algorithm>
#include <vector>

#include "Base/Dev/AssertionFailure.h"
#include "Utility/Layscan/Report/ColumnLayout.h"
#include "Utility/Layscan/Report/DiskGeometryReport.h"
#include "Utility/Layscan/Report/FindingLog.h"
#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Model/GptChecks.h"
#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Model/Mbr.h"
#include "Utility/Layscan/Report/MbrTableRow.h"
#include "Utility/Layscan/Report/ReportPrimitives.h"
#include "Utility/Layscan/Report/ReportStream.h"

using nsLayout::DiskInfo;
using nsLayout::CheckGptHeader;
using nsLayout::CheckGptEntry;

namespace {

const std::wstring kTableHeader =
    L"#   Partion Type/Volume GUID            Sect Index  Attribute Bits              Start Sector                  "
    L"End Sector    Size\n";
const std::wstring kUnallocated = L"Unallocated Space                     -- -                --";

enum Column { kNumber, kGuid, kSect, kIndex, kAttributes, kStart, kEnd, kSize };

const ColumnLayout& Layout() {
    static const ColumnLayout layout(kTableHeader, {L"#", L"Partion Type/Volume GUID", L"Sect", L"Index",
                                                    L"Attribute Bits", L"Start Sector", L"End Sector", L"Size"});
    return layout;
}

// The only entry size the rows can be read with; the entry views are 128
// bytes wide whatever the header says.
constexpr uint32_t kSupportedEntrySize = 128;
constexpr uint64_t kArraySlots = 128;

// Labels of the header data, padded so that the values line up.
constexpr size_t kLabelWidth = 26;

void WriteField(ReportStream& out, const std::wstring& label, const std::wstring& value) {
    std::wstring line = label;
    line.resize(std::max(kLabelWidth, label.size() + 1), L' ');
    out << line << value << L"\n";
}

// A 32-bit field in full: "0x" and eight upper-case digits.
std::wstring Hex32(uint32_t value) { return L"0x" + ColumnLayout::Hex(value, 8); }

// The signature bytes as characters; what is not printable ASCII shows as ".".
std::wstring SignatureText(const OnDiskGptHeader& header) {
    uint8_t bytes[8];
    header.GetSignature(bytes, 0, sizeof bytes);
    std::wstring text;
    for (uint8_t b : bytes) text += b >= 32 && b < 127 ? static_cast<wchar_t>(b) : L'.';
    return text;
}

void WriteUnallocatedRow(ReportStream& out, const nsLayout::FreeExtent& extent, uint32_t bytesPerSector) {
    const uint64_t last = extent.start + extent.count - 1;
    ColumnLayout::Row row(Layout());
    row.Left(kNumber, kUnallocated)
        .Right(kStart, ColumnLayout::Count(extent.start))
        .Right(kEnd, ColumnLayout::Count(last))
        .Left(kSize, FormatHumanSize(ExtentBytes(extent.start, last, bytesPerSector)));
    out << row.Text() << L"\n";
}

void WriteEntryRows(ReportStream& out, const GptPartitionTable& table, uint64_t index, uint32_t bytesPerSector) {
    const OnDiskGptPartitionEntry& entry = table.GetEntry(index);
    const GptEntryPlace place = PlaceOfGptEntry(table, index, bytesPerSector);
    const uint64_t first = entry.GetFirstLba();
    const uint64_t last = entry.GetLastLba();

    ColumnLayout::Row row(Layout());
    row.Left(kNumber, std::to_wstring(index))
        .Left(kGuid, entry.GetPartitionTypeGuid().ToText())
        .Right(kSect, ColumnLayout::Count(place.sector))
        .Right(kIndex, std::to_wstring(place.indexInSector))
        .Left(kAttributes, ColumnLayout::Hex(entry.GetAttributes(), 16))
        .Right(kStart, ColumnLayout::Count(first))
        .Right(kEnd, ColumnLayout::Count(last))
        .Left(kSize, FormatHumanSize(ExtentBytes(first, last, bytesPerSector)));
    out << row.Text() << L"\n";

    char16_t units[OnDiskGptPartitionEntry::kNameUnits];
    entry.GetPartitionName(units, 0, OnDiskGptPartitionEntry::kNameUnits);
    const std::wstring name = GptNameForReport(std::u16string(units, OnDiskGptPartitionEntry::kNameUnits));
    std::wstring second = entry.GetUniquePartitionGuid().ToText();
    if (!name.empty()) second += L"  " + name;
    ColumnLayout::Row nameRow(Layout());
    nameRow.Left(kGuid, second);
    out << nameRow.Text() << L"\n";
}

}  // namespace

uint64_t GptSlotsShown(const GptPartitionTable& table) {
    const OnDiskGptHeader& header = table.GetHeader();
    if (header.GetSizeOfPartitionEntry() != kSupportedEntrySize) return 0;
    // The model never holds more than the array's 128 slots.
    return std::min<uint64_t>(header.GetNumberOfPartitionEntries(), kArraySlots);
}

GptEntryPlace PlaceOfGptEntry(const GptPartitionTable& table, uint64_t index, uint32_t bytesPerSector) {
    const uint64_t byteInArray = index * kSupportedEntrySize;
    return {table.GetHeader().GetPartitionEntryLba() + byteInArray / bytesPerSector,
            byteInArray % bytesPerSector / kSupportedEntrySize};
}

std::wstring GptNameForReport(const std::u16string& units) {
    std::wstring text;
    for (char16_t u : units) {
        if (u == 0) break;
        text += u < 32 || u > 255 ? L'?' : static_cast<wchar_t>(u);
    }
    return text;
}

void WriteGptHeaderData(const nsLayout::GptDisk& disk, ReportStream& out) {
    const OnDiskGptHeader& h = disk.GetPrimaryTable().GetHeader();
    out << L"GPT Header Data:\n";
    WriteField(out, L"Signature:", SignatureText(h));
    WriteField(out, L"Revision:", h.GetRevisionText() + L" (" + Hex32(h.GetRevision()) + L")");
    WriteField(out, L"Header Size:", std::to_wstring(h.GetHeaderSize()));
    WriteField(out, L"Header CRC32:", Hex32(h.GetHeaderCrc32()));
    WriteField(out, L"My LBA:", ColumnLayout::Count(h.GetMyLba()));
    WriteField(out, L"Alternate LBA:", ColumnLayout::Count(h.GetAlternateLba()));
    WriteField(out, L"First Usable LBA:", ColumnLayout::Count(h.GetFirstUsableLba()));
    WriteField(out, L"Last Usable LBA:", ColumnLayout::Count(h.GetLastUsableLba()));
    WriteField(out, L"Disk GUID:", h.GetDiskGuid().ToText());
    WriteField(out, L"Partition Entry LBA:", ColumnLayout::Count(h.GetPartitionEntryLba()));
    WriteField(out, L"Number of Entries:", ColumnLayout::Count(h.GetNumberOfPartitionEntries()));
    WriteField(out, L"Size of Entry:", ColumnLayout::Count(h.GetSizeOfPartitionEntry()));
    WriteField(out, L"Entry Array CRC32:", Hex32(h.GetPartitionEntryArrayCrc32()));
}

void WriteGptPartitionTable(const nsLayout::GptDisk& disk, uint16_t diskNumber, ReportStream& out) {
    const GptPartitionTable& table = disk.GetPrimaryTable();
    const OnDiskGptHeader& header = table.GetHeader();
    out << L"\n" << RuleDots137 << L"GPT Partitions for Disk " << diskNumber << L"\n";
    if (header.GetSizeOfPartitionEntry() != kSupportedEntrySize) {
        WriteFindings(out, L"ERROR:  Partition table entry size not supported (size != 128 bytes).\n",
                      {findingstructure::kPrimaryGptHeader, table.GetHeaderLba(), {}});
        return;
    }
    out << RuleDots137 << kTableHeader << RuleDashes137;

    const uint32_t bytesPerSector = disk.GetGeometry().GetBytesPerSector();
    PRECONDITION(bytesPerSector != 0);
    const std::vector<nsLayout::FreeExtent> free = disk.GetFreeSpace().GetExtents();
    auto nextFree = free.begin();
    const uint64_t count = GptSlotsShown(table);
    for (uint64_t index = 0; index < count; ++index) {
        if (!table.IsEntryInUse(index)) continue;
        // Free space that lies before this entry goes above it.
        const uint64_t first = table.GetEntry(index).GetFirstLba();
        for (; nextFree != free.end() && nextFree->start < first; ++nextFree)
            WriteUnallocatedRow(out, *nextFree, bytesPerSector);
        WriteEntryRows(out, table, index, bytesPerSector);
        WriteFindings(out, CheckGptEntry(disk, index), {findingstructure::kGptEntry, {}, index});
    }
    for (; nextFree != free.end(); ++nextFree) WriteUnallocatedRow(out, *nextFree, bytesPerSector);
    out << RuleDots137;
}

void WriteGptSection(const nsLayout::GptDisk& disk, const DiskInfo& diskInfo, ReportStream& out) {
    // The primary header's findings, then the backup's: CheckGptHeaders, told apart.
    const GptPartitionTable& primary = disk.GetPrimaryTable();
    const GptPartitionTable& backup = disk.GetBackupTable();
    WriteFindings(out, CheckGptHeader(primary, false),
                  {findingstructure::kPrimaryGptHeader, primary.GetHeaderLba(), {}});
    WriteFindings(out, CheckGptHeader(backup, true), {findingstructure::kBackupGptHeader, backup.GetHeaderLba(), {}});

    const Mbr& protectiveMbr = *disk.GetProtectiveMbr();
    WriteDiskGeometry(diskInfo.diskNumber, protectiveMbr, disk.GetGeometry(), disk.DetectAlignment(),
                      diskInfo.alignment, out);
    for (uint32_t slot = 0; slot < protectiveMbr.GetMaxEntries(); ++slot)
        WriteMbrTableRow(out, disk.GetSectorCopies(), protectiveMbr, slot);

    out << L"\n";
    WriteGptHeaderData(disk, out);
    WriteGptPartitionTable(disk, diskInfo.diskNumber, out);
}
