#include "Utility/Layscan/Model/MbrPartition.h"

#include "Utility/Layscan/OnDisk/MbrPartitionEntry.h"

namespace nsLayout {

MbrPartition MbrPartition::FromEntry(const OnDiskMbrPartitionEntry& entry, uint64_t startLba, bool isLogical) {
    MbrPartition p;
    p.bootIndicator = entry.GetBootIndicator();
    p.beginHead = static_cast<uint8_t>(entry.GetBeginChs().GetHead());
    p.beginCylinder = static_cast<uint16_t>(entry.GetBeginChs().GetCylinder());
    p.beginSector = static_cast<uint8_t>(entry.GetBeginChs().GetSector());
    p.type = entry.GetPartitionType();
    p.endHead = static_cast<uint8_t>(entry.GetEndChs().GetHead());
    p.endCylinder = static_cast<uint16_t>(entry.GetEndChs().GetCylinder());
    p.endSector = static_cast<uint8_t>(entry.GetEndChs().GetSector());
    p.startLba = startLba;
    p.sectorCount = entry.GetSectorCount();
    p.isLogical = isLogical;
    return p;
}

}  // namespace nsLayout
