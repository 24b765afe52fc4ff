#pragma once
// The FAT12/FAT16 extended BIOS parameter block (70 bytes): the common block
// as field 2, then the drive number, signature, serial number, label and type.

#include <string>

#include "Utility/Layscan/OnDisk/Bpb34.h"

class OnDiskBpb40 : public OnDiskExLittleEndian {
public:
    static constexpr uint64_t kSize = 70;

    OnDiskBpb40(BufferHandle bh, uint64_t offset);

    // Field 2, element 0 only: the common block at the start.
    uint64_t GetStructOffset(uint32_t fieldId, uint64_t index) const override;

    const OnDiskBpb34& GetBpb34() const { return mBpb34; }
    uint8_t GetDiskUnitNumber() const { return GetUInt8(Own(0)); }
    uint8_t GetChkDskFlags() const { return GetUInt8(Own(1)); }
    uint8_t GetSignatureByte() const { return GetUInt8(Own(2)); }
    uint32_t GetVolumeSerialNumber() const { return GetUInt32(Own(3)); }
    std::string GetVolumeLabel() const;     // the raw 11 bytes
    std::string GetFileSystemType() const;  // the raw 8 bytes
    uint64_t GetReserved() const { return GetUInt64(Own(26)); }

private:
    // Offset of a field that follows the nested common block.
    uint64_t Own(uint64_t offsetAfterBpb34) const { return mBpb34.GetSize() + offsetAfterBpb34; }
    OnDiskBpb34 mBpb34;
};
