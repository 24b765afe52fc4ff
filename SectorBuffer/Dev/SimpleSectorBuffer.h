#pragma once
// The sector buffer that the layout models read through: it forwards every
// read to its provider and takes sector size and count from it.

#include <memory>
#include <vector>

#include "SectorBuffer/Dev/SectorProvider.h"

class SimpleSectorBuffer : public SectorProvider {
public:
    explicit SimpleSectorBuffer(std::shared_ptr<SectorProvider> provider);

    using SectorProvider::Read;
    using SectorProvider::Write;
    void Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) override;
    void Write(uint64_t firstSector, uint64_t sectorCount, const void* buffer) override;
    uint32_t GetBytesPerSector() const override;
    uint64_t GetSectorCount() const override;
    void DisableCache(bool disable) override;

    SectorProvider& Provider() const { return *mProvider; }

private:
    std::shared_ptr<SectorProvider> mProvider;
};
