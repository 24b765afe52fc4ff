#include "Utility/Layscan/Model/Geometry.h"

#include "Base/Dev/AssertionFailure.h"
#include "SectorBuffer/Dev/DiskDevice.h"

Geometry::Geometry(uint32_t bytesPerSector, uint32_t sectorsPerTrack, uint64_t cylinderCount, uint32_t headCount,
                   uint64_t sectorCount)
    : mBytesPerSector(bytesPerSector),
      mSectorsPerTrack(sectorsPerTrack),
      mCylinderCount(cylinderCount),
      mHeadCount(headCount),
      mSectorCount(sectorCount ? sectorCount : uint64_t{sectorsPerTrack} * headCount * cylinderCount) {}

Geometry Geometry::Translation(uint32_t bytesPerSector, uint64_t sectorCount) {
    constexpr DiskDeviceGeometry translation = DiskImage::kTranslationGeometry;
    return Geometry(bytesPerSector, translation.sectorsPerTrack, translation.cylinders, translation.tracksPerCylinder,
                    sectorCount);
}

uint64_t Geometry::GetCylinderCount() const {
    if (mCylinderCount || !mHeadCount || !mSectorsPerTrack) return mCylinderCount;
    return mSectorCount / mHeadCount / mSectorsPerTrack;
}

uint64_t Geometry::GetSectorCount() const {
    if (mSectorCount) return mSectorCount;
    return uint64_t{mHeadCount} * mSectorsPerTrack * mCylinderCount;
}

void Geometry::GetChsFromLba(uint64_t lba, uint64_t& cylinder, uint32_t& head, uint32_t& sector) const {
    CHECK(mSectorsPerTrack && mHeadCount);
    sector = static_cast<uint32_t>(lba % mSectorsPerTrack) + 1;
    uint64_t track = lba / mSectorsPerTrack;
    head = static_cast<uint32_t>(track % mHeadCount);
    cylinder = track / mHeadCount;
}

