#pragma once
// A physical disk, a block device or a raw image file, read through a 64 KiB
// read-ahead cache. The device I/O itself lives behind DiskDevice, one file
// per platform.

#include <cstdint>
#include <memory>
#include <string>

#include "SectorBuffer/Dev/SectorProvider.h"

class DiskDevice;

class DiskSectorProvider : public SectorProvider {
public:
    // devicePath: "\\.\PHYSICALDRIVEn" or "/dev/sda", or a regular file (an
    // image). sectorSizeOverride 0 lets the source decide (a file guesses
    // 512 or 4096 from where the GPT signature stands).
    DiskSectorProvider(const std::wstring& devicePath, bool readOnly, uint32_t sectorSizeOverride = 0);
    // Over an already opened device (tests hand in a double that counts reads).
    explicit DiskSectorProvider(std::unique_ptr<DiskDevice> device);
    ~DiskSectorProvider() override;

    using SectorProvider::Read;
    using SectorProvider::Write;
    void Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) override;
    void Write(uint64_t firstSector, uint64_t sectorCount, const void* buffer) override;
    uint32_t GetBytesPerSector() const override { return mBytesPerSector; }
    uint64_t GetSectorCount() const override { return mSectorCount; }
    void DisableCache(bool disable) override;

    uint64_t GetCylinders() const { return mCylinders; }
    uint32_t GetTracksPerCylinder() const { return mTracksPerCylinder; }
    uint32_t GetSectorsPerTrack() const { return mSectorsPerTrack; }
};
