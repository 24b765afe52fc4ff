#include "Utility/Layscan/Model/MbrChecks.h"

#include <algorithm>
#include <vector>

namespace {

const wchar_t kInvalidBeginChs[] = L"WARNING: Invalid Begin CHS values in partition above.\n";
const wchar_t kInvalidEndChs[] = L"WARNING: Invalid End CHS values in partition above.\n";
const wchar_t kBeginChsMismatch[] = L"WARNING: Begin CHS does not match start sector LBA in partition above.\n";
const wchar_t kEndChsMismatch[] = L"WARNING: End CHS does not match calculated end LBA in partition above.\n";
const wchar_t kOverlapsPrimary[] = L"WARNING: Partition above overlaps with primary partition # ";
const wchar_t kBeyondDisk[] = L"WARNING: Partition above extends beyond the end of disk.\n";
const wchar_t kBeginsOutsideExtended[] = L"WARNING:  Logical partition above begins outside of extended partition.\n";
const wchar_t kEndsOutsideExtended[] = L"WARNING: Logical partition above ends outside of extended partition.\n";
const wchar_t kMultipleLogicals[] = L"WARNING:  Non-Windows logical chain, multiple logical partitions in EPBR.\n";
const wchar_t kMultipleLinks[] = L"WARNING:  Non-Windows logical chain, multiple link entries in EPBR.\n";
const wchar_t kBeginsInsideLogical[] =
    L"WARNING:  Logical partition above begins inside (overlaps) another logical partition.\n";
const wchar_t kEndsInsideLogical[] =
    L"WARNING: Logical partition above ends inside (overlaps) another logical partition.\n";
const wchar_t kContainedInLogical[] =
    L"WARNING: Logical partition contained in (overlaps) another logical partition.\n";
const wchar_t kNotSequential[] = L"WARNING: Logical partition entries are not in sequential order.\n";

// Warnings end with a blank line that separates them from what follows.
std::wstring Finished(std::wstring text) {
    if (!text.empty()) text += L"\n";
    return text;
}

std::wstring CheckMbrEntry(const Mbr& mbr, uint32_t index) {
    PRECONDITION(index < 4);
    std::wstring text;
    if (mbr.GetEntry(index).GetPartitionType() == 0) return text;
    if (!mbr.IsBeginChsValid(index)) text += kInvalidBeginChs;
    if (!mbr.IsEndChsValid(index)) text += kInvalidEndChs;
    if (!mbr.BeginChsMatchesLba(index)) text += kBeginChsMismatch;
    if (!mbr.EndChsMatchesLba(index)) text += kEndChsMismatch;
    uint32_t slot;
    if (mbr.FindOverlappingEntry(index, slot)) text += kOverlapsPrimary + std::to_wstring(slot) + L".\n";
    if (mbr.ExtendsBeyondDisk(index)) text += kBeyondDisk;
    return Finished(std::move(text));
}

struct RememberedSlot {
    uint32_t index;
    uint64_t start, end;
};

// The three overlap lines of one logical slot against one slot of another EPBR.
void AppendOverlaps(const RememberedSlot& mine, uint64_t otherStart, uint64_t otherEnd, std::wstring& text) {
    if (otherStart <= mine.start && mine.start <= otherEnd) text += kBeginsInsideLogical;
    if (otherStart <= mine.end && mine.end <= otherEnd) text += kEndsInsideLogical;
    if (mine.start >= otherStart && mine.end <= otherEnd) text += kContainedInLogical;
}

}  // namespace

namespace nsLayout {

std::wstring CheckMbrEntry(const MbrDisk& disk, uint32_t index) { return ::CheckMbrEntry(*disk.GetMbr(), index); }

std::wstring CheckLogicalEntries(const MbrDisk& disk, const Epbr& epbr) {
    // The extended partition as the MBR states it: the first 0x05 or 0x0F
    // entry. Its last sector is computed in 32 bits like every entry end.
    const Mbr& mbr = *disk.GetMbr();
    uint64_t extendedStart = 0;
    uint64_t extendedEnd = 0xFFFFFFFFu;
    for (uint32_t i = 0; i < mbr.GetMaxEntries(); ++i) {
        if (IsExtendedType(mbr.GetEntry(i).GetPartitionType())) {
            extendedStart = mbr.GetStartLba(i);
            extendedEnd = mbr.GetEndLba(i);
            break;
        }
    }

    std::wstring text;
    std::vector<RememberedSlot> logicals;
    uint32_t links = 0;
    for (uint32_t j = 0; j < epbr.GetMaxEntries(); ++j) {
        const uint8_t type = epbr.GetEntry(j).GetPartitionType();
        if (IsDataType(type)) {
            const RememberedSlot mine{j, epbr.GetStartLba(j), epbr.GetEndLba(j)};
            // A logical partition on the extended partition's last sector
            // counts as beginning outside it.
            if (mine.start < extendedStart || mine.start >= extendedEnd) text += kBeginsOutsideExtended;
            if (mine.end > extendedEnd) text += kEndsOutsideExtended;
            logicals.push_back(mine);
        } else if (IsExtendedType(type)) {
            ++links;
        }
        // Repeated for every slot after the second one was seen.
        if (logicals.size() > 1) text += kMultipleLogicals;
        if (links > 1) text += kMultipleLinks;
    }

    if (!logicals.empty()) {
        // Every other EPBR's data slot that meets one of ours has start <= x
        // and end >= y for one of our (x, y) pairs: (s, s), (e, e) or (s, e).
        const auto& index = disk.GetLogicalSlotIndex();
        std::vector<const LogicalSlot*> hits;
        for (const auto& mine : logicals) {
            index.FindDominating(mine.start, mine.start, hits);
            index.FindDominating(mine.end, mine.end, hits);
            index.FindDominating(mine.start, mine.end, hits);
        }
        // The lines follow the other EPBRs in list order, their slots in order.
        std::sort(hits.begin(), hits.end(), [](const auto* a, const auto* b) {
            return a->epbr != b->epbr ? a->epbr < b->epbr : a->slot < b->slot;
        });
        hits.erase(std::unique(hits.begin(), hits.end()), hits.end());
        const auto& epbrs = disk.GetEpbrList();
        for (const auto* other : hits) {
            if (epbrs[other->epbr].get() == &epbr) continue;
            for (const auto& mine : logicals) AppendOverlaps(mine, other->start, other->end, text);
        }
    }
    return Finished(std::move(text));
}

std::wstring LogicalOrderCheck::CheckSlot(const Epbr& epbr, uint32_t index) {
    if (!IsDataType(epbr.GetEntry(index).GetPartitionType())) return std::wstring();
    const bool before = epbr.GetMyLba() < mLastLba;
    mLastLba = epbr.GetMyLba();
    return before ? kNotSequential : std::wstring();
}

std::wstring LogicalOrderCheck::CheckEpbr(const Epbr& epbr) {
    std::wstring text;
    for (uint32_t j = 0; j < epbr.GetMaxEntries(); ++j) text += CheckSlot(epbr, j);
    return text;
}

}  // namespace nsLayout
