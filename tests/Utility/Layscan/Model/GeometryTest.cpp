#include <gtest/gtest.h>

#include <sstream>

#include "Utility/Layscan/Model/AlignmentClassifier.h"
#include "Utility/Layscan/Model/Geometry.h"
#include "support/Failure.h"
#include "support/GoldenFile.h"

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
}

// Each line of tests/golden/alignment-classes.txt: the label, then the sector
// size and the partitions added (START+COUNT) in order. Track alignment, empty
// tables, megabytes in bytes: mbr-disks.txt and the sfdisk cross-check.
TEST(AlignmentClassifier, Examples) {
    for (const std::string& line : golden::Lines(golden::ReadFile(LAYSCAN_SOURCE_DIR "/tests/golden/alignment-classes.txt"))) {
        std::istringstream in(line.substr(line.find('|') + 1));
        uint32_t bytesPerSector = 0;
        in >> bytesPerSector;
        AlignmentClassifier classifier(63);
        for (uint64_t start, count; in >> start && in.ignore() >> count;) classifier.Add(start, count, bytesPerSector);
        EXPECT_EQ(Narrow(classifier.GetLabel()), line.substr(0, line.find(" |"))) << line;
    }
}
