#pragma once
// A sector source for tests and benchmarks that stores only the sectors that
// were written: a disk of any size whose unwritten sectors read as zeros.
// Reads past the end fail the way the real sources' bounds checks do.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <cstring>
#include <fstream>
#include <string>
#include <unordered_map>
#include <vector>

#include "Base/Dev/AssertionFailure.h"
#include "SectorBuffer/Dev/SectorProvider.h"

class SparseSectorProvider : public SectorProvider {
public:
    SparseSectorProvider(uint64_t sectorCount, uint32_t bytesPerSector = 512)
        : mSectorCount(sectorCount), mBytesPerSector(bytesPerSector) {}

    // The non-zero sectors of a raw image file; the file's size gives the count.
    static std::shared_ptr<SparseSectorProvider> FromImageFile(const std::string& path, uint32_t bytesPerSector = 512) {
        std::ifstream in(path, std::ios::binary | std::ios::ate);
        if (!in) return nullptr;
        auto p = std::make_shared<SparseSectorProvider>(static_cast<uint64_t>(in.tellg()) / bytesPerSector, bytesPerSector);
        in.seekg(0);
        std::vector<uint8_t> s(bytesPerSector);
        for (uint64_t lba = 0; lba < p->mSectorCount && in.read(reinterpret_cast<char*>(s.data()), bytesPerSector); ++lba)
            if (std::any_of(s.begin(), s.end(), [](uint8_t b) { return b != 0; })) p->Sector(lba) = s;
        return p;
    }

    using SectorProvider::Read;
    using SectorProvider::Write;
    void Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) override {
        PRECONDITION(firstSector + sectorCount <= mSectorCount);
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
        PRECONDITION(firstSector + sectorCount <= mSectorCount);
        const auto* in = static_cast<const uint8_t*>(buffer);
        for (uint64_t i = 0; i < sectorCount; ++i, in += mBytesPerSector)
            Sector(firstSector + i).assign(in, in + mBytesPerSector);
    }
    uint32_t GetBytesPerSector() const override { return mBytesPerSector; }
    uint64_t GetSectorCount() const override { return mSectorCount; }

    // The sector's bytes, created as zeros on first use.
    std::vector<uint8_t>& Sector(uint64_t lba) {
        auto& s = mSectors[lba];
        if (s.empty()) s.resize(mBytesPerSector);
        return s;
    }
    // How often each sector was read.
    const std::unordered_map<uint64_t, unsigned>& ReadCounts() const { return mReads; }

private:
    uint64_t mSectorCount;
    uint32_t mBytesPerSector;
    std::unordered_map<uint64_t, std::vector<uint8_t>> mSectors;
    std::unordered_map<uint64_t, unsigned> mReads;
};
