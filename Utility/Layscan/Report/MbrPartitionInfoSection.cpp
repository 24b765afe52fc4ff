#include "Utility/Layscan/Report/MbrPartitionInfoSection.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "Utility/Layscan/Report/ColumnLayout.h"
#include "Utility/Layscan/Report/DiskGeometryReport.h"
#include "Utility/Layscan/Report/FindingLog.h"
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

// The type label is made here too, although written later: a failed read of
// the partition's first sector ends the report before the list begins.
PartitionListRow TableItem(const nsLayout::SectorCopies& copies, const BootRecordBase& record, uint32_t slot, bool logical) {
    PartitionTypeLabel(copies, record, slot);
    return {record.GetStartLba(slot), record.GetEntry(slot).GetSectorCount(), &record, slot, logical};
}

void AddFree(const nsLayout::FreeExtentList& free, bool inExtended, std::vector<PartitionListRow>& items) {
    for (const nsLayout::FreeExtent& extent : free.GetExtents())
        items.push_back({extent.start, extent.count, nullptr, 0, inExtended});
}


// The MBR partition table under the geometry report: the MBR's entries, each
// with its checks, then each EPBR's, with the chain order under each logical
// entry and the EPBR's checks after its last entry.
void WritePartitionTable(const nsLayout::MbrDisk& disk, ReportStream& stream) {
    const nsLayout::SectorCopies& copies = disk.GetSectorCopies();
    const Mbr& mbr = *disk.GetMbr();
    for (uint32_t slot = 0; slot < mbr.GetMaxEntries(); ++slot) {
        WriteMbrTableRow(stream, copies, mbr, slot);
        WriteFindings(stream, CheckMbrEntry(disk, slot), {findingstructure::kMbr, mbr.GetMyLba(), slot});
    }
    LogicalOrderCheck order;
    for (const auto& epbr : disk.GetEpbrList()) {
        for (uint32_t slot = 0; slot < epbr->GetMaxEntries(); ++slot) {
            WriteMbrTableRow(stream, copies, *epbr, slot);
            WriteFindings(stream, order.CheckSlot(*epbr, slot), {findingstructure::kEpbr, epbr->GetMyLba(), slot});
        }
        WriteFindings(stream, CheckLogicalEntries(disk, *epbr), {findingstructure::kEpbr, epbr->GetMyLba(), {}});
    }
}

void WritePartitionList(const nsLayout::MbrDisk& disk, const DiskInfo& diskInfo, ReportStream& stream) {
    const nsLayout::SectorCopies& copies = disk.GetSectorCopies();
    const std::vector<PartitionListRow> items = PartitionListRows(disk);
    const uint64_t bytesPerSector = copies.GetBytesPerSector();
    stream << L"\n" << kListHeading << diskInfo.diskNumber << L"\n" << RuleEquals116 << kListHeader << RuleEquals116;
    for (const PartitionListRow& item : items) {
        const uint64_t bytes = ByteSize(item.count, bytesPerSector);
        ColumnLayout::Row row(Layout());
        row.Left(kVolume, PartitionListVolume(item, diskInfo, bytesPerSector))
            .Left(kType, PartitionListType(item, copies))
            .Left(kStatus, PartitionListStatus(item))
            .Left(kSize, FormatHumanSize(bytes));
        if (item.record)
            row.RightCount(kTableLba, item.record->GetMyLba())
                .RightDecimal(kSlot, item.slot);
        row.RightCount(kStart, item.start).RightCount(kTotal, item.count);
        row.WriteLine(stream);
    }
    stream << RuleEquals116;
}

}  // namespace

std::vector<PartitionListRow> PartitionListRows(const nsLayout::MbrDisk& disk) {
    const nsLayout::SectorCopies& copies = disk.GetSectorCopies();
    const Mbr& mbr = *disk.GetMbr();
    std::vector<PartitionListRow> items;
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
    auto byStart = [](const PartitionListRow& a, const PartitionListRow& b) { return a.start < b.start; };
    const auto tableEnd = items.begin() + firstFree;
    if (!std::is_sorted(items.begin(), tableEnd, byStart)) std::stable_sort(items.begin(), tableEnd, byStart);
    std::stable_sort(tableEnd, items.end(), byStart);
    std::inplace_merge(items.begin(), tableEnd, items.end(), byStart);
    return items;
}

std::wstring PartitionListType(const PartitionListRow& row, const nsLayout::SectorCopies& copies) {
    return row.record ? PartitionTypeLabel(copies, *row.record, row.slot) : kUnallocated;
}

std::wstring PartitionListStatus(const PartitionListRow& row) {
    if (!row.record) return row.logical ? kInExtended : L"";
    return std::wstring(IsPartitionListRowActive(row) ? kActive : L"") + (row.logical ? kLogical : kPrimary);
}

bool IsPartitionListRowActive(const PartitionListRow& row) {
    return row.record && row.record->GetEntry(row.slot).GetBootIndicator() == BootRecordBase::kActive;
}

std::wstring PartitionListVolume(const PartitionListRow& row, const DiskInfo& diskInfo, uint64_t bytesPerSector) {
    return VolumeTextForExtent(diskInfo, ByteSize(row.start, bytesPerSector), ByteSize(row.count, bytesPerSector));
}

void WritePartitionInfoSection(const nsLayout::MbrDisk& disk, const DiskInfo& diskInfo, ReportStream& stream) {
    WriteDiskGeometry(diskInfo.diskNumber, *disk.GetMbr(), disk.GetGeometry(), disk.DetectAlignment(),
                      diskInfo.alignment, stream);
    WritePartitionTable(disk, stream);
    WritePartitionList(disk, diskInfo, stream);
}
