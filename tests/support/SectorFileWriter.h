#pragma once
// Writes sector files for tests and for the bundled samples: the tool itself
// only reads them. Sectors come from a raw image or one by one; records are
// raw or compressed (stored or run-length, whichever is shorter), with header
// version 0 to 4, fill entries and a bad-sector list. Sectors of equal content
// share one record.

#include <cstdint>
#include <string>
#include <vector>

class SectorFileWriter {
public:
    // Where Build put the parts of the file, for tests that damage one.
    struct Layout {
        uint64_t mapOffset = 0;        // of the "SectorMap " signature
        uint64_t badSectorOffset = 0;  // of the "BadSector " signature; 0 below version 4
    };

    SectorFileWriter(uint32_t bytesPerSector, uint64_t sectorCount)
        : mBytesPerSector(bytesPerSector), mSectorCount(sectorCount) {}

    SectorFileWriter& SetVersion(uint32_t version) { return mVersion = version, *this; }
    SectorFileWriter& SetSectorCount(uint64_t sectorCount) { return mSectorCount = sectorCount, *this; }
    SectorFileWriter& SetCompressed(bool compressed) { return mCompressed = compressed, *this; }
    // All-zero sectors added after this are left out of the map (they read as zeros).
    SectorFileWriter& SetOmitZeroSectors(bool omit) { return mOmitZero = omit, *this; }

    // bytes holds one sector; each sector is added once.
    void AddSector(uint64_t sector, const std::vector<uint8_t>& bytes);
    void AddSector(uint64_t sector, const uint8_t* bytes);
    // Mapped to the fill sector: the map offset has its top bit set.
    void AddFillSector(uint64_t sector) { mItems.push_back({sector, true, 0}); }
    void AddBadSector(uint64_t sector) { mBadSectors.push_back(sector); }
    // Adds every whole sector of a raw image file; returns the number of sectors read.
    uint64_t AddImage(const std::string& imagePath);

    std::vector<uint8_t> Build(Layout* layout = nullptr) const;
    void Save(const std::string& path) const;
    size_t GetMappedCount() const { return mItems.size(); }

private:
    struct Item {
        uint64_t sector;
        bool fill;
        size_t dataIndex;
    };

    uint32_t mBytesPerSector;
    uint64_t mSectorCount;
    uint32_t mVersion = 4;
    bool mCompressed = true, mOmitZero = false;
    std::vector<Item> mItems;
    std::vector<std::vector<uint8_t>> mData;
    std::vector<uint64_t> mBadSectors;
};

// Byte order helpers for building and patching files in tests.
void PutBigEndian(std::vector<uint8_t>& bytes, uint64_t offset, uint64_t value, unsigned width);
void PutLittleEndian(std::vector<uint8_t>& bytes, uint64_t offset, uint64_t value, unsigned width);
void WriteFileBytes(const std::string& path, const std::vector<uint8_t>& bytes);
