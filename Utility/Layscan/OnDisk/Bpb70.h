#pragma once
// The FAT32 BIOS parameter block (90 bytes): the common block as field 2, then
// the 32-bit FAT size, root cluster, FSInfo and backup sectors, and the
// extended boot record with serial number, volume name and type.

#include <string>

#include "Utility/Layscan/OnDisk/Bpb34.h"

class OnDiskBpb70 : public OnDiskExLittleEndian {
public:
    static constexpr uint64_t kSize = 90;

    OnDiskBpb70(BufferHandle bh, uint64_t offset);

    // Field 2, element 0 only: the common block at the start.
    uint64_t GetStructOffset(uint32_t fieldId, uint64_t index) const override;

    const OnDiskBpb34& GetBpb34() const { return mBpb34; }
    uint32_t GetSectorsPerFatExt() const { return GetUInt32(Own(0)); }
    uint16_t GetFatFlags() const { return GetUInt16(Own(4)); }
    uint16_t GetFileSystemVersion() const { return GetUInt16(Own(6)); }
    uint32_t GetFirstClusterOfRoot() const { return GetUInt32(Own(8)); }
    uint16_t GetFileSystemInfoSector() const { return GetUInt16(Own(12)); }
    uint16_t GetBackupBootSector() const { return GetUInt16(Own(14)); }
    void GetReserved(uint8_t* destination, uint64_t startIndex, uint64_t count) const;  // 12 bytes
    uint8_t GetDiskUnitNumber() const { return GetUInt8(Own(28)); }
    uint8_t GetReservedForNt() const { return GetUInt8(Own(29)); }
    uint8_t GetExtendedBootSignature() const { return GetUInt8(Own(30)); }
    uint32_t GetSerialNumber() const { return GetUInt32(Own(31)); }
    std::string GetVolumeName() const;      // the raw 11 bytes
    std::string GetFileSystemType() const;  // the raw 8 bytes

private:
    uint64_t Own(uint64_t offsetAfterBpb34) const { return mBpb34.GetSize() + offsetAfterBpb34; }
    OnDiskBpb34 mBpb34;
};
