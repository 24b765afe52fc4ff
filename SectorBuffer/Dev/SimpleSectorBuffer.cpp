#include "SectorBuffer/Dev/SimpleSectorBuffer.h"

#include "Base/Dev/AssertionFailure.h"

SimpleSectorBuffer::SimpleSectorBuffer(std::shared_ptr<SectorProvider> provider) : mProvider(std::move(provider)) {
    CHECK(mProvider);
}

void SimpleSectorBuffer::Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) {
    mProvider->Read(firstSector, sectorCount, buffer);
}

void SimpleSectorBuffer::Write(uint64_t firstSector, uint64_t sectorCount, const void* buffer) {
    mProvider->Write(firstSector, sectorCount, buffer);
}

uint32_t SimpleSectorBuffer::GetBytesPerSector() const { return mProvider->GetBytesPerSector(); }

uint64_t SimpleSectorBuffer::GetSectorCount() const { return mProvider->GetSectorCount(); }

void SimpleSectorBuffer::DisableCache(bool disable) { mProvider->DisableCache(disable); }
