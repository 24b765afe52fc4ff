#pragma once
// The checks of an MBR disk. Each returns complete "WARNING:" lines for the
// report to write under the row they concern, followed by one blank line when
// there is any; empty text when all is well. None changes the model or throws
// for bad data.

#include <cstdint>
#include <string>

#include "Utility/Layscan/Model/MbrDisk.h"

namespace nsLayout {

// One primary entry of the MBR: its CHS values, overlaps with the other
// primary entries and the end of the disk. index must be below 4.
std::wstring CheckMbrEntry(const MbrDisk& disk, uint32_t index);

// One EPBR of the chain: its logical entries against the extended partition,
// more than one logical or link entry, and overlaps with the logical entries
// of every other EPBR of the disk.
std::wstring CheckLogicalEntries(const MbrDisk& disk, const Epbr& epbr);

// The order of the logical chain as the listing meets it: fed each EPBR in the
// order of the disk's EPBR list, it reports a logical entry whose EPBR lies
// before the EPBR of the logical entry listed before it.
class LogicalOrderCheck {
public:
    // For one slot of epbr, as the listing reaches it.
    std::wstring CheckSlot(const Epbr& epbr, uint32_t index);
    // For every slot of epbr in turn.
    std::wstring CheckEpbr(const Epbr& epbr);

private:
    uint64_t mLastLba = 0;
};

}  // namespace nsLayout
