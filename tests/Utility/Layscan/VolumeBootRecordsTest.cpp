#include <gtest/gtest.h>

#include <cstring>

#include "Utility/Layscan/DiskInfo.h"
#include "Utility/Layscan/VolumeBootRecords.h"
#include "support/CapturedReport.h"
#include "support/SparseSectorProvider.h"

namespace {

const std::string kRule = std::string(84, '=') + "\n";

// The section for the partitions on a disk of four million sectors, all zeros
// but a FAT16 boot sector at 2048.
std::string Section(const VolumePartitionList& parts, const ExtentList& volumes = {}) {
    SparseSectorProvider disk(4'000'000);
    std::vector<uint8_t>& s = disk.Sector(2048);
    s.assign(512, 0);
    std::memcpy(s.data(), "\xEB\x3C\x90MSWIN4.1\0\2", 13);
    s[0x26] = 0x29;
    std::memcpy(&s[0x36], "FAT16   ", 8);
    s[510] = 0x55, s[511] = 0xAA;
    CapturedReport report;
    WriteVolumeBootRecords(disk, parts, DiskInfo::Make(0, 512, volumes), report.Stream());
    return report.Narrow();
}

}  // namespace

TEST(VolumeBootRecords, AZeroBootSectorGetsItsHeadingsOnly) {
    EXPECT_EQ(Section({{Guid::BasicData(), 63, 1000}}),
              "\n" + kRule + "Volume Boot Record for Disk 0:  at Sector 63  (0x3F)\n" +
                  "\n - - - Disk 0:  Volume Boot Record Hex Dump at Sector 63  (0x3F) - - -\n\n");
}

TEST(VolumeBootRecords, TheOsVolumeOnExactlyThePartitionsBytesIsNamedFirst) {
    ExtentList volumes(3);
    volumes[0] = {0, 2048 * 512, 2048 * 512, L"\\\\?\\Volume{a}\\", L"C:\\", 0};  // matches
    volumes[1] = {0, 4096 * 512, 1024 * 512, L"\\\\?\\Volume{b}\\", L"", 0};     // one sector short
    volumes[2] = {1, 4096 * 512, 1025 * 512, L"\\\\?\\Volume{c}\\", L"E:\\", 0};  // another disk
    const std::string text =
        Section({{Guid::BasicData(), 2048, 4095}, {Guid::EfiSystemPartition(), 4096, 5120}}, volumes);
    EXPECT_TRUE(text.starts_with("\nC:\\\n" + kRule + "Volume Boot Record for Disk 0:  at Sector 2,048")) << text;
    const size_t second = text.find(kRule + "Volume Boot Record for Disk 0:  at Sector 4,096");
    ASSERT_NE(second, std::string::npos) << text;
    EXPECT_EQ(text.substr(second - 2, 2), "\n\n") << "no volume text without an exactly matching extent on this disk";
    EXPECT_EQ(text.find("Volume{"), std::string::npos);
    EXPECT_EQ(text.find("E:\\"), std::string::npos);
}

TEST(VolumeBootRecords, AnUnreadableBootSectorStopsTheSection) {
    EXPECT_THROW(Section({{Guid::BasicData(), 5'000'000, 5'000'100}}), PreconditionFailure);
}
