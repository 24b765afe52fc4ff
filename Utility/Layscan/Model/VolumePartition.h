#pragma once
// What the volume boot record section needs of a partition, whichever model
// it comes from: its type GUID (for an MBR partition, the GUID its type byte
// maps to) and its first and last sector.

#include <cstdint>
#include <vector>

#include "Utility/Layscan/OnDisk/Guid.h"

namespace nsLayout {

struct VolumePartition {
    Guid typeGuid;
    uint64_t firstLba = 0;
    uint64_t lastLba = 0;
};

using VolumePartitionList = std::vector<VolumePartition>;

}  // namespace nsLayout
