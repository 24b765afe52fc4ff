#pragma once
// The one interface every sector comes through: a physical disk, a raw image,
// or a saved sector file. Readers never know which.

#include <cstdint>

#include "Base/Dev/Result.h"

// The framework's multi-sector buffer; this tool never fills one, it only
// answers that the plain read is to be used.
class MultiSectorBuffer;

class SectorProvider {
public:
    virtual ~SectorProvider() = default;

    virtual Result Read(MultiSectorBuffer& buffer);
    // Fills buffer with sectorCount * GetBytesPerSector() bytes.
    virtual void Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) = 0;
    virtual Result Write(const MultiSectorBuffer& buffer);
    virtual void Write(uint64_t firstSector, uint64_t sectorCount, const void* buffer) = 0;
    virtual uint32_t GetBytesPerSector() const = 0;
    virtual uint64_t GetSectorCount() const = 0;
    virtual void DisableCache(bool disable);
};
