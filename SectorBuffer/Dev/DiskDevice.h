#pragma once
// The raw device under DiskSectorProvider: a physical drive, a block device or
// a regular file holding a disk image. One implementation per platform
// (DiskDeviceWin.cpp, DiskDeviceLinux.cpp). Calls answer success or failure
// and keep the reason; the provider decides what a failure means, so its
// messages name the provider's own functions.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

struct DiskDeviceGeometry {
    uint64_t cylinders = 0;
    uint32_t tracksPerCylinder = 0;
    uint32_t sectorsPerTrack = 0;
    uint32_t bytesPerSector = 0;
};

class DiskDevice {
public:
    virtual ~DiskDevice() = default;

    // Opens path for reading (and writing unless readOnly). Returns null when
    // it does not open; reason then holds the system's text (may be empty).
    static std::unique_ptr<DiskDevice> Open(const std::wstring& path, bool readOnly, std::string& reason);

    // Page-aligned memory for the read-ahead cache; null when none is left.
    static void* AllocateCache(size_t bytes);
    // False when the system refused to give the block back.
    static bool ReleaseCache(void* cache, size_t bytes);

    // True for a regular file read as a disk image rather than a device.
    virtual bool IsImageFile() const = 0;
    // The drive's geometry. False when the query failed; success with
    // bytesReturned 0 means the driver answered without data.
    virtual bool QueryGeometry(DiskDeviceGeometry& geometry, uint32_t& bytesReturned) = 0;
    // Byte length of the whole device or file.
    virtual bool QueryLength(int64_t& byteLength) = 0;
    // Positions the next Read or Write at byteOffset from the start.
    virtual bool Seek(uint64_t byteOffset) = 0;
    // Reads up to byteCount bytes at the current position; bytesDone says how
    // many arrived and the position moves past them.
    virtual bool Read(void* buffer, uint32_t byteCount, uint32_t& bytesDone) = 0;
    virtual bool Write(const void* buffer, uint32_t byteCount, uint32_t& bytesDone) = 0;

    // The system's reason for the last failure, for appending to a failure
    // text; empty where the platform's texts stand alone.
    virtual std::string LastReason() const = 0;
    // The last failed call and its error, for "Operating System API %1 failed.".
    virtual std::string LastFailedCall() const = 0;
};

// Image files carry no geometry: they are described with the translation
// geometry and a sector size guessed from where the GPT header stands.
namespace DiskImage {
// The translation geometry: the largest shape a CHS address can express.
constexpr uint32_t kSectorsPerTrack = 63;
constexpr uint32_t kTracksPerCylinder = 254;
constexpr uint64_t kCylinders = 1023;
constexpr DiskDeviceGeometry kTranslationGeometry{kCylinders, kTracksPerCylinder, kSectorsPerTrack, 0};
constexpr uint32_t kDefaultSectorSize = 512;
constexpr uint32_t kLargeSectorSize = 4096;

// 4096 when "EFI PART" stands at byte 4096 and not at byte 512, else 512.
// Leaves the device positioned at byte 0.
uint32_t GuessSectorSize(DiskDevice& image);
// 512, 1024, ..., 32768.
bool IsValidSectorSize(uint32_t bytes);
}  // namespace DiskImage
