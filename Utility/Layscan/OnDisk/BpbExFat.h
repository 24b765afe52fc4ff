#pragma once
// The exFAT boot sector (512 bytes). It shares only the jump and the OEM name
// with the FAT blocks; the fields the listing shows lie from 0x40 on.

#include <string>

#include "Base/Dev/OnDisk/OnDiskExLittleEndian.h"

class OnDiskBpbExFat : public OnDiskExLittleEndian {
public:
    static constexpr uint64_t kSize = 512;

    OnDiskBpbExFat(BufferHandle bh, uint64_t offset);

    // No nested views: every call fails.
    uint64_t GetStructOffset(uint32_t fieldId, uint64_t index) const override;

    void GetJump(uint8_t* destination, uint64_t startIndex, uint64_t count) const;
    std::string GetOemName() const;  // the raw 8 bytes, "EXFAT   "
    uint64_t GetPartitionOffset() const { return GetUInt64(0x40); }
    uint64_t GetVolumeLength() const { return GetUInt64(0x48); }
    uint32_t GetFatOffset() const { return GetUInt32(0x50); }
    uint32_t GetClusterHeapOffset() const { return GetUInt32(0x58); }
    uint32_t GetClusterCount() const { return GetUInt32(0x5C); }
    uint32_t GetVolumeSerialNumber() const { return GetUInt32(0x64); }
};
