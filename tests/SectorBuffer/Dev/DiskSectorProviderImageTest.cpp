// Raw image files read through the real device layer of this platform.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Base/Dev/AssertionFailure.h"
#include "Base/Dev/Result.h"
#include "SectorBuffer/Dev/DiskSectorProvider.h"
#include "support/Failure.h"
#include "support/ScratchFolder.h"

namespace {

// size bytes, byte i = (i / 512 + i) & 0xFF, with "EFI PART" at the given offsets.
std::string ImageBytes(size_t size, std::vector<size_t> signatureAt = {}) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) bytes[i] = char((i / 512 + i) & 0xFF);
    for (size_t at : signatureAt) bytes.replace(at, 8, "EFI PART");
    return bytes;
}

}  // namespace

TEST(DiskSectorProviderImage, SizeGeometryAndSectorsOfImageFiles) {
    ScratchFolder folder("layscan_image");
    const struct {
        const char* name;
        size_t size;
        std::vector<size_t> signatureAt;
        uint32_t override;
        uint32_t bytesPerSector;
        uint64_t sectors;
    } cases[] = {
        {"mbr512.img", 1 << 20, {}, 0, 512, 2048},
        {"gpt512.img", 1 << 20, {512}, 0, 512, 2048},
        {"gpt4096.img", 1 << 20, {4096}, 0, 4096, 256},
        {"both.img", 1 << 20, {512, 4096}, 0, 512, 2048},
        {"override.img", 1 << 20, {4096}, 1024, 1024, 1024},
        {"partial.img", (1 << 20) + 4095, {4096}, 0, 4096, 256},
        {"tiny.img", 300, {}, 0, 512, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string bytes = ImageBytes(c.size, c.signatureAt);
        const std::string path = folder.Write(c.name, bytes);
        DiskSectorProvider provider(Widen(path), true, c.override);
        EXPECT_TRUE(provider.IsImageFile());
        EXPECT_EQ(provider.GetBytesPerSector(), c.bytesPerSector);
        EXPECT_EQ(provider.GetSectorCount(), c.sectors);
        EXPECT_EQ(provider.GetSectorsPerTrack(), 63u);
        EXPECT_EQ(provider.GetTracksPerCylinder(), 254u);
        EXPECT_EQ(provider.GetCylinders(), 1023u);
        if (c.sectors == 0) continue;

        // First, a cached run, the very last sector, a long direct read, and back.
        const uint32_t bps = c.bytesPerSector;
        const struct {
            uint64_t first, count;
        } reads[] = {{0, 1}, {1, 2}, {c.sectors - 1, 1}, {3, c.sectors / 2}, {0, c.sectors}, {2, 1}};
        for (const auto& r : reads) {
            std::vector<char> out(size_t(r.count * bps));
            provider.Read(r.first, r.count, out.data());
            ASSERT_EQ(std::string(out.data(), out.size()), bytes.substr(size_t(r.first * bps), out.size()))
                << r.first << "+" << r.count;
        }
        std::vector<char> out(bps);
        EXPECT_THROW(provider.Read(c.sectors, 1, out.data()), PreconditionFailure);
    }
}

TEST(DiskSectorProviderImage, MissingFileIsACheckFailureOfTheConstructor) {
    ScratchFolder folder("layscan_image_missing");
    const std::string failure = FailureOf([&] { DiskSectorProvider(Widen(folder.File("absent.img")), true); });
    EXPECT_TRUE(failure.starts_with(
        "CHECK DiskSectorProvider::DiskSectorProvider: CreateFile returned INVALID_HANDLE_VALUE."))
        << failure;
}
