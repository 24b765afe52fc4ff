// Raw image files, and loop devices over them, read through the real device
// layer of this platform.

#include <gtest/gtest.h>

#include <filesystem>

#include "SectorBuffer/Dev/DiskSectorProvider.h"
#include "support/Failure.h"
#include "support/GoldenFile.h"
#include "support/ScratchFolder.h"

TEST(DiskSectorProviderImage, FailuresCarryTheSystemsReason) {
    ScratchFolder folder("layscan_image_missing");
    const std::string absent = FailureOf([&] { DiskSectorProvider(Widen(folder.File("absent.img")), true); });
    EXPECT_TRUE(absent.starts_with("CHECK DiskSectorProvider::DiskSectorProvider: CreateFile returned "
                                   "INVALID_HANDLE_VALUE.")) << absent;
#ifndef _WIN32
    EXPECT_NE(absent.find("No such file or directory"), std::string::npos) << absent;
    // A character device answers none of the block queries.
    const std::string null = FailureOf([] { DiskSectorProvider(L"/dev/null", true); });
    EXPECT_NE(null.find("ioctl(BLKSSZGET)"), std::string::npos) << null;
#endif
}

// The write side, which no report uses: the sectors land in the file at their place.
TEST(DiskSectorProviderImage, WriteLandsInTheFile) {
    ScratchFolder folder("layscan_image_write");
    const std::string path = folder.Write("disk.img", std::string(8 * 512, '\0'));
    DiskSectorProvider(Widen(path), false).Write(5, 2, std::string(1024, 'w').data());
    EXPECT_EQ(golden::ReadFile(path), std::string(5 * 512, '\0') + std::string(1024, 'w') + std::string(512, '\0'));
}

// A block device: a loop device attached to an image file, at both sector sizes.
TEST(DiskSectorProviderImageLoopSlow, LoopDeviceReadsLikeTheImageBehindIt) {
#ifdef _WIN32
    GTEST_SKIP() << "loop devices are Linux's";
#else
    if (geteuid() != 0 || !std::filesystem::exists("/dev/loop-control")) GTEST_SKIP() << "needs root and loop devices";
    ScratchFolder folder("layscan_loop");
    std::string bytes(8u << 20, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = char((i / 4096 * 13 + i) & 0xFF);
    const std::string image = folder.Write("disk.img", bytes), attached = folder.File("loop.txt");
    for (unsigned size : {512u, 4096u}) {
        const std::string attach = "losetup -f --show --sector-size " + std::to_string(size) + " '" + image + "' > '" +
                                   attached + "' 2>/dev/null";
        if (std::system(attach.c_str()) != 0) GTEST_SKIP() << "losetup could not attach the image";
        const std::string device = golden::Lines(golden::ReadFile(attached)).at(0);
        {
            DiskSectorProvider provider(Widen(device), true);
            const uint64_t cylinder = uint64_t(provider.GetSectorsPerTrack()) * provider.GetTracksPerCylinder() * size;
            EXPECT_EQ(std::vector<uint64_t>({provider.IsImageFile(), provider.GetBytesPerSector(),
                                             provider.GetSectorCount(), provider.GetCylinders()}),
                      std::vector<uint64_t>({false, size, bytes.size() / size, bytes.size() / cylinder}));
            // A cached run, the very last sector, a long direct read.
            const uint64_t last = provider.GetSectorCount() - 1;
            for (const auto& [first, count] :
                 {std::pair<uint64_t, uint64_t>{0, 1}, {1, 1}, {last, 1}, {last - 99, 100}}) {
                std::string out(size_t(count * size), '\0');
                provider.Read(first, count, out.data());
                EXPECT_TRUE(out == bytes.substr(size_t(first * size), out.size())) << first << "+" << count;
            }
        }
        (void)std::system(("losetup -d " + device).c_str());
    }
#endif
}
