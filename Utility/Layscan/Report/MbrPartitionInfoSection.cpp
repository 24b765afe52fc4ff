#include "Utility/Layscan/Report/MbrPartitionInfoSection.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "Utility/Layscan/Report/ColumnLayout.h"
#include "Utility/Layscan/Report/DiskGeometryReport.h"
#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Model/ExtentInfo.h"
#include "Utility/Layscan/Model/MbrChecks.h"
#include "Utility/Layscan/Model/MbrDisk.h"
#include "Utility/Layscan/Report/MbrTableRow.h"
#include "Utility/Layscan/Report/ReportPrimitives.h"
#include "Utility/Layscan/Report/ReportStream.h"

using nsLayout::DiskInfo;
using nsLayout::VolumeTextForExtent;
using nsLayout::CheckMbrEntry;
using nsLayout::CheckLogicalEntries;
using nsLayout::LogicalOrderCheck;

namespace {

const wchar_t kListHeading[] = L"Partition Information for Disk ";
const std::wstring kListHeader =
    L"Volume Path            PartitionType  Status         Size      Part Table Lba   #     Start Sector    Total "
    L"Sectors\n";
const wchar_t kUnallocated[] = L"Unallocated";
const wchar_t kActive[] = L"Active ";
const wchar_t kPrimary[] = L"Primary";
const wchar_t kLogical[] = L"Logical";
const wchar_t kInExtended[] = L"In Extended";

enum Column { kVolume, kType, kStatus, kSize, kTableLba, kSlot, kStart, kTotal };

const ColumnLayout& Layout() {
    static const ColumnLayout layout(kListHeader, {L"Volume Path", L"PartitionType", L"Status", L"Size",
                                                   L"Part Table Lba", L"#", L"Start Sector", L"Total Sectors"});
    return layout;
}

// One line of the partition list: an entry of a table, or free space. Its
// texts are made when the line is written: a chain lists a million lines.
struct ListItem {
    uint64_t start;
    uint64_t count;
    const BootRecordBase* record;  // null for free space
    uint32_t slot;
    bool logical;     // an entry of an EPBR, or free space inside the extended partition
};

// The type label is made here too, although written later: a failed read of
// the partition's first sector ends the report before the list begins.
ListItem TableItem(const nsLayout::SectorCopies& copies, const BootRecordBase& record, uint32_t slot, bool logical) {
    PartitionTypeLabel(copies, record, slot);
    return {record.GetStartLba(slot), record.GetEntry(slot).GetSectorCount(), &record, slot, logical};
}

void AddFree(const nsLayout::FreeExtentList& free, bool inExtended, std::vector<ListItem>& items) {
    for (const nsLayout::FreeExtent& extent : free.GetExtents())
        items.push_back({extent.start, extent.count, nullptr, 0, inExtended});
}

std::wstring StatusOf(const ListItem& item) {
    if (!item.record) return item.logical ? kInExtended : L"";
    const bool active = item.record->GetEntry(item.slot).GetBootIndicator() == BootRecordBase::kActive;
    return std::wstring(active ? kActive : L"") + (item.logical ? kLogical : kPrimary);
}

// The MBR partition table under the geometry report: the MBR's entries, each
// with its checks, then each EPBR's, with the chain order under each logical
// entry and the EPBR's checks after its last entry.
void WritePartitionTable(const nsLayout::MbrDisk& disk, ReportStream& stream) {
    const nsLayout::SectorCopies& copies = disk.GetSectorCopies();
    const Mbr& mbr = *disk.GetMbr();
    for (uint32_t slot = 0; slot < mbr.GetMaxEntries(); ++slot) {
        WriteMbrTableRow(stream, copies, mbr, slot);
        stream << CheckMbrEntry(disk, slot);
    }
    LogicalOrderCheck order;
    for (const auto& epbr : disk.GetEpbrList()) {
        for (uint32_t slot = 0; slot < epbr->GetMaxEntries(); ++slot) {
            WriteMbrTableRow(stream, copies, *epbr, slot);
            stream << order.CheckSlot(*epbr, slot);
        }
        stream << CheckLogicalEntries(disk, *epbr);
    }
}

void WritePartitionList(const nsLayout::MbrDisk& disk, const DiskInfo& diskInfo, ReportStream& stream) {
    const nsLayout::SectorCopies& copies = disk.GetSectorCopies();
    const Mbr& mbr = *disk.GetMbr();
    std::vector<ListItem> items;
    items.reserve(disk.GetPartitions().size() + mbr.GetMaxEntries() + disk.GetUnallocated().GetCount() +
                  disk.GetExtendedUnallocated().GetCount());
    for (uint32_t slot = 0; slot < mbr.GetMaxEntries(); ++slot)
        if (mbr.GetEntry(slot).GetPartitionType() != 0) items.push_back(TableItem(copies, mbr, slot, false));
    for (const auto& epbr : disk.GetEpbrList())
        for (uint32_t slot = 0; slot < epbr->GetMaxEntries(); ++slot)
            if (IsDataType(epbr->GetEntry(slot).GetPartitionType()))
                items.push_back(TableItem(copies, *epbr, slot, true));
    const auto firstFree = static_cast<std::ptrdiff_t>(items.size());
    AddFree(disk.GetUnallocated(), false, items);
    AddFree(disk.GetExtendedUnallocated(), true, items);
    // Table order where starts are equal, free space after the entries. A
    // chain usually lists its entries in disk order already: sorted as two
    // runs and merged, a long list needs no second copy of itself.
    auto byStart = [](const ListItem& a, const ListItem& b) { return a.start < b.start; };
    const auto tableEnd = items.begin() + firstFree;
    if (!std::is_sorted(items.begin(), tableEnd, byStart)) std::stable_sort(items.begin(), tableEnd, byStart);
    std::stable_sort(tableEnd, items.end(), byStart);
    std::inplace_merge(items.begin(), tableEnd, items.end(), byStart);

    const uint64_t bytesPerSector = copies.GetBytesPerSector();
    stream << L"\n" << kListHeading << diskInfo.diskNumber << L"\n" << RuleEquals116 << kListHeader << RuleEquals116;
    for (const ListItem& item : items) {
        const uint64_t bytes = ByteSize(item.count, bytesPerSector);
        ColumnLayout::Row row(Layout());
        row.Left(kVolume, VolumeTextForExtent(diskInfo, ByteSize(item.start, bytesPerSector), bytes))
            .Left(kType, item.record ? PartitionTypeLabel(copies, *item.record, item.slot) : kUnallocated)
            .Left(kStatus, StatusOf(item))
            .Left(kSize, FormatHumanSize(bytes));
        if (item.record)
            row.Right(kTableLba, ColumnLayout::Count(item.record->GetMyLba()))
                .Right(kSlot, ColumnLayout::Decimal(item.slot));
        row.Right(kStart, ColumnLayout::Count(item.start)).Right(kTotal, ColumnLayout::Count(item.count));
        stream << row.Text() << L"\n";
    }
    stream << RuleEquals116;
}

}  // namespace

void WritePartitionInfoSection(const nsLayout::MbrDisk& disk, const DiskInfo& diskInfo, ReportStream& stream) {
    WriteDiskGeometry(diskInfo.diskNumber, *disk.GetMbr(), disk.GetGeometry(), disk.DetectAlignment(),
                      diskInfo.alignment, stream);
    WritePartitionTable(disk, stream);
    WritePartitionList(disk, diskInfo, stream);
}
