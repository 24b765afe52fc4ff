#pragma once
// The sectors a disk's report shows beyond what the boot records and GPT
// tables keep: read once while the model is built and kept for the report.
// A read that fails is kept as its failure, so the section that shows the
// sector fails there, with exactly what the sector source said, and the
// report up to that point reads as if the section had asked the disk itself.
//
// A sector of one repeated byte is kept as that byte: long chains of empty
// logical partitions cost no sector copies.

#include <cstddef>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

class SectorProvider;

namespace nsLayout {

class SectorCopies {
public:
    // The longest byte range the report shows of a sector range; longer ones
    // are never read for it.
    static constexpr uint64_t kMaxShownBytes = 0xFFFF;

    SectorCopies(uint32_t bytesPerSector, uint64_t sectorCount);
    SectorCopies(SectorCopies&&) noexcept;
    SectorCopies& operator=(SectorCopies&&) noexcept;
    ~SectorCopies();

    uint32_t GetBytesPerSector() const { return mBytesPerSector; }
    uint64_t GetSectorCount() const { return mSectorCount; }

    // Reads sectors lba..lba+count-1 as one request unless each is held in
    // full or this very request failed before; a failure is kept for it.
    void Fetch(SectorProvider& source, uint64_t lba, uint64_t count);
    // The sectors covering byteCount bytes from byteOffset into sector lba.
    void FetchBytes(SectorProvider& source, uint64_t lba, uint64_t byteOffset, uint64_t byteCount);
    // Reads sector lba unless it was read before in any form: for a caller
    // that needs no more than the start of it (see GetPrefix).
    void FetchPrefix(SectorProvider& source, uint64_t lba);
    // The model already holds the first `size` bytes of sector lba (a boot
    // record's copy); they must live as long as this object.
    void Hold(uint64_t lba, const uint8_t* bytes, uint32_t size);

    // The sectors' bytes; throws the failure their read met.
    void Get(uint64_t lba, uint64_t count, std::vector<uint8_t>& bytes) const;
    // byteCount bytes from byteOffset into sector lba.
    void GetBytes(uint64_t lba, uint64_t byteOffset, uint64_t byteCount, std::vector<uint8_t>& bytes) const;
    // As much of the start of sector lba as is held (at least a boot
    // record's 512 bytes); throws the failure its read met.
    void GetPrefix(uint64_t lba, std::vector<uint8_t>& bytes) const;

private:
    struct Copy {
        const uint8_t* bytes = nullptr;  // null: every byte is `fill`
        uint32_t size = 0;               // bytes held from the sector's start
        uint8_t fill = 0;
    };
    struct Range {
        uint64_t first;
        uint64_t count;
    };

    // The sectors that hold byteCount bytes from byteOffset into sector lba.
    Range Covering(uint64_t lba, uint64_t byteOffset, uint64_t byteCount) const;
    bool IsHeldInFull(uint64_t lba) const;
    const std::exception_ptr* FailureOf(uint64_t lba, uint64_t count) const;
    void Keep(uint64_t lba, const uint8_t* sector);
    uint8_t* NewSector();

    uint32_t mBytesPerSector;
    uint64_t mSectorCount;
    std::unordered_map<uint64_t, Copy> mCopies;
    std::map<std::pair<uint64_t, uint64_t>, std::exception_ptr> mFailures;
    std::vector<std::unique_ptr<uint8_t[]>> mBlocks;
    size_t mFreeInBlock = 0;
};

}  // namespace nsLayout
