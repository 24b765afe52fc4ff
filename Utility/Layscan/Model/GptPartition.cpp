#include "Utility/Layscan/Model/GptPartition.h"

#include "Utility/Layscan/OnDisk/GptPartitionEntry.h"

namespace nsLayout {

GptPartition::GptPartition(const OnDiskGptPartitionEntry& entry, uint32_t entryIndex)
    : mEntryIndex(entryIndex),
      mTypeGuid(entry.GetPartitionTypeGuid()),
      mFirstLba(entry.GetFirstLba()),
      mLastLba(entry.GetLastLba()) {}

}  // namespace nsLayout
