#pragma once
// One partition of a GPT disk, taken from an entry of the primary array when
// the model was built; it never re-reads the entry.

#include <cstdint>

#include "Utility/Layscan/OnDisk/Guid.h"

class OnDiskGptPartitionEntry;

namespace nsLayout {

class GptPartition {
public:
    GptPartition(const OnDiskGptPartitionEntry& entry, uint32_t entryIndex);

    uint32_t GetEntryIndex() const { return mEntryIndex; }
    const Guid& GetTypeGuid() const { return mTypeGuid; }
    uint64_t GetFirstLba() const { return mFirstLba; }
    // Inclusive.
    uint64_t GetLastLba() const { return mLastLba; }
    uint64_t GetStart() const { return mFirstLba; }
    // Last - first + 1, in 64 bits as the entry gives them: an entry that
    // ends before it starts wraps around.
    uint64_t GetSize() const { return mLastLba - mFirstLba + 1; }

private:
    uint32_t mEntryIndex;
    Guid mTypeGuid;
    uint64_t mFirstLba;
    uint64_t mLastLba;
};

}  // namespace nsLayout
