// A raw image read as a disk and the sector file made from it must serve the
// same sectors: the sample disks rely on that. The image is made by sfdisk and
// mkfs.fat where they are, else written here.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "SectorBuffer/Dev/DiskSectorProvider.h"
#include "SectorBuffer/Dev/SectorFile.h"
#include "support/ScratchFolder.h"
#include "support/FileBytes.h"

TEST(SectorFileImage, ImageAndItsSectorFileReadTheSame) {
    ScratchFolder folder("layscan_sfimage");
    const std::string img = folder.File("disk.img"), vol = folder.File("vol.img");
#ifndef _WIN32
    const std::string script =
        "command -v sfdisk >/dev/null && command -v mkfs.fat >/dev/null && truncate -s 8M '" + img +
        "' && printf 'label: dos\\nstart=2048, size=8192, type=6\\nstart=10240, type=5\\n"
        "start=12288, size=2048, type=1\\n' | sfdisk -q --no-reread --no-tell-kernel '" + img +
        "' >/dev/null && truncate -s 4M '" + vol + "' && mkfs.fat -F 16 -s 1 --invariant '" + vol +
        "' >/dev/null && dd if='" + vol + "' of='" + img + "' bs=512 seek=2048 conv=notrunc status=none";
    if (std::system(script.c_str()) != 0)
#endif
    {
        std::vector<uint8_t> image(3000 * 512, 0);
        for (uint64_t s = 0; s < 3000; s += 37)
            for (uint32_t i = 0; i < 512; ++i) image[s * 512 + i] = uint8_t(s % 2 ? i * 7 + s : s / 37);
        image[510] = 0x55;
        image[511] = 0xAA;
        WriteFileBytes(img, image);
    }
    DiskSectorProvider image(Widen(img), true);
    {
        // Every sector of the image; the zero sectors share one record.
        auto writer = SectorFile::Create(Widen(folder.File("disk.sf")), 512, image.GetSectorCount());
        std::vector<uint8_t> chunk(256 * 512);
        for (uint64_t s = 0; s < image.GetSectorCount(); s += 256) {
            const uint64_t n = std::min<uint64_t>(256, image.GetSectorCount() - s);
            image.Read(s, n, chunk.data());
            writer->Write(s, n, chunk.data());
        }
        writer->Close();
    }
    SectorFile file(Widen(folder.File("disk.sf")), true);
    ASSERT_EQ(image.GetBytesPerSector(), file.GetBytesPerSector());
    ASSERT_EQ(image.GetSectorCount(), file.GetSectorCount());
    // Single sectors (served from the disk cache) and long runs (read past it).
    for (uint64_t run : {1ull, 7ull, 300ull}) {
        std::vector<uint8_t> a(run * 512), b(run * 512);
        for (uint64_t s = 0; s + run <= image.GetSectorCount(); s += run) {
            image.Read(s, run, a.data());
            file.Read(s, run, b.data());
            ASSERT_EQ(a, b) << "sectors " << s << " to " << s + run - 1;
        }
    }
}
