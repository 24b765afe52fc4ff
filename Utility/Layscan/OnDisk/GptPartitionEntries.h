#pragma once
// View of the GUID partition entry array: always 128 entries of 128 bytes
// (16,384 bytes), whatever the header says about count and entry size.

#include <array>
#include <cstdint>

#include "Base/Dev/OnDisk/OnDiskExLittleEndian.h"
#include "Utility/Layscan/OnDisk/GptPartitionEntry.h"

class OnDiskGptPartitionEntries : public OnDiskExLittleEndian {
public:
    static constexpr uint64_t kEntryCount = 128;
    static constexpr uint64_t kArrayBytes = kEntryCount * OnDiskGptPartitionEntry::kEntryBytes;
    static constexpr uint32_t kEntriesField = 2;

    OnDiskGptPartitionEntries(BufferHandle bh, uint64_t offset);
    OnDiskGptPartitionEntries(const OnDiskGptPartitionEntries&) = delete;
    OnDiskGptPartitionEntries& operator=(const OnDiskGptPartitionEntries&) = delete;

    // Field 2 (the entries) only.
    uint64_t GetStructOffset(uint32_t fieldId, uint64_t index) const override;
    // Zero offset + 128 x index.
    uint64_t GetEntriesOffset(uint64_t index) const;
    const OnDiskGptPartitionEntry& GetEntries(uint64_t index) const;

private:
    std::array<OnDiskGptPartitionEntry, kEntryCount> mEntries;
};
