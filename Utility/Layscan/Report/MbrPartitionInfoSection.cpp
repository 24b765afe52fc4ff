#include "Utility/Layscan/Report/MbrPartitionInfoSection.h"

#include <algorithm>
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

PartitionListRow TableItem(const nsLayout::SectorCopies& copies, const BootRecordBase& record, uint32_t slot,
                           bool logical) {
    const OnDiskMbrPartitionEntry& entry = record.GetEntry(slot);
    const bool active = entry.GetBootIndicator() == BootRecordBase::kActive;
    std::wstring status = active ? kActive : L"";
    status += logical ? kLogical : kPrimary;
    return {record.GetStartLba(slot), entry.GetSectorCount(), PartitionTypeLabel(copies, record, slot),
            std::move(status), true, record.GetMyLba(), slot, active, logical, {}};
}

void AddFree(const nsLayout::FreeExtentList& free, const wchar_t* status, std::vector<PartitionListRow>& items) {
    for (const nsLayout::FreeExtent& extent : free.GetExtents())
        items.push_back({extent.start, extent.count, kUnallocated, status, false, 0, 0, false, false, {}});
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
    const std::vector<PartitionListRow> items = PartitionListRows(disk, diskInfo);
    const uint64_t bytesPerSector = copies.GetBytesPerSector();
    stream << L"\n" << kListHeading << diskInfo.diskNumber << L"\n" << RuleEquals116 << kListHeader << RuleEquals116;
    for (const PartitionListRow& item : items) {
        const uint64_t bytes = ByteSize(item.count, bytesPerSector);
        ColumnLayout::Row row(Layout());
        row.Left(kVolume, item.volume)
            .Left(kType, item.type)
            .Left(kStatus, item.status)
            .Left(kSize, FormatHumanSize(bytes));
        if (item.inTable)
            row.Right(kTableLba, ColumnLayout::Count(item.tableLba)).Right(kSlot, ColumnLayout::Decimal(item.slot));
        row.Right(kStart, ColumnLayout::Count(item.start)).Right(kTotal, ColumnLayout::Count(item.count));
        stream << row.Text() << L"\n";
    }
    stream << RuleEquals116;
}

}  // namespace

std::vector<PartitionListRow> PartitionListRows(const nsLayout::MbrDisk& disk, const DiskInfo& diskInfo) {
    const nsLayout::SectorCopies& copies = disk.GetSectorCopies();
    const Mbr& mbr = *disk.GetMbr();
    std::vector<PartitionListRow> items;
    for (uint32_t slot = 0; slot < mbr.GetMaxEntries(); ++slot)
        if (mbr.GetEntry(slot).GetPartitionType() != 0) items.push_back(TableItem(copies, mbr, slot, false));
    for (const auto& epbr : disk.GetEpbrList())
        for (uint32_t slot = 0; slot < epbr->GetMaxEntries(); ++slot)
            if (IsDataType(epbr->GetEntry(slot).GetPartitionType()))
                items.push_back(TableItem(copies, *epbr, slot, true));
    AddFree(disk.GetUnallocated(), L"", items);
    AddFree(disk.GetExtendedUnallocated(), kInExtended, items);
    // Table order where starts are equal, free space after the entries.
    std::stable_sort(items.begin(), items.end(),
                     [](const PartitionListRow& a, const PartitionListRow& b) { return a.start < b.start; });
    const uint64_t bytesPerSector = copies.GetBytesPerSector();
    for (PartitionListRow& item : items)
        item.volume = VolumeTextForExtent(diskInfo, ByteSize(item.start, bytesPerSector),
                                          ByteSize(item.count, bytesPerSector));
    return items;
}

void WritePartitionInfoSection(const nsLayout::MbrDisk& disk, const DiskInfo& diskInfo, ReportStream& stream) {
    WriteDiskGeometry(diskInfo.diskNumber, *disk.GetMbr(), disk.GetGeometry(), disk.DetectAlignment(),
                      diskInfo.alignment, stream);
    WritePartitionTable(disk, stream);
    WritePartitionList(disk, diskInfo, stream);
}
