#pragma once
// A disk's cylinder/head/sector shape, sector size and sector count, and the
// LBA to CHS conversion. Copied by value; owns nothing.

#include <cstdint>

class Geometry {
public:
    // A sector count of 0 is taken as sectors per track x heads x cylinders.
    Geometry(uint32_t bytesPerSector, uint32_t sectorsPerTrack, uint64_t cylinderCount, uint32_t headCount,
             uint64_t sectorCount);

    // The shape every layout model converts with, whatever the disk reports
    // (DiskImage::kTranslationGeometry), with the disk's sector size and count.
    static Geometry Translation(uint32_t bytesPerSector, uint64_t sectorCount);

    uint32_t GetBytesPerSector() const { return mBytesPerSector; }
    uint32_t GetSectorsPerTrack() const { return mSectorsPerTrack; }
    uint32_t GetHeadCount() const { return mHeadCount; }
    // The stored count, or, when none was given, the one the sector count allows.
    uint64_t GetCylinderCount() const;
    uint64_t GetSectorCount() const;

    // Never clamps the cylinder: cylinders above 1023 are the caller's to judge.
    // Throws when the shape has no sectors per track or no heads.
    void GetChsFromLba(uint64_t lba, uint64_t& cylinder, uint32_t& head, uint32_t& sector) const;

private:
    uint32_t mBytesPerSector;
    uint32_t mSectorsPerTrack;
    uint64_t mCylinderCount;
    uint32_t mHeadCount;
    uint64_t mSectorCount;
};

