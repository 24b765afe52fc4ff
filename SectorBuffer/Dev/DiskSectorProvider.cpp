#include "SectorBuffer/Dev/DiskSectorProvider.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "Base/Dev/AssertionFailure.h"
#include "SectorBuffer/Dev/DiskDevice.h"

namespace {

constexpr uint64_t kCacheEmpty = UINT64_MAX;
// Largest single device transfer; longer direct reads go in pieces so a byte
// count never overflows the 32-bit transfer size.
constexpr uint32_t kMaxTransferBytes = 0x40000000;

constexpr const char* kOpenFailed = "CreateFile returned INVALID_HANDLE_VALUE.";
constexpr const char* kSeekFailed = "SetFilePointer returned an error.";
constexpr const char* kReadFailed = "ReadFile returned an error.";

}  // namespace

DiskSectorProvider::DiskSectorProvider(const std::wstring& devicePath, bool readOnly, uint32_t sectorSizeOverride)
    : DiskSectorProvider(OpenDevice(devicePath, readOnly), devicePath, sectorSizeOverride) {}

DiskSectorProvider::DiskSectorProvider(std::unique_ptr<DiskDevice> device, const std::wstring& devicePath,
                                       uint32_t sectorSizeOverride)
    : DiskSectorProvider(OpenedDevice{std::move(device), {}}, devicePath, sectorSizeOverride) {}

DiskSectorProvider::OpenedDevice DiskSectorProvider::OpenDevice(const std::wstring& devicePath, bool readOnly) {
    OpenedDevice opened;
    opened.device = DiskDevice::Open(devicePath, readOnly, opened.reason);
    return opened;
}

DiskSectorProvider::DiskSectorProvider(OpenedDevice opened, const std::wstring& devicePath,
                                       uint32_t sectorSizeOverride)
    : mDevice(std::move(opened.device)) {
    PRECONDITION(sectorSizeOverride == 0 || DiskImage::IsValidSectorSize(sectorSizeOverride));
    mCache.reset(static_cast<uint8_t*>(DiskDevice::AllocateCache(kCacheBytes)));
    if (!mCache) throw std::bad_alloc();
    CHECK_MSG(mDevice != nullptr, std::string(kOpenFailed) + (opened.reason.empty() ? "" : " (" + opened.reason + ")"));

    mImageFile = mDevice->IsImageFile();
    if (mImageFile) {
        InitImage(sectorSizeOverride);
        return;
    }
    uint32_t bytesReturned = 0;
    if (!mDevice->QueryGeometry(mGeometry, bytesReturned))
        throw Result(ERROR_SYSTEM_API_CALL_FAILED, {Widen(mDevice->LastFailedCall())}, LS_FUNCTION_NAME);
    CHECK_MSG(bytesReturned != 0, "IOCTL_DISK_GET_DRIVE_GEOMETRY return 0 bytes.");
    mBytesPerSector = sectorSizeOverride != 0 ? sectorSizeOverride : mGeometry.bytesPerSector;
    mGeometry.bytesPerSector = mBytesPerSector;
    // Every sector count and cache span divides by it; a driver answering 0 is refused here.
    CHECK(mBytesPerSector != 0);
    InitSectorCount(devicePath);
}

// The cache is released through the platform; a refused release cannot be
// reported from a destructor, and the block is then lost.
void DiskSectorProvider::CacheRelease::operator()(uint8_t* cache) const {
    DiskDevice::ReleaseCache(cache, kCacheBytes);
}

DiskSectorProvider::~DiskSectorProvider() = default;

std::string DiskSectorProvider::Reason() const {
    const std::string reason = mDevice->LastReason();
    return reason.empty() ? std::string() : " (" + reason + ")";
}

void DiskSectorProvider::InitSectorCount(const std::wstring& devicePath) {
    if (!devicePath.empty() && devicePath.back() == L':') {
        // A volume: its own geometry product, which may stop short of the device length.
        mSectorCount = uint64_t(mGeometry.sectorsPerTrack) * mGeometry.tracksPerCylinder * mGeometry.cylinders;
        return;
    }
    int64_t length = 0;
    CHECK_MSG(mDevice->QueryLength(length), "IOCTL_DISK_GET_PARTITION_INFO call failed" + Reason());
    mSectorCount = length > 0 ? uint64_t(length / int64_t(mBytesPerSector)) : 0;
}

void DiskSectorProvider::InitImage(uint32_t sectorSizeOverride) {
    mBytesPerSector = sectorSizeOverride != 0 ? sectorSizeOverride : DiskImage::GuessSectorSize(*mDevice);
    mGeometry = DiskImage::kTranslationGeometry;
    mGeometry.bytesPerSector = mBytesPerSector;
    int64_t length = 0;
    if (!mDevice->QueryLength(length))
        throw Result(ERROR_SYSTEM_API_CALL_FAILED, {Widen(mDevice->LastFailedCall())}, LS_FUNCTION_NAME);
    // A partial last sector is never read.
    mSectorCount = length > 0 ? uint64_t(length) / mBytesPerSector : 0;
    mNextSector = 0;
}

void DiskSectorProvider::Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) {
    PRECONDITION_MSG(sectorCount <= mSectorCount && firstSector <= mSectorCount - sectorCount,
                     "firstSector + sectorCount <= mSectorCount");
    PRECONDITION_MSG(buffer != nullptr, "buffer != NULL");
    const uint64_t bytesPerSector = GetBytesPerSector();
    const uint64_t span = kCacheBytes / bytesPerSector;
    auto* out = static_cast<uint8_t*>(buffer);

    if (mCacheFirstSector != kCacheEmpty && mCacheFirstSector <= firstSector &&
        firstSector + sectorCount <= mCacheFirstSector + span) {
        std::memcpy(out, mCache.get() + (firstSector - mCacheFirstSector) * bytesPerSector, sectorCount * bytesPerSector);
        return;
    }

    if (firstSector != mNextSector) {
        if (!mDevice->Seek(firstSector * bytesPerSector)) {
            mNextSector = kCacheEmpty;
            CHECK_MSG(false, kSeekFailed + Reason());
        }
        mNextSector = firstSector;
    }

    // An image file is read as asked: the system reads ahead for it already,
    // and a disk's report asks for each sector it needs once.
    const bool readAhead = !mImageFile && sectorCount <= span / 4 && firstSector + span < GetSectorCount() &&
                           mCacheDisabledCount == 0;
    if (readAhead) {
        mCacheFirstSector = kCacheEmpty;
        const uint32_t wanted = uint32_t(span * bytesPerSector);
        uint32_t done = 0;
        const bool ok = mDevice->Read(mCache.get(), wanted, done);
        if (!ok || done != wanted) {
            mNextSector = kCacheEmpty;
            CHECK_MSG(false, kReadFailed + Reason());
        }
        mCacheFirstSector = firstSector;
        std::memcpy(out, mCache.get(), sectorCount * bytesPerSector);
        mNextSector = firstSector + span;
        return;
    }

    const uint64_t piece = kMaxTransferBytes / bytesPerSector;
    for (uint64_t doneSectors = 0; doneSectors < sectorCount;) {
        const uint64_t n = std::min(piece, sectorCount - doneSectors);
        const uint32_t wanted = uint32_t(n * bytesPerSector);
        uint32_t done = 0;
        const bool ok = mDevice->Read(out + doneSectors * bytesPerSector, wanted, done);
        if (!ok || done != wanted) {
            mNextSector = kCacheEmpty;
            CHECK_MSG(false, kReadFailed + Reason());
        }
        doneSectors += n;
    }
    mNextSector = firstSector + sectorCount;
}

void DiskSectorProvider::Write(uint64_t firstSector, uint64_t sectorCount, const void* buffer) {
    PRECONDITION(mDevice != nullptr);
    PRECONDITION_MSG(buffer != nullptr, "buffer != NULL");
    PRECONDITION_MSG(!(firstSector >= GetSectorCount() || sectorCount > GetSectorCount() - firstSector),
                     "!(lba >= GetSectorCount() || lba + sectorCount > GetSectorCount())");
    PRECONDITION_MSG(sectorCount * GetBytesPerSector() < UINT32_MAX,
                     "sectorCount * GetBytesPerSector() < UINT32_MAX");
    // What is written may lie in the read-ahead block; it no longer says what the disk holds.
    mCacheFirstSector = kCacheEmpty;
    mNextSector = kCacheEmpty;
    CHECK_MSG(mDevice->Seek(firstSector * GetBytesPerSector()), kSeekFailed + Reason());
    const uint32_t wanted = uint32_t(sectorCount * GetBytesPerSector());
    uint32_t done = 0;
    const bool ok = mDevice->Write(buffer, wanted, done);
    CHECK_MSG(ok && done == wanted, "WriteFile returned an error." + Reason());
    mNextSector = firstSector + sectorCount;
}

void DiskSectorProvider::DisableCache(bool disable) {
    if (disable) {
        ++mCacheDisabledCount;
        return;
    }
    CHECK_MSG(mCacheDisabledCount > 0, "mCacheDisabledCount > 0");
    --mCacheDisabledCount;
}
