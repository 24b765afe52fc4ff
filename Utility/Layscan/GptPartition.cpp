#include "Utility/Layscan/GptPartition.h"

#include "Utility/Layscan/GptPartitionEntry.h"

namespace nsLayout {

GptPartition::GptPartition(const OnDiskGptPartitionEntry& entry, uint32_t entryIndex)
    : mEntryIndex(entryIndex),
      mTypeGuid(entry.GetPartitionTypeGuid()),
      mFirstLba(entry.GetFirstLba()),
      mLastLba(entry.GetLastLba()) {}

}  // namespace nsLayout
