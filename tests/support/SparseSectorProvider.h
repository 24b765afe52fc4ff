#pragma once
// A sector source for tests and benchmarks that stores only the sectors that
// were written: a disk of any size whose unwritten sectors read as zeros.
// Reads past the end fail the way the real sources' bounds checks do.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "Base/Dev/AssertionFailure.h"
#include "SectorBuffer/Dev/SectorProvider.h"

class SparseSectorProvider : public SectorProvider {
public:
    SparseSectorProvider(uint64_t sectorCount, uint32_t bytesPerSector = 512)
        : mSectorCount(sectorCount), mBytesPerSector(bytesPerSector) {
        PRECONDITION(bytesPerSector != 0);
    }
    // An image held in memory; trailing bytes that do not fill a sector are not on the disk.
    SparseSectorProvider(const std::vector<uint8_t>& image, uint32_t bytesPerSector)
        : SparseSectorProvider(image.size() / bytesPerSector, bytesPerSector) {
        for (uint64_t lba = 0; lba < mSectorCount; ++lba) {
            const uint8_t* s = image.data() + lba * bytesPerSector;
            if (std::any_of(s, s + bytesPerSector, [](uint8_t b) { return b != 0; })) Write(lba, 1, s);
        }
    }

    using SectorProvider::Read;
    using SectorProvider::Write;
    void Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) override {
        PRECONDITION(InRange(firstSector, sectorCount));
        mReadCount += sectorCount != 0;
        auto* out = static_cast<uint8_t*>(buffer);
        for (uint64_t i = 0; i < sectorCount; ++i, out += mBytesPerSector) {
            ++mReads[firstSector + i];
            auto it = mSectors.find(firstSector + i);
            if (it == mSectors.end())
                std::memset(out, 0, mBytesPerSector);
            else
                std::memcpy(out, it->second.data(), mBytesPerSector);
        }
    }
    void Write(uint64_t firstSector, uint64_t sectorCount, const void* buffer) override {
        PRECONDITION(InRange(firstSector, sectorCount));
        const auto* in = static_cast<const uint8_t*>(buffer);
        for (uint64_t i = 0; i < sectorCount; ++i, in += mBytesPerSector)
            Sector(firstSector + i).assign(in, in + mBytesPerSector);
    }
    uint32_t GetBytesPerSector() const override { return mBytesPerSector; }
    uint64_t GetSectorCount() const override { return mSectorCount; }
    // The disk grows or shrinks; sectors written beyond a smaller end stay for a later growth.
    void SetSectorCount(uint64_t sectorCount) { mSectorCount = sectorCount; }

    // The sector's bytes, created as zeros on first use.
    std::vector<uint8_t>& Sector(uint64_t lba) {
        auto& s = mSectors[lba];
        if (s.empty()) s.resize(mBytesPerSector);
        return s;
    }
    // How often each sector was read, and how many reads reached the sectors at all.
    const std::unordered_map<uint64_t, unsigned>& ReadCounts() const { return mReads; }
    unsigned ReadCount() const { return mReadCount; }

private:
    bool InRange(uint64_t first, uint64_t count) const { return first <= mSectorCount && count <= mSectorCount - first; }

    uint64_t mSectorCount;
    uint32_t mBytesPerSector;
    std::unordered_map<uint64_t, std::vector<uint8_t>> mSectors;
    std::unordered_map<uint64_t, unsigned> mReads;
    unsigned mReadCount = 0;
};
