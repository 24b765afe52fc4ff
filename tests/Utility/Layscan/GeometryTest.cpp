#include <gtest/gtest.h>

#include "Utility/Layscan/AlignmentClassifier.h"
#include "Utility/Layscan/Geometry.h"
#include "support/Failure.h"

TEST(Geometry, ChsFromLbaWithTheTranslationGeometry) {
    const Geometry g = Geometry::Translation(512, 100000000);
    const struct {
        uint64_t lba, cylinder;
        uint32_t head, sector;
    } cases[] = {
        {0, 0, 0, 1},
        {62, 0, 0, 63},
        {63, 0, 1, 1},
        {16002, 1, 0, 1},  // 254 x 63: heads run 0 to 253
        {16001, 0, 253, 63},
        {1023ull * 254 * 63 + 254 * 63 - 1, 1023, 253, 63},  // the last LBA whose cylinder fits 10 bits
        {1024ull * 254 * 63, 1024, 0, 1},                     // not clamped
        {1ull << 40, (1ull << 40) / 63 / 254, static_cast<uint32_t>((1ull << 40) / 63 % 254),
         static_cast<uint32_t>((1ull << 40) % 63 + 1)},
    };
    for (const auto& c : cases) {
        uint64_t cylinder = 99;
        uint32_t head = 99, sector = 99;
        g.GetChsFromLba(c.lba, cylinder, head, sector);
        EXPECT_EQ(cylinder, c.cylinder) << c.lba;
        EXPECT_EQ(head, c.head) << c.lba;
        EXPECT_EQ(sector, c.sector) << c.lba;
    }
}

TEST(Geometry, SectorAndCylinderCounts) {
    const Geometry derivedCount(512, 63, 1023, 254, 0);
    EXPECT_EQ(derivedCount.GetSectorCount(), 16370046u);
    EXPECT_EQ(derivedCount.GetCylinderCount(), 1023u);

    const Geometry givenCount(4096, 63, 1023, 254, 5000000000ull);
    EXPECT_EQ(givenCount.GetSectorCount(), 5000000000ull);  // kept although it disagrees with the shape
    EXPECT_EQ(givenCount.GetCylinderCount(), 1023u);
    EXPECT_EQ(givenCount.GetBytesPerSector(), 4096u);

    const Geometry derivedCylinders(512, 63, 0, 255, 1000000);
    EXPECT_EQ(derivedCylinders.GetCylinderCount(), 62u);

    const Geometry noHeads(512, 63, 0, 0, 1000000);
    EXPECT_EQ(noHeads.GetCylinderCount(), 0u);
    const Geometry empty(512, 63, 0, 255, 0);
    EXPECT_EQ(empty.GetSectorCount(), 0u);
    EXPECT_EQ(empty.GetCylinderCount(), 0u);
}

TEST(Geometry, ConversionWithoutTracksOrHeadsIsRefused) {
    for (const Geometry& g : {Geometry(512, 0, 1023, 254, 0), Geometry(512, 63, 1023, 0, 0)}) {
        uint64_t cylinder;
        uint32_t head, sector;
        EXPECT_EQ(FailureOf([&] { g.GetChsFromLba(5, cylinder, head, sector); }),
                  "CHECK Geometry::GetChsFromLba: mSectorsPerTrack && mHeadCount");
    }
}

namespace {

struct Part {
    uint64_t start, count;
};

std::wstring Classify(std::initializer_list<Part> parts, uint32_t bytesPerSector) {
    AlignmentClassifier classifier;
    for (const auto& p : parts) classifier.Add(p.start, p.count, bytesPerSector);
    return classifier.GetLabel();
}

}  // namespace

TEST(AlignmentClassifier, Examples) {
    const uint64_t mib = 2048;  // sectors of 512 bytes
    const struct {
        const char* what;
        std::initializer_list<Part> parts;
        uint32_t bytesPerSector;
        const wchar_t* label;
    } cases[] = {
        {"track aligned", {{63, 16002}}, 512, L"Cylinder"},
        {"1 MiB", {{2048, 2048}}, 512, L"1 MB"},
        {"1 MiB and 4 MiB classes are exact, so mixed", {{mib, mib}, {4 * mib, 4 * mib}}, 512, L"None"},
        {"empty table", {}, 512, L"None"},
        {"bytes, not sectors, for megabytes", {{256, 256}}, 4096, L"1 MB"},
        {"2 MiB", {{2 * mib, 2 * mib}, {6 * mib, 10 * mib}}, 512, L"2 MB"},
        {"4 MiB", {{4 * mib, 8 * mib}}, 512, L"4 MB"},
        {"3 MB tested before 2 MB and 1 MB", {{6 * mib, 6 * mib}}, 512, L"3 MB"},
        {"3 MiB start and size", {{3 * mib, 3 * mib}}, 512, L"3 MB"},
        {"both track and megabyte aligned counts as track", {{63 * 2048, 63 * 2048}}, 512, L"Cylinder"},
        {"a partition fitting no class leaves the label", {{2049, 100}, {mib, mib}}, 512, L"1 MB"},
        {"no partition fitting a class", {{2049, 100}}, 512, L"None"},
        {"track and megabyte mixed", {{63, 63}, {mib, mib}}, 512, L"None"},
        {"mixed never turns back", {{63, 63}, {mib, mib}, {63, 63}}, 512, L"None"},
        {"an entry-sized B never aligns with 512-byte sectors", {{mib, 128}}, 512, L"None"},
        {"an entry-sized B is 1 MiB with 8 KiB sectors", {{128, 128}}, 8192, L"1 MB"},
        {"an entry-sized B with 16 KiB sectors", {{128, 128}}, 16384, L"2 MB"},
    };
    for (const auto& c : cases) EXPECT_EQ(Classify(c.parts, c.bytesPerSector), c.label) << c.what;
}
