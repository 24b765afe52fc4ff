#include "Utility/Layscan/OnDisk/GptPartitionEntries.h"

OnDiskGptPartitionEntries::OnDiskGptPartitionEntries(BufferHandle bh, uint64_t offset)
    : OnDiskExLittleEndian(std::move(bh), offset, nullptr, 0, 0, "GptPartitionEntries") {
    for (uint64_t i = 0; i < kEntryCount; ++i) {
        mEntries[i].SetUpSubStruct(m_bh, this, kEntriesField, i);
        mEntries[i].SetSize(OnDiskGptPartitionEntry::kEntryBytes);
    }
    SetSize(kArrayBytes);
    CheckThis();
}

uint64_t OnDiskGptPartitionEntries::GetStructOffset(uint32_t fieldId, uint64_t index) const {
    if (fieldId != kEntriesField) ONDISK_INVALID_FIELD();
    return GetEntriesOffset(index);
}

uint64_t OnDiskGptPartitionEntries::GetEntriesOffset(uint64_t index) const {
    PRECONDITION(index < 128);
    return GetOD_ZeroOffset() + OnDiskGptPartitionEntry::kEntryBytes * index;
}

const OnDiskGptPartitionEntry& OnDiskGptPartitionEntries::GetEntries(uint64_t index) const {
    PRECONDITION(index < 128);
    return mEntries[index];
}
