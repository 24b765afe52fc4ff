#include "Utility/Layscan/OnDisk/GptPartitionEntry.h"

OnDiskGptPartitionEntry::OnDiskGptPartitionEntry()
    : OnDiskExLittleEndian(nullptr, 0, nullptr, 0, 0, "GptPartitionEntry") {
    CheckThis();
}

OnDiskGptPartitionEntry::OnDiskGptPartitionEntry(BufferHandle bh, uint64_t offset)
    : OnDiskExLittleEndian(std::move(bh), offset, nullptr, 0, 0, "GptPartitionEntry") {
    SetSize(kEntryBytes);
    CheckThis();
}

uint64_t OnDiskGptPartitionEntry::GetStructOffset(uint32_t, uint64_t) const { ONDISK_INVALID_FIELD(); }

void OnDiskGptPartitionEntry::GetPartitionTypeGUID(uint8_t* destination, uint64_t startIndex, uint64_t count) const {
    ONDISK_ARRAY_RANGE(16, startIndex, count);
    GetBytes(0, destination, startIndex, count);
}

void OnDiskGptPartitionEntry::GetUniquePartitionGUID(uint8_t* destination, uint64_t startIndex,
                                                     uint64_t count) const {
    ONDISK_ARRAY_RANGE(16, startIndex, count);
    GetBytes(16, destination, startIndex, count);
}

void OnDiskGptPartitionEntry::GetPartitionName(char16_t* destination, uint64_t startIndex, uint64_t count) const {
    ONDISK_ARRAY_RANGE(36, startIndex, count);
    uint8_t bytes[2 * kNameUnits];
    GetBytes(56, bytes, 2 * startIndex, 2 * count);
    for (uint64_t i = 0; i < count; ++i)
        destination[i] = static_cast<char16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
}

Guid OnDiskGptPartitionEntry::GetPartitionTypeGuid() const {
    Guid g;
    GetPartitionTypeGUID(g.bytes.data(), 0, g.bytes.size());
    return g;
}

Guid OnDiskGptPartitionEntry::GetUniquePartitionGuid() const {
    Guid g;
    GetUniquePartitionGUID(g.bytes.data(), 0, g.bytes.size());
    return g;
}
