#pragma once
// A sector source over bytes held in memory, for tests of anything that reads
// through a SectorProvider. Out-of-range access fails its precondition as the
// real sources do; trailing bytes that do not fill a sector are not on the disk.

#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "Base/Dev/AssertionFailure.h"
#include "SectorBuffer/Dev/SectorProvider.h"

class MemorySectorProvider : public SectorProvider {
public:
    MemorySectorProvider(std::vector<uint8_t> bytes, uint32_t bytesPerSector)
        : mBytes(std::move(bytes)), mBytesPerSector(bytesPerSector) {
        PRECONDITION(bytesPerSector != 0);
    }

    using SectorProvider::Read;
    using SectorProvider::Write;
    void Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) override {
        PRECONDITION(InRange(firstSector, sectorCount));
        if (sectorCount != 0) ++mReadCount, std::memcpy(buffer, At(firstSector), sectorCount * mBytesPerSector);
    }
    void Write(uint64_t firstSector, uint64_t sectorCount, const void* buffer) override {
        PRECONDITION(InRange(firstSector, sectorCount));
        if (sectorCount != 0) std::memcpy(At(firstSector), buffer, sectorCount * mBytesPerSector);
    }
    uint32_t GetBytesPerSector() const override { return mBytesPerSector; }
    uint64_t GetSectorCount() const override { return mBytes.size() / mBytesPerSector; }

    std::vector<uint8_t>& Bytes() { return mBytes; }
    // How many reads reached the bytes; tests use it to see that nothing was read.
    unsigned ReadCount() const { return mReadCount; }

private:
    bool InRange(uint64_t first, uint64_t count) const {
        return first <= GetSectorCount() && count <= GetSectorCount() - first;
    }
    uint8_t* At(uint64_t sector) { return mBytes.data() + sector * mBytesPerSector; }

    std::vector<uint8_t> mBytes;
    uint32_t mBytesPerSector;
    unsigned mReadCount = 0;
};
