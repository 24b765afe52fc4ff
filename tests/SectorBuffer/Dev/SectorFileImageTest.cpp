// A raw image read as a disk and the sector file made from it must serve the
// same sectors: the sample disks rely on that.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "Base/Dev/Result.h"
#include "SectorBuffer/Dev/DiskSectorProvider.h"
#include "SectorBuffer/Dev/SectorFile.h"
#include "support/ScratchFolder.h"
#include "support/SectorFileWriter.h"

namespace {

void ExpectSameSectors(SectorProvider& image, SectorProvider& file) {
    ASSERT_EQ(image.GetBytesPerSector(), file.GetBytesPerSector());
    ASSERT_EQ(image.GetSectorCount(), file.GetSectorCount());
    const uint32_t bps = image.GetBytesPerSector();
    const uint64_t total = image.GetSectorCount();
    // Single sectors (served from the disk cache) and long runs (read past it).
    for (uint64_t run : {1ull, 7ull, 300ull}) {
        std::vector<uint8_t> a(run * bps), b(run * bps);
        for (uint64_t s = 0; s + run <= total; s += run) {
            image.Read(s, run, a.data());
            file.Read(s, run, b.data());
            ASSERT_EQ(a, b) << "sectors " << s << " to " << s + run - 1;
        }
    }
}

}  // namespace

TEST(SectorFileImage, SyntheticImageReadsTheSameBothWays) {
    ScratchFolder folder("layscan_sfimage");
    const uint64_t sectors = 3000;
    std::vector<uint8_t> image(sectors * 512, 0);
    for (uint64_t s = 0; s < sectors; s += 37) {
        for (uint32_t i = 0; i < 512; ++i) image[s * 512 + i] = static_cast<uint8_t>(s % 2 ? i * 7 + s : s / 37);
    }
    image[510] = 0x55;
    image[511] = 0xAA;
    WriteFileBytes(folder.File("disk.img"), image);
    SectorFileWriter writer(512, sectors);
    writer.SetOmitZeroSectors(true);
    ASSERT_EQ(writer.AddImage(folder.File("disk.img")), sectors);
    writer.Save(folder.File("disk.sf"));

    DiskSectorProvider disk(Widen(folder.File("disk.img")), true);
    SectorFile file(Widen(folder.File("disk.sf")), true);
    ExpectSameSectors(disk, file);
}

TEST(SectorFileImage, PartitionedImageReadsTheSameBothWays) {
#ifdef _WIN32
    GTEST_SKIP() << "needs sfdisk and mkfs.fat";
#else
    if (std::system("command -v sfdisk >/dev/null 2>&1 && command -v mkfs.fat >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "sfdisk or mkfs.fat is missing";
    }
    ScratchFolder folder("layscan_sfimage");
    const std::string img = folder.File("disk.img");
    const std::string vol = folder.File("vol.img");
    const std::string script =
        "truncate -s 8M '" + img + "' && printf 'label: dos\\nstart=2048, size=8192, type=6\\n"
        "start=10240, type=5\\nstart=12288, size=2048, type=1\\n' | sfdisk -q --no-reread --no-tell-kernel '" +
        img + "' >/dev/null && truncate -s 4M '" + vol + "' && mkfs.fat -F 16 -s 1 --invariant '" + vol +
        "' >/dev/null && dd if='" + vol + "' of='" + img + "' bs=512 seek=2048 conv=notrunc status=none";
    ASSERT_EQ(std::system(script.c_str()), 0) << script;
    SectorFileWriter writer(512, 0);
    writer.SetOmitZeroSectors(true);
    writer.SetSectorCount(writer.AddImage(img));
    writer.Save(folder.File("disk.sf"));

    DiskSectorProvider disk(Widen(img), true);
    SectorFile file(Widen(folder.File("disk.sf")), true);
    ExpectSameSectors(disk, file);
#endif
}
