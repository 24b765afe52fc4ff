#pragma once
// The space of a disk (or of an extended partition) that no partition uses,
// as extents sorted by start. Removing a partition's range keeps what is left
// on either side of it only when that remainder is at least 64 sectors: less
// is alignment slack, not usable space.
//
// A removed range that straddles several free extents (which only overlapping
// partitions produce) is taken out of every extent it meets, so the list never
// shows space that some partition claims. A range that meets no free extent
// changes nothing; an empty range meets nothing.

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace nsLayout {

struct FreeExtent {
    uint64_t start = 0;
    uint64_t count = 0;
    bool operator==(const FreeExtent& other) const { return start == other.start && count == other.count; }
};

class FreeExtentList {
public:
    static constexpr uint64_t kMinimumRemainder = 64;

    // Puts an extent into the list as it is; the list's extents are the ones
    // it was started with, so they never overlap. An empty extent is not kept.
    void Add(uint64_t start, uint64_t count);
    void Remove(uint64_t start, uint64_t count);

    // The extents in ascending order of start.
    std::vector<FreeExtent> GetExtents() const;
    size_t GetCount() const { return mExtents.size(); }
    bool IsEmpty() const { return mExtents.empty(); }

private:
    // start -> count; a map keeps removal logarithmic on chains of any length.
    std::map<uint64_t, uint64_t> mExtents;
};

}  // namespace nsLayout
