#include "Utility/Layscan/Model/LogicalSlotIndex.h"

#include <algorithm>

#include "Utility/Layscan/Model/Epbr.h"

namespace nsLayout {

LogicalSlotIndex::LogicalSlotIndex(const std::vector<std::shared_ptr<Epbr>>& epbrs) {
    for (size_t m = 0; m < epbrs.size(); ++m) {
        const Epbr& e = *epbrs[m];
        for (uint32_t k = 0; k < e.GetMaxEntries(); ++k)
            if (IsDataType(e.GetEntry(k).GetPartitionType())) mSlots.push_back({e.GetStartLba(k), e.GetEndLba(k), m, k});
    }
    std::sort(mSlots.begin(), mSlots.end(),
              [](const LogicalSlot& a, const LogicalSlot& b) { return a.start < b.start; });
    mLeaves = 1;
    while (mLeaves < mSlots.size()) mLeaves *= 2;
    mMaxEnd.assign(2 * mLeaves, 0);
    for (size_t i = 0; i < mSlots.size(); ++i) mMaxEnd[mLeaves + i] = mSlots[i].end;
    for (size_t n = mLeaves; n-- > 1;) mMaxEnd[n] = std::max(mMaxEnd[2 * n], mMaxEnd[2 * n + 1]);
}

void LogicalSlotIndex::FindDominating(uint64_t x, uint64_t y, std::vector<const LogicalSlot*>& out) const {
    const auto prefixEnd = std::upper_bound(mSlots.begin(), mSlots.end(), x,
                                            [](uint64_t v, const LogicalSlot& s) { return v < s.start; });
    const size_t prefix = static_cast<size_t>(prefixEnd - mSlots.begin());
    if (prefix) Collect(1, 0, mLeaves, prefix, y, out);
}

void LogicalSlotIndex::Collect(size_t node, size_t low, size_t high, size_t prefix, uint64_t y,
                               std::vector<const LogicalSlot*>& out) const {
    // Padding leaves beyond the slots are never reached: they lie past the prefix.
    if (low >= prefix || mMaxEnd[node] < y) return;
    if (high - low == 1) {
        out.push_back(&mSlots[low]);
        return;
    }
    const size_t mid = low + (high - low) / 2;
    Collect(2 * node, low, mid, prefix, y, out);
    Collect(2 * node + 1, mid, high, prefix, y, out);
}

}  // namespace nsLayout
