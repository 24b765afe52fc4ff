#include "Utility/Layscan/Model/SectorCopies.h"

#include <algorithm>
#include <cstring>

#include "Base/Dev/AssertionFailure.h"
#include "SectorBuffer/Dev/SectorProvider.h"

namespace nsLayout {

namespace {

// Sectors per block of kept copies: few allocations however many are kept.
constexpr size_t kSectorsPerBlock = 256;

}  // namespace

SectorCopies::SectorCopies(uint32_t bytesPerSector, uint64_t sectorCount)
    : mBytesPerSector(bytesPerSector), mSectorCount(sectorCount) {}

SectorCopies::SectorCopies(SectorCopies&&) noexcept = default;
SectorCopies& SectorCopies::operator=(SectorCopies&&) noexcept = default;
SectorCopies::~SectorCopies() = default;

bool SectorCopies::IsHeldInFull(uint64_t lba) const {
    const auto copy = mCopies.find(lba);
    return copy != mCopies.end() && copy->second.size == mBytesPerSector;
}

const std::exception_ptr* SectorCopies::FailureOf(uint64_t lba, uint64_t count) const {
    const auto failure = mFailures.find({lba, count});
    return failure == mFailures.end() ? nullptr : &failure->second;
}

uint8_t* SectorCopies::NewSector() {
    if (mFreeInBlock == 0) {
        mBlocks.push_back(std::make_unique<uint8_t[]>(kSectorsPerBlock * mBytesPerSector));
        mFreeInBlock = kSectorsPerBlock;
    }
    return mBlocks.back().get() + (kSectorsPerBlock - mFreeInBlock--) * mBytesPerSector;
}

void SectorCopies::Keep(uint64_t lba, const uint8_t* sector) {
    Copy copy;
    copy.size = mBytesPerSector;
    copy.fill = sector[0];
    const bool uniform = std::all_of(sector, sector + mBytesPerSector, [&](uint8_t b) { return b == copy.fill; });
    if (!uniform) {
        uint8_t* kept = NewSector();
        std::memcpy(kept, sector, mBytesPerSector);
        copy.bytes = kept;
    }
    mCopies[lba] = copy;
}

void SectorCopies::Fetch(SectorProvider& source, uint64_t lba, uint64_t count) {
    bool held = true;
    for (uint64_t i = 0; i < count && held; ++i) held = IsHeldInFull(lba + i);
    if (held || FailureOf(lba, count)) return;
    // The request goes to the source as the report would have made it, so a
    // failure carries the same text.
    std::vector<uint8_t> sectors;
    try {
        sectors.resize(count * mBytesPerSector);
        source.Read(lba, count, sectors.data());
    } catch (...) {
        mFailures[{lba, count}] = std::current_exception();
        return;
    }
    for (uint64_t i = 0; i < count; ++i) Keep(lba + i, sectors.data() + i * mBytesPerSector);
}

SectorCopies::Range SectorCopies::Covering(uint64_t lba, uint64_t byteOffset, uint64_t byteCount) const {
    PRECONDITION(mBytesPerSector != 0);
    const uint64_t offsetInFirst = byteOffset % mBytesPerSector;
    return {lba + byteOffset / mBytesPerSector, (offsetInFirst + byteCount + mBytesPerSector - 1) / mBytesPerSector};
}

void SectorCopies::FetchBytes(SectorProvider& source, uint64_t lba, uint64_t byteOffset, uint64_t byteCount) {
    const Range range = Covering(lba, byteOffset, byteCount);
    Fetch(source, range.first, range.count);
}

void SectorCopies::FetchPrefix(SectorProvider& source, uint64_t lba) {
    if (mCopies.count(lba)) return;
    Fetch(source, lba, 1);
}

void SectorCopies::Hold(uint64_t lba, const uint8_t* bytes, uint32_t size) {
    if (IsHeldInFull(lba)) return;
    mCopies[lba] = Copy{bytes, std::min(size, mBytesPerSector), 0};
}

void SectorCopies::Get(uint64_t lba, uint64_t count, std::vector<uint8_t>& bytes) const {
    if (const std::exception_ptr* failure = FailureOf(lba, count)) std::rethrow_exception(*failure);
    bytes.resize(count * mBytesPerSector);
    for (uint64_t i = 0; i < count; ++i) {
        const auto copy = mCopies.find(lba + i);
        CHECK_MSG(copy != mCopies.end() && copy->second.size == mBytesPerSector, "the model read every sector shown");
        uint8_t* into = bytes.data() + i * mBytesPerSector;
        if (copy->second.bytes)
            std::memcpy(into, copy->second.bytes, mBytesPerSector);
        else
            std::memset(into, copy->second.fill, mBytesPerSector);
    }
}

void SectorCopies::GetBytes(uint64_t lba, uint64_t byteOffset, uint64_t byteCount, std::vector<uint8_t>& bytes) const {
    const Range range = Covering(lba, byteOffset, byteCount);
    Get(range.first, range.count, bytes);
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(byteOffset % mBytesPerSector));
    bytes.resize(byteCount);
}

void SectorCopies::GetPrefix(uint64_t lba, std::vector<uint8_t>& bytes) const {
    if (const std::exception_ptr* failure = FailureOf(lba, 1)) std::rethrow_exception(*failure);
    const auto copy = mCopies.find(lba);
    CHECK_MSG(copy != mCopies.end(), "the model read every sector shown");
    bytes.assign(copy->second.size, copy->second.fill);
    if (copy->second.bytes) std::memcpy(bytes.data(), copy->second.bytes, copy->second.size);
}

}  // namespace nsLayout
