#pragma once
// View of one 128-byte GUID partition entry. Normally nested in the entry
// array (its field 2, element index); it can also be bound on its own.

#include <cstdint>

#include "Base/Dev/OnDisk/OnDiskExLittleEndian.h"
#include "Utility/Layscan/OnDisk/Guid.h"

class OnDiskGptPartitionEntry : public OnDiskExLittleEndian {
public:
    static constexpr uint64_t kEntryBytes = 128;
    static constexpr uint64_t kNameUnits = 36;

    // Unbound; the containing array binds it.
    OnDiskGptPartitionEntry();
    // Bound on its own at an offset of a buffer.
    OnDiskGptPartitionEntry(BufferHandle bh, uint64_t offset);
    OnDiskGptPartitionEntry(const OnDiskGptPartitionEntry&) = delete;
    OnDiskGptPartitionEntry& operator=(const OnDiskGptPartitionEntry&) = delete;

    // The entry has no nested views: every call fails.
    uint64_t GetStructOffset(uint32_t fieldId, uint64_t index) const override;

    void GetPartitionTypeGUID(uint8_t* destination, uint64_t startIndex, uint64_t count) const;
    void GetUniquePartitionGUID(uint8_t* destination, uint64_t startIndex, uint64_t count) const;
    uint64_t GetFirstLba() const { return GetUInt64(32); }
    // Inclusive.
    uint64_t GetLastLba() const { return GetUInt64(40); }
    uint64_t GetAttributes() const { return GetUInt64(48); }
    // UTF-16 code units of the name, startIndex and count in units.
    void GetPartitionName(char16_t* destination, uint64_t startIndex, uint64_t count) const;

    Guid GetPartitionTypeGuid() const;
    Guid GetUniquePartitionGuid() const;
};
