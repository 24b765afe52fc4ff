#pragma once
// A saved sector file: a header, a sector map, optional bad-sector block and
// raw or run-length compressed sector records. Every size and offset in it is
// untrusted.
//
// File layout (header integers big-endian):
//   0x00 "SectorFile"            0x0A bytes per sector (4)
//   0x0E sectors of the disk (8) 0x16 sector map entries (4)
//   0x1A sector map offset (8)   0x22 header version (4)
//   0x26 compression (1): 0 = raw records, else compressed records
//   0x27..0x3C (version 3 and up): reserved, ignored when reading
//   0x3D bad-sector field (4)    0x41 bad-sector block offset (8)   (version 4)
// Header size: 0x27 below version 3, 0x3D for version 3, 0x49 for version 4.
//
// Sector map block: "SectorMap " then 16-byte entries, little-endian
// (sector number, file offset of the record), sorted by sector number. An
// offset with its top bit set maps the sector to the fill sector (zeros).
//
// Bad-sector block (version 4; its signature is always checked): "BadSector ",
// then 24 info bytes: the number of listed sectors (8, big-endian) and 16
// reserved bytes; then that many sector numbers (8 each, little-endian). The
// list is read only when the header's bad-sector field is non-zero; with a
// field of 0 every sector is readable.
//
// Compressed record: length incl. the 3-byte head (2, big-endian), kind
// (1: 0 stored, 1 run-length pairs (count, value)), payload.

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "SectorBuffer/Dev/SectorProvider.h"

class SectorFile : public SectorProvider {
public:
    static constexpr char kSignature[] = "SectorFile";
    static constexpr char kMapSignature[] = "SectorMap ";
    static constexpr char kBadSectorSignature[] = "BadSector ";
    static constexpr size_t kSignatureLength = 10;
    static constexpr size_t kHeaderSizeV2 = 0x27;
    static constexpr size_t kHeaderSizeV3 = 0x3D;
    static constexpr size_t kHeaderSizeV4 = 0x49;
    static constexpr size_t kMapEntrySize = 16;
    static constexpr size_t kBadSectorInfoSize = 24;
    static constexpr size_t kRecordHeadSize = 3;
    static constexpr uint32_t kMaxBytesPerSector = 65536;
    static constexpr uint64_t kFillOffsetFlag = 0x8000000000000000ull;
    // Maps smaller than this are read in one piece, larger ones in pieces.
    static constexpr uint64_t kSingleReadMapEntries = 2097152;
    static constexpr uint64_t kMapPieceEntries = 1024;
    static constexpr uint8_t kRecordStored = 0;
    static constexpr uint8_t kRecordRll = 1;

    // The fixed part of the file as read from disk.
    class Header {
    public:
        uint32_t GetBytesPerSector() const { return mBytesPerSector; }
        uint64_t GetNumberOfSectors() const { return mNumberOfSectors; }
        uint32_t GetMapEntryCount() const { return mMapEntryCount; }
        uint64_t GetMapOffset() const { return mMapOffset; }
        uint32_t GetVersion() const { return mVersion; }
        bool IsCompressed() const { return mCompression != 0; }
        uint32_t GetBadSectorField() const { return mBadSectorField; }
        uint64_t GetBadSectorOffset() const { return mBadSectorOffset; }

    private:
        friend class SectorFile;
        uint32_t mBytesPerSector = 0;
        uint64_t mNumberOfSectors = 0;
        uint32_t mMapEntryCount = 0;
        uint64_t mMapOffset = 0;
        uint32_t mVersion = 0;
        uint8_t mCompression = 0;
        uint32_t mBadSectorField = 0;
        uint64_t mBadSectorOffset = 0;
    };

    struct MapEntry {
        uint64_t sector;
        uint64_t offset;
    };

    // Opens and validates the file; throws Result or CheckFailure on a bad file.
    SectorFile(const std::wstring& path, bool readOnly);
    ~SectorFile() override;

    using SectorProvider::Read;
    using SectorProvider::Write;
    void Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) override;
    // The tool never writes sector files.
    void Write(uint64_t firstSector, uint64_t sectorCount, const void* buffer) override;
    uint32_t GetBytesPerSector() const override;
    uint64_t GetSectorCount() const override;

    const Header& GetHeader() const { return *mHeader; }
    const std::vector<MapEntry>& GetSectorMap() const { return mSectorMap; }
    const std::vector<uint64_t>& GetBadSectors() const { return mBadSectors; }
    // Number of reads issued to the file so far (the map must load in bulk).
    uint64_t GetFileReadCount() const { return mFileReadCount; }

    static bool IsValidMapSignature(const uint8_t* bytes);
    static bool IsValidBadSectorSignature(const uint8_t* bytes);

private:
    void Open();
    void OpenFile();
    void ReadHeader();
    void ReadBadSectors();
    void ReadSectorMap();
    void DoRead(uint64_t start, uint64_t count, uint8_t* buffer);
    void ReadRaw(uint64_t offset, uint8_t* target);
    void Decompress(uint64_t offset, uint8_t* target);
    void RllDecompress(const uint8_t* source, size_t sourceLength, uint8_t* target);
    // Reads exactly length bytes at offset; the caller has checked the range.
    void ReadAt(uint64_t offset, void* target, uint64_t length);
    // True when [offset, offset + length) lies inside the file.
    bool InFile(uint64_t offset, uint64_t length) const;
    bool IsBadSector(uint64_t sector) const;

    std::wstring mPath;
    std::unique_ptr<std::ifstream> mFile;
    uint64_t mFileSize = 0;
    std::unique_ptr<Header> mHeader;
    std::vector<MapEntry> mSectorMap;
    std::vector<uint64_t> mBadSectors;
    std::vector<uint8_t> mFillSector;
    std::vector<uint8_t> mRecord;
    uint64_t mFileReadCount = 0;
};
