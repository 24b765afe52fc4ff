#pragma once
// The sector sizes and alignment offsets that the storage driver reports for
// a physical disk, for the geometry section.

#include <cstdint>

namespace nsLayout {

// The system's storage access alignment descriptor, field for field (28 bytes).
// A non-zero Version after the query means that the other fields are valid.
struct StorageAccessAlignmentDescriptor {
    uint32_t Version = 0;
    uint32_t Size = 0;
    uint32_t BytesPerCacheLine = 0;
    uint32_t BytesOffsetForCacheAlignment = 0;
    uint32_t BytesPerLogicalSector = 0;
    uint32_t BytesPerPhysicalSector = 0;
    uint32_t BytesOffsetForSectorAlignment = 0;
};
static_assert(sizeof(StorageAccessAlignmentDescriptor) == 28, "the descriptor is exchanged with the driver as is");

}  // namespace nsLayout
