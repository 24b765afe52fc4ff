#pragma once
// A physical disk, a block device or a raw image file; a disk or a block
// device is read through a 64 KiB read-ahead cache, an image file as asked. The device I/O itself lives behind DiskDevice, one file
// per platform.

#include <cstdint>
#include <memory>
#include <string>

#include "SectorBuffer/Dev/DiskDevice.h"
#include "SectorBuffer/Dev/SectorProvider.h"

class DiskSectorProvider : public SectorProvider {
public:
    // Bytes of the read-ahead cache; it holds kCacheBytes / GetBytesPerSector() sectors.
    static constexpr uint32_t kCacheBytes = 0x10000;

    // devicePath: "\\.\PHYSICALDRIVEn" or "/dev/sda", or a regular file (an
    // image). sectorSizeOverride 0 lets the source decide (a file guesses
    // 512 or 4096 from where the GPT signature stands); otherwise one of
    // 512, 1024, ..., 32768, which wins over what the source says.
    DiskSectorProvider(const std::wstring& devicePath, bool readOnly, uint32_t sectorSizeOverride = 0);
    // Over an already opened device (tests hand in a double that counts reads).
    explicit DiskSectorProvider(std::unique_ptr<DiskDevice> device, const std::wstring& devicePath = L"",
                                uint32_t sectorSizeOverride = 0);
    ~DiskSectorProvider() override;

    DiskSectorProvider(const DiskSectorProvider&) = delete;
    DiskSectorProvider& operator=(const DiskSectorProvider&) = delete;

    using SectorProvider::Read;
    using SectorProvider::Write;
    void Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) override;
    void Write(uint64_t firstSector, uint64_t sectorCount, const void* buffer) override;
    uint32_t GetBytesPerSector() const override { return mBytesPerSector; }
    uint64_t GetSectorCount() const override { return mSectorCount; }
    void DisableCache(bool disable) override;

    // The shape the device reports, with the sector size in use; an image
    // file's is the translation geometry.
    const DiskDeviceGeometry& GetGeometry() const { return mGeometry; }
    uint64_t GetCylinders() const { return mGeometry.cylinders; }
    uint32_t GetTracksPerCylinder() const { return mGeometry.tracksPerCylinder; }
    uint32_t GetSectorsPerTrack() const { return mGeometry.sectorsPerTrack; }

    // True when the source is a regular file read as a raw image (its
    // geometry is then the translation geometry, not a device's).
    bool IsImageFile() const { return mImageFile; }

private:
    struct OpenedDevice {
        std::unique_ptr<DiskDevice> device;  // null when the open failed
        std::string reason;                  // the system's reason for that
    };
    struct CacheRelease {
        void operator()(uint8_t* cache) const;
    };

    static OpenedDevice OpenDevice(const std::wstring& devicePath, bool readOnly);
    DiskSectorProvider(OpenedDevice opened, const std::wstring& devicePath, uint32_t sectorSizeOverride);
    void InitSectorCount(const std::wstring& devicePath);
    void InitImage(uint32_t sectorSizeOverride);
    std::string Reason() const;

    uint32_t mBytesPerSector = 0;
    uint64_t mSectorCount = 0;
    DiskDeviceGeometry mGeometry;
    uint64_t mCacheDisabledCount = 0;
    uint64_t mNextSector = 0;
    uint64_t mCacheFirstSector = UINT64_MAX;
    std::unique_ptr<uint8_t, CacheRelease> mCache;
    std::unique_ptr<DiskDevice> mDevice;
    bool mImageFile = false;
};
