#include <gtest/gtest.h>

#include "Utility/Layscan/Model/AlignmentClassifier.h"
#include "Utility/Layscan/Model/Geometry.h"
#include "support/Failure.h"

using nsLayout::AlignmentClassifier;

TEST(Geometry, ChsFromLbaWithTheTranslationGeometry) {
    const Geometry g = Geometry::Translation(512, 100000000);
    const uint64_t big = 1ull << 40;
    // LBA, cylinder, head, sector: heads run 0 to 253, cylinders are not clamped at 1023.
    const uint64_t cases[][4] = {{0, 0, 0, 1},         {62, 0, 0, 63},       {63, 0, 1, 1},
                                 {16001, 0, 253, 63},  {16002, 1, 0, 1},     {1024ull * 16002 - 1, 1023, 253, 63},
                                 {1024ull * 16002, 1024, 0, 1}, {big, big / 16002, big / 63 % 254, big % 63 + 1}};
    for (const auto& c : cases) {
        uint64_t cylinder = 99;
        uint32_t head = 99, sector = 99;
        g.GetChsFromLba(c[0], cylinder, head, sector);
        EXPECT_EQ((std::vector<uint64_t>{cylinder, head, sector}), (std::vector<uint64_t>{c[1], c[2], c[3]})) << c[0];
    }
    uint64_t cylinder;
    uint32_t head, sector;
    for (const Geometry& bad : {Geometry(512, 0, 1023, 254, 0), Geometry(512, 63, 1023, 0, 0)})
        EXPECT_EQ(FailureOf([&] { bad.GetChsFromLba(5, cylinder, head, sector); }),
                  "CHECK Geometry::GetChsFromLba: mSectorsPerTrack && mHeadCount");
}

TEST(Geometry, SectorAndCylinderCounts) {
    // Sector count derived from the shape or kept although it disagrees; cylinders derived from the count.
    const struct {
        Geometry g;
        uint64_t sectors, cylinders;
    } cases[] = {{Geometry(512, 63, 1023, 254, 0), 16370046, 1023}, {Geometry(4096, 63, 1023, 254, 5000000000ull), 5000000000ull, 1023},
                 {Geometry(512, 63, 0, 255, 1000000), 1000000, 62}, {Geometry(512, 63, 0, 0, 1000000), 1000000, 0},
                 {Geometry(512, 63, 0, 255, 0), 0, 0}};
    for (const auto& c : cases) {
        EXPECT_EQ(c.g.GetSectorCount(), c.sectors);
        EXPECT_EQ(c.g.GetCylinderCount(), c.cylinders) << c.sectors;
    }
    EXPECT_EQ(cases[1].g.GetBytesPerSector(), 4096u);
}

// Track alignment, empty tables, megabytes in bytes: mbr-disks.txt and the sfdisk cross-check.
TEST(AlignmentClassifier, Examples) {
    const uint64_t mib = 2048;  // sectors of 512 bytes
    const struct {
        const char* what;
        std::vector<std::pair<uint64_t, uint64_t>> parts;  // start, count
        uint32_t bytesPerSector;
        const wchar_t* label;
    } cases[] = {
        {"1 MiB", {{2048, 2048}}, 512, L"1 MB"},
        {"1 MiB and 4 MiB classes are exact, so mixed", {{mib, mib}, {4 * mib, 4 * mib}}, 512, L"None"},
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
    for (const auto& c : cases) {
        AlignmentClassifier classifier(63);
        for (const auto& [start, count] : c.parts) classifier.Add(start, count, c.bytesPerSector);
        EXPECT_EQ(classifier.GetLabel(), c.label) << c.what;
    }
}
