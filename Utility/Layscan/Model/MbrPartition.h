#pragma once
// One primary or logical partition of an MBR disk, copied out of its entry
// when the model is built: the model never re-reads a sector for it.

#include <cstdint>

class OnDiskMbrPartitionEntry;

namespace nsLayout {

struct MbrPartition {
    uint8_t bootIndicator = 0;
    uint8_t beginHead = 0;
    uint16_t beginCylinder = 0;
    uint8_t beginSector = 0;
    uint8_t type = 0;
    uint8_t endHead = 0;
    uint16_t endCylinder = 0;
    uint8_t endSector = 0;
    // Absolute: a logical partition's start already has its EPBR's LBA added.
    uint64_t startLba = 0;
    uint64_t sectorCount = 0;
    bool isLogical = false;

    static MbrPartition FromEntry(const OnDiskMbrPartitionEntry& entry, uint64_t startLba, bool isLogical);
};

}  // namespace nsLayout
