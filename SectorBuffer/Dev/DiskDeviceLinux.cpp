#include <fcntl.h>
#include <linux/fs.h>
#include <linux/hdreg.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "Base/Dev/Result.h"
#include "SectorBuffer/Dev/DiskDevice.h"

namespace {

constexpr size_t kPageBytes = 4096;
// What a DISK_GEOMETRY answer carries; the Linux queries report the same facts.
constexpr uint32_t kGeometryBytes = 24;
// Heads and sectors per track assumed when the driver has no geometry to give.
constexpr uint32_t kFallbackHeads = 255;
constexpr uint32_t kFallbackSectorsPerTrack = 63;

class LinuxDiskDevice : public DiskDevice {
public:
    LinuxDiskDevice(int fd, bool imageFile) : mFd(fd), mImageFile(imageFile) {}
    ~LinuxDiskDevice() override { close(mFd); }

    bool IsImageFile() const override { return mImageFile; }

    bool QueryGeometry(DiskDeviceGeometry& geometry, uint32_t& bytesReturned) override {
        bytesReturned = 0;
        int logical = 0;
        if (ioctl(mFd, BLKSSZGET, &logical) != 0) return Fail("ioctl(BLKSSZGET)");
        uint64_t bytes = 0;
        if (ioctl(mFd, BLKGETSIZE64, &bytes) != 0) return Fail("ioctl(BLKGETSIZE64)");
        geometry.bytesPerSector = logical > 0 ? uint32_t(logical) : 0;
        geometry.tracksPerCylinder = kFallbackHeads;
        geometry.sectorsPerTrack = kFallbackSectorsPerTrack;
        hd_geometry hd{};
        if (ioctl(mFd, HDIO_GETGEO, &hd) == 0 && hd.heads != 0 && hd.sectors != 0) {
            geometry.tracksPerCylinder = hd.heads;
            geometry.sectorsPerTrack = hd.sectors;
        }
        // The driver's cylinder field is 16 bits wide; derive it from the size instead.
        const uint64_t cylinderBytes =
            uint64_t(geometry.tracksPerCylinder) * geometry.sectorsPerTrack * geometry.bytesPerSector;
        geometry.cylinders = cylinderBytes != 0 ? bytes / cylinderBytes : 0;
        bytesReturned = kGeometryBytes;
        return true;
    }

    bool QueryLength(int64_t& byteLength) override {
        if (mImageFile) {
            struct stat st {};
            if (fstat(mFd, &st) != 0) return Fail("fstat");
            byteLength = st.st_size;
            return true;
        }
        uint64_t bytes = 0;
        if (ioctl(mFd, BLKGETSIZE64, &bytes) != 0) return Fail("ioctl(BLKGETSIZE64)");
        byteLength = int64_t(bytes);
        return true;
    }

    bool Seek(uint64_t byteOffset) override {
        if (byteOffset > uint64_t(INT64_MAX)) {
            errno = EINVAL;
            return Fail("lseek");
        }
        mOffset = byteOffset;
        return true;
    }

    bool Read(void* buffer, uint32_t byteCount, uint32_t& bytesDone) override {
        bytesDone = 0;
        auto* out = static_cast<char*>(buffer);
        while (bytesDone < byteCount) {
            const ssize_t got = pread(mFd, out + bytesDone, byteCount - bytesDone, off_t(mOffset));
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) return Fail("pread");
            if (got == 0) break;  // end of file: the caller sees the short count
            bytesDone += uint32_t(got);
            mOffset += uint64_t(got);
        }
        return true;
    }

    bool Write(const void* buffer, uint32_t byteCount, uint32_t& bytesDone) override {
        bytesDone = 0;
        const auto* in = static_cast<const char*>(buffer);
        while (bytesDone < byteCount) {
            const ssize_t put = pwrite(mFd, in + bytesDone, byteCount - bytesDone, off_t(mOffset));
            if (put < 0 && errno == EINTR) continue;
            if (put <= 0) return Fail("pwrite");
            bytesDone += uint32_t(put);
            mOffset += uint64_t(put);
        }
        return true;
    }

    std::string LastReason() const override { return mReason; }
    std::string LastFailedCall() const override { return mCall + ": " + mReason; }

private:
    bool Fail(const char* call) {
        mCall = call;
        mReason = std::strerror(errno);
        return false;
    }

    int mFd;
    bool mImageFile;
    uint64_t mOffset = 0;
    std::string mCall;
    std::string mReason;
};

}  // namespace

std::unique_ptr<DiskDevice> DiskDevice::Open(const std::wstring& path, bool readOnly, std::string& reason) {
    const std::string narrow = Narrow(path);
    const int fd = open(narrow.c_str(), (readOnly ? O_RDONLY : O_RDWR) | O_CLOEXEC);
    if (fd < 0) {
        reason = narrow + ": " + std::strerror(errno);
        return nullptr;
    }
    struct stat st {};
    if (fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
        reason = narrow + ": " + std::strerror(S_ISDIR(st.st_mode) ? EISDIR : errno);
        close(fd);
        return nullptr;
    }
    return std::make_unique<LinuxDiskDevice>(fd, S_ISREG(st.st_mode));
}

void* DiskDevice::AllocateCache(size_t bytes) {
    return std::aligned_alloc(kPageBytes, (bytes + kPageBytes - 1) / kPageBytes * kPageBytes);
}

bool DiskDevice::ReleaseCache(void* cache, size_t) {
    std::free(cache);
    return true;
}
