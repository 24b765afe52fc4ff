// A block device read through DiskSectorProvider: a loop device attached to an
// image file. Needs root and loop devices; skipped cleanly otherwise.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "Base/Dev/AssertionFailure.h"
#include "Base/Dev/Result.h"
#include "SectorBuffer/Dev/DiskSectorProvider.h"
#include "support/Failure.h"
#include "support/ScratchFolder.h"

namespace {

// Attaches an image to a free loop device; detaches when it goes.
struct LoopDevice {
    LoopDevice(const std::string& image, unsigned sectorSize) {
        const std::string command =
            "losetup -f --show --sector-size " + std::to_string(sectorSize) + " '" + image + "' 2>/dev/null";
        if (FILE* pipe = popen(command.c_str(), "r")) {
            char line[256] = {};
            if (fgets(line, sizeof line, pipe) && pclose(pipe) == 0) path = line;
        }
        while (!path.empty() && std::isspace(static_cast<unsigned char>(path.back()))) path.pop_back();
    }
    ~LoopDevice() {
        if (!path.empty()) (void)std::system(("losetup -d " + path + " 2>/dev/null").c_str());
    }
    const std::string& Path() const { return path; }
    std::string path;
};

}  // namespace

TEST(DiskDeviceLinux, LoopDeviceReadsLikeTheImageBehindIt) {
    if (geteuid() != 0 || !std::filesystem::exists("/dev/loop-control"))
        GTEST_SKIP() << "needs root and loop devices";
    ScratchFolder folder("layscan_loop");
    const size_t size = 8u << 20;
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) bytes[i] = char((i / 4096 * 13 + i) & 0xFF);
    const std::string image = folder.Write("disk.img", bytes);

    for (unsigned sectorSize : {512u, 4096u}) {
        SCOPED_TRACE(sectorSize);
        LoopDevice loop(image, sectorSize);
        if (loop.Path().empty()) GTEST_SKIP() << "losetup could not attach the image";
        DiskSectorProvider provider(Widen(loop.Path()), true);
        EXPECT_FALSE(provider.IsImageFile());
        EXPECT_EQ(provider.GetBytesPerSector(), sectorSize);
        EXPECT_EQ(provider.GetSectorCount(), size / sectorSize);
        EXPECT_NE(provider.GetSectorsPerTrack(), 0u);
        EXPECT_NE(provider.GetTracksPerCylinder(), 0u);
        EXPECT_EQ(provider.GetCylinders(), size / (uint64_t(provider.GetSectorsPerTrack()) *
                                                   provider.GetTracksPerCylinder() * sectorSize));
        const uint64_t last = provider.GetSectorCount() - 1;
        const struct {
            uint64_t first, count;
        } reads[] = {{0, 1}, {1, 1}, {last, 1}, {5, 40}, {last - 99, 100}};
        for (const auto& r : reads) {
            std::vector<char> out(size_t(r.count * sectorSize));
            provider.Read(r.first, r.count, out.data());
            ASSERT_EQ(std::string(out.data(), out.size()), bytes.substr(size_t(r.first * sectorSize), out.size()))
                << r.first << "+" << r.count;
        }
    }
}

TEST(DiskDeviceLinux, FailuresCarryTheSystemsReason) {
    ScratchFolder folder("layscan_device_fail");
    const std::string absent = FailureOf([&] { DiskSectorProvider(Widen(folder.File("absent")), true); });
    EXPECT_TRUE(absent.starts_with("CHECK ") && absent.find("No such file or directory") != std::string::npos)
        << absent;
    // A character device answers none of the block queries.
    const std::string null = FailureOf([] { DiskSectorProvider(L"/dev/null", true); });
    EXPECT_NE(null.find("ioctl(BLKSSZGET)"), std::string::npos) << null;
}
