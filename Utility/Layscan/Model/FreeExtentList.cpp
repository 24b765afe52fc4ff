#include "Utility/Layscan/Model/FreeExtentList.h"

#include <limits>

namespace nsLayout {

namespace {
// End of a range, held at the largest LBA rather than wrapping.
uint64_t EndOf(uint64_t start, uint64_t count) {
    return count > std::numeric_limits<uint64_t>::max() - start ? std::numeric_limits<uint64_t>::max()
                                                                : start + count;
}
}  // namespace

void FreeExtentList::Add(uint64_t start, uint64_t count) {
    if (count) mExtents[start] = count;
}

void FreeExtentList::Remove(uint64_t start, uint64_t count) {
    if (!count) return;
    const uint64_t end = EndOf(start, count);
    // The first extent that can meet the range is the last one starting at or
    // before it, else the first one after its start.
    auto it = mExtents.upper_bound(start);
    if (it != mExtents.begin()) {
        auto before = std::prev(it);
        if (EndOf(before->first, before->second) > start) it = before;
    }
    while (it != mExtents.end() && it->first < end) {
        const uint64_t freeStart = it->first;
        const uint64_t freeEnd = EndOf(freeStart, it->second);
        it = mExtents.erase(it);
        if (start > freeStart && start - freeStart >= kMinimumRemainder) mExtents.emplace(freeStart, start - freeStart);
        if (freeEnd > end && freeEnd - end >= kMinimumRemainder) it = mExtents.emplace(end, freeEnd - end).first;
    }
}

std::vector<FreeExtent> FreeExtentList::GetExtents() const {
    std::vector<FreeExtent> extents;
    extents.reserve(mExtents.size());
    for (const auto& [start, count] : mExtents) extents.push_back({start, count});
    return extents;
}

}  // namespace nsLayout
