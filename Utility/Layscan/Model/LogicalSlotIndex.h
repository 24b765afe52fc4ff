#pragma once
// The logical slots of every EPBR of a disk, indexed so that the overlap
// check of one EPBR finds the slots it meets without looking at all others.
// Slots are sorted by start LBA over a tree of maximum end LBAs: every query
// "start <= x and end >= y" costs O((hits + 1) log n).

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

class Epbr;

namespace nsLayout {

struct LogicalSlot {
    uint64_t start = 0;  // GetStartLba of the slot
    uint64_t end = 0;    // GetEndLba of the slot: may lie before start when the 32-bit end wrapped
    size_t epbr = 0;     // position of the EPBR in the disk's EPBR list
    uint32_t slot = 0;
};

class LogicalSlotIndex {
public:
    // Indexes every data slot (not empty, not a link) below each EPBR's GetMaxEntries.
    explicit LogicalSlotIndex(const std::vector<std::shared_ptr<Epbr>>& epbrs);

    // Appends every slot with start <= x and end >= y, in no particular order.
    void FindDominating(uint64_t x, uint64_t y, std::vector<const LogicalSlot*>& out) const;
    size_t GetSize() const { return mSlots.size(); }

private:
    void Collect(size_t node, size_t low, size_t high, size_t prefix, uint64_t y,
                 std::vector<const LogicalSlot*>& out) const;

    std::vector<LogicalSlot> mSlots;  // ascending start
    std::vector<uint64_t> mMaxEnd;    // node 1 is the root; node n covers the slots of its children
    size_t mLeaves = 0;
};

}  // namespace nsLayout
