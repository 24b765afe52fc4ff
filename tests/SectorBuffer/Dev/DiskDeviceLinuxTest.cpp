// The Linux disk device against driver answers a file cannot give: a geometry
// with zero heads, a failed geometry query that leaves bytes behind, reads and
// writes interrupted by a signal, and an errno left at EINTR by an earlier
// call. The test binary is linked with --wrap for ioctl, pread and pwrite; the
// wrappers answer for the one file under test and pass every other call on.

#include <gtest/gtest.h>
#include <linux/fs.h>
#include <linux/hdreg.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <vector>

#include "Base/Dev/Result.h"
#include "SectorBuffer/Dev/DiskDevice.h"
#include "support/ScratchFolder.h"

namespace {

constexpr uint64_t kDriveBytes = 512ull * 16 * 63 * 10;

struct Driver {
    ino_t inode = 0;  // the file answered for; every other descriptor goes to the system
    int geometryResult = 0;
    hd_geometry geometry{};
    int interruptions = 0;  // calls that fail with EINTR before one reaches the file
    int stalls = 0;         // writes that return 0 (no progress, no error)
    int callsLeft = 0;      // a loop that makes no progress ends with EIO instead of spinning

    bool Answers(int fd) const {
        struct stat st {};
        return inode != 0 && fstat(fd, &st) == 0 && st.st_ino == inode;
    }
    bool Interrupted() {
        if (--callsLeft < 0) return errno = EIO, true;
        return interruptions > 0 && (--interruptions, errno = EINTR, true);
    }
} gDriver;

}  // namespace

extern "C" {
int __real_ioctl(int fd, unsigned long request, ...);
ssize_t __real_pread(int fd, void* buffer, size_t count, off_t offset);
ssize_t __real_pwrite(int fd, const void* buffer, size_t count, off_t offset);

int __wrap_ioctl(int fd, unsigned long request, ...) {
    va_list args;
    va_start(args, request);
    void* out = va_arg(args, void*);
    va_end(args);
    if (!gDriver.Answers(fd)) return __real_ioctl(fd, request, out);
    if (request == BLKSSZGET) *static_cast<int*>(out) = 512;
    if (request == BLKGETSIZE64) *static_cast<uint64_t*>(out) = kDriveBytes;
    if (request != HDIO_GETGEO) return 0;
    *static_cast<hd_geometry*>(out) = gDriver.geometry;  // a failing driver may leave bytes, too
    return gDriver.geometryResult;
}
ssize_t __wrap_pread(int fd, void* buffer, size_t count, off_t offset) {
    if (gDriver.Answers(fd) && gDriver.Interrupted()) return -1;
    return __real_pread(fd, buffer, count, offset);
}
ssize_t __wrap_pwrite(int fd, const void* buffer, size_t count, off_t offset) {
    if (gDriver.Answers(fd) && gDriver.Interrupted()) return -1;
    if (gDriver.Answers(fd) && gDriver.stalls > 0) return --gDriver.stalls, 0;
    return __real_pwrite(fd, buffer, count, offset);
}
}

namespace {

struct DiskDeviceLinuxTest : testing::Test {
    ScratchFolder folder{"layscan_device_linux"};
    std::unique_ptr<DiskDevice> device;

    void SetUp() override {
        const std::string path = folder.Write("drive", std::string(1024, 'a') + std::string(1024, 'b'));
        std::string reason;
        device = DiskDevice::Open(Widen(path), false, reason);
        ASSERT_TRUE(device) << reason;
        struct stat st {};
        ASSERT_EQ(stat(path.c_str(), &st), 0);
        gDriver = {st.st_ino, 0, {}, 0, 0, 100};
    }
    void TearDown() override { gDriver = {}; }
};

TEST_F(DiskDeviceLinuxTest, DriverGeometryOrTheFallback) {
    const struct {
        int result;
        unsigned char heads, sectors;
        uint32_t expectHeads, expectSectors;
    } cases[] = {{0, 16, 63, 16, 63}, {0, 0, 63, 255, 63}, {0, 16, 0, 255, 63}, {-1, 16, 63, 255, 63}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.result << " " << int(c.heads) << " " << int(c.sectors));
        gDriver.geometryResult = c.result;
        gDriver.geometry = {c.heads, c.sectors, 7, 0};
        DiskDeviceGeometry geometry{};
        uint32_t bytes = 0;
        ASSERT_TRUE(device->QueryGeometry(geometry, bytes));
        EXPECT_EQ(std::vector<uint64_t>({geometry.tracksPerCylinder, geometry.sectorsPerTrack, geometry.bytesPerSector,
                                         geometry.cylinders}),
                  std::vector<uint64_t>({c.expectHeads, c.expectSectors, 512,
                                         kDriveBytes / (512ull * c.expectHeads * c.expectSectors)}));
    }
}

// Interrupted calls are retried; an errno still at EINTR from an earlier call
// neither hides the end of the file nor turns a write that stalls into a retry.
TEST_F(DiskDeviceLinuxTest, InterruptedCallsAreRetried) {
    std::vector<char> buffer(1024, 0);
    uint32_t done = 0;
    gDriver.interruptions = 2;
    ASSERT_TRUE(device->Seek(512) && device->Read(buffer.data(), 1024, done));
    EXPECT_EQ(std::string(buffer.begin(), buffer.end()), std::string(512, 'a') + std::string(512, 'b'));
    EXPECT_EQ(errno, EINTR);
    ASSERT_TRUE(device->Seek(2048) && device->Read(buffer.data(), 512, done));
    EXPECT_EQ(done, 0u);
    gDriver.interruptions = 1;
    ASSERT_TRUE(device->Seek(0) && device->Write("xyz", 3, done));
    EXPECT_EQ(done, 3u);
    ASSERT_TRUE(device->Seek(0) && device->Read(buffer.data(), 4, done));
    EXPECT_EQ(std::string(buffer.data(), 4), "xyza");
    gDriver.stalls = 1;
    EXPECT_FALSE(device->Seek(0) && device->Write("xyz", 3, done));
}

// Run with standard input closed, the tool gets descriptor 0 for the disk.
TEST_F(DiskDeviceLinuxTest, DescriptorZeroIsADisk) {
    const int input = dup(0);
    close(0);
    std::string reason;
    const bool opened = DiskDevice::Open(Widen(folder.File("drive")), true, reason) != nullptr;
    dup2(input, 0), close(input);
    EXPECT_TRUE(opened) << reason;
}

}  // namespace
