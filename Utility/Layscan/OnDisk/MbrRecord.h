#pragma once
// The 512-byte MBR or EPBR sector. Fields, numbered from 2 in order: boot
// code (440 bytes), disk signature, reserved word, the four partition table
// entries (5), the 0xAA55 signature.

#include "Utility/Layscan/OnDisk/MbrPartitionEntry.h"

class OnDiskMbrRecord : public OnDiskExLittleEndian {
public:
    static constexpr uint32_t kPartitionTableEntriesField = 5;
    static constexpr uint64_t kSize = 512;
    static constexpr uint16_t kValidSignature = 0xAA55;

    // Binds the record and its entries at offset of bh.
    OnDiskMbrRecord(BufferHandle bh, uint64_t offset);

    uint64_t GetStructOffset(uint32_t fieldId, uint64_t index) const override;

    void GetBootCode(uint8_t* destination, uint64_t startIndex, uint64_t count) const;
    uint32_t GetDiskSignature() const;
    uint16_t GetReserved() const;
    const OnDiskMbrPartitionEntry& GetPartitionTableEntries(uint64_t index) const;
    uint16_t GetSignature() const;

private:
    uint64_t GetPartitionTableEntriesOffset(uint64_t index) const;

    OnDiskMbrPartitionEntry mEntries[4];
};
