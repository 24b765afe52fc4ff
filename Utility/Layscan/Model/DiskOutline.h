#pragma once
// What the console's findings summary tells of a disk's layout: which
// recogniser took the disk and how many partitions its model holds.

#include <cstddef>
#include <optional>

namespace nsLayout {

enum class PartitionScheme { None, Mbr, Gpt };

struct DiskOutline {
    PartitionScheme scheme = PartitionScheme::None;
    // Empty when the model could not be built. An MBR disk counts its primary
    // and logical partitions, not the extended partition that holds the chain.
    std::optional<size_t> partitions;
};

}  // namespace nsLayout
