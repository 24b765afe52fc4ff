#pragma once
// The BIOS parameter block common to FAT12/16, FAT32 and NTFS boot sectors:
// the first 36 bytes of the sector. Stands alone over a sector whose file
// system is not recognised, or is nested as field 2 of the larger blocks.

#include <string>

#include "Base/Dev/OnDisk/OnDiskExLittleEndian.h"

class OnDiskBpb34 : public OnDiskExLittleEndian {
public:
    static constexpr uint64_t kSize = 36;

    // A top-level view of the block at byte offset `offset` of the buffer.
    OnDiskBpb34(BufferHandle bh, uint64_t offset);
    // An unbound view, to be nested in a containing block with Bind.
    OnDiskBpb34();
    void Bind(const BufferHandle& bh, OnDiskEx* container, uint32_t fieldId, uint64_t index);

    // The block holds no nested views: every call fails.
    uint64_t GetStructOffset(uint32_t fieldId, uint64_t index) const override;

    void GetJump(uint8_t* destination, uint64_t startIndex, uint64_t count) const;
    std::string GetOemName() const;  // the raw 8 bytes
    uint16_t GetBytesPerSector() const { return GetUInt16(0x0B); }
    uint8_t GetSectorsPerCluster() const { return GetUInt8(0x0D); }
    uint16_t GetReservedSectors() const { return GetUInt16(0x0E); }
    uint8_t GetNumberOfFats() const { return GetUInt8(0x10); }
    uint16_t GetRootDirEntries() const { return GetUInt16(0x11); }
    uint16_t GetTotalSectors() const { return GetUInt16(0x13); }
    uint8_t GetMediaDescriptor() const { return GetUInt8(0x15); }
    uint16_t GetSectorsPerFat() const { return GetUInt16(0x16); }
    uint16_t GetSectorsPerTrack() const { return GetUInt16(0x18); }
    uint16_t GetNumberOfHeads() const { return GetUInt16(0x1A); }
    uint32_t GetHiddenSectors() const { return GetUInt32(0x1C); }
    uint32_t GetTotalSectorsLarge() const { return GetUInt32(0x20); }
};
