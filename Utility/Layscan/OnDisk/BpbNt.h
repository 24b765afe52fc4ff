#pragma once
// The NTFS BIOS parameter block (84 bytes): the common block as field 2, then
// the 64-bit sector count, MFT and MFT mirror clusters, record and index block
// sizes, serial number and checksum.

#include "Utility/Layscan/OnDisk/Bpb34.h"

class OnDiskBpbNt : public OnDiskExLittleEndian {
public:
    static constexpr uint64_t kSize = 84;

    OnDiskBpbNt(BufferHandle bh, uint64_t offset);

    // Field 2, element 0 only: the common block at the start.
    uint64_t GetStructOffset(uint32_t fieldId, uint64_t index) const override;

    const OnDiskBpb34& GetBpb34() const { return mBpb34; }
    uint8_t GetDiskUnitNumber() const { return GetUInt8(Own(0)); }
    uint8_t GetReservedForNt() const { return GetUInt8(Own(1)); }
    uint8_t GetExtendedBootSignature() const { return GetUInt8(Own(2)); }
    uint8_t GetReserved() const { return GetUInt8(Own(3)); }
    uint64_t GetTotalNtfsSectors() const { return GetUInt64(Own(4)); }
    uint64_t GetMftStartCluster() const { return GetUInt64(Own(12)); }
    uint64_t GetMftMirrorStartCluster() const { return GetUInt64(Own(20)); }
    // Both are signed sizes on disk (negative: a power of two in bytes); the
    // listing shows the raw 32-bit value.
    uint32_t GetClustersPerFileRecordSegment() const { return GetUInt32(Own(28)); }
    uint32_t GetClustersPerIndexBlock() const { return GetUInt32(Own(32)); }
    uint64_t GetVolumeSerialNumber() const { return GetUInt64(Own(36)); }
    uint32_t GetChecksum() const { return GetUInt32(Own(44)); }

private:
    uint64_t Own(uint64_t offsetAfterBpb34) const { return mBpb34.GetSize() + offsetAfterBpb34; }
    OnDiskBpb34 mBpb34;
};
