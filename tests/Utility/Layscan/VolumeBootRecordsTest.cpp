#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <fstream>

#include "Utility/Layscan/DiskInfo.h"
#include "Utility/Layscan/ReportStream.h"
#include "Utility/Layscan/VolumeBootRecords.h"
#include "support/ScratchFolder.h"
#include "support/SparseSectorProvider.h"

namespace {

using Sector = std::vector<uint8_t>;

// Holds only the sectors a test puts on it; every other sector reads as zeros.
struct SparseDisk : SparseSectorProvider {
    SparseDisk() : SparseSectorProvider(4'000'000) {}
    void Put(uint64_t lba, const std::vector<uint8_t>& s) { SparseSectorProvider::Sector(lba) = s; }
};

Sector Fat16Sector() {
    Sector s(512, 0);
    std::memcpy(s.data(), "\xEB\x3C\x90MSWIN4.1", 11);
    s[0x0B] = 0x00;
    s[0x0C] = 0x02;
    s[0x26] = 0x29;
    std::memcpy(s.data() + 0x36, "FAT16   ", 8);
    s[510] = 0x55;
    s[511] = 0xAA;
    return s;
}

// Runs a writer against a real report file and returns its text with the
// file's CR LF turned back into "\n".
std::string Report(const std::function<void(ReportStream&)>& write) {
    ScratchFolder folder("layscan-vbr");
    std::string path = folder.File("report.txt");
    {
        ReportStream out(path);
        write(out);
        out.Close();
    }
    std::ifstream in(path, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::erase(text, '\r');
    return text;
}

const std::string kRule = std::string(84, '=') + "\n";

VolumePartition Partition(const Guid& type, uint64_t first, uint64_t last) { return VolumePartition{type, first, last}; }

}  // namespace

TEST(VolumeBootRecords, AZeroBootSectorGetsItsHeadingsOnly) {
    SparseDisk disk;
    VolumePartitionList parts = {Partition(Guid::BasicData(), 63, 1000)};
    std::string text = Report(
        [&](ReportStream& out) { WriteVolumeBootRecords(disk, parts, DiskInfo::Make(0, 512, {}), out); });
    EXPECT_EQ(text, "\n" + kRule + "Volume Boot Record for Disk 0:  at Sector 63  (0x3F)\n" +
                        "\n - - - Disk 0:  Volume Boot Record Hex Dump at Sector 63  (0x3F) - - -\n\n");
}

TEST(VolumeBootRecords, TheOsVolumeOnExactlyThePartitionsBytesIsNamedFirst) {
    SparseDisk disk;
    disk.Put(2048, Fat16Sector());
    ExtentList volumes(3);
    volumes[0] = {0, 2048 * 512, 2048 * 512, L"\\\\?\\Volume{a}\\", L"C:\\", 0};  // matches
    volumes[1] = {0, 4096 * 512, 1024 * 512, L"\\\\?\\Volume{b}\\", L"", 0};     // one sector short
    volumes[2] = {1, 4096 * 512, 1025 * 512, L"\\\\?\\Volume{c}\\", L"E:\\", 0};  // another disk
    VolumePartitionList parts = {
        Partition(Guid::BasicData(), 2048, 4095),
        Partition(Guid::EfiSystemPartition(), 4096, 5120),
    };
    std::string text = Report(
        [&](ReportStream& out) { WriteVolumeBootRecords(disk, parts, DiskInfo::Make(0, 512, volumes), out); });
    EXPECT_TRUE(text.starts_with("\nC:\\\n" + kRule + "Volume Boot Record for Disk 0:  at Sector 2,048")) << text;
    const size_t second = text.find(kRule + "Volume Boot Record for Disk 0:  at Sector 4,096");
    ASSERT_NE(second, std::string::npos) << text;
    EXPECT_EQ(text.substr(second - 2, 2), "\n\n")
        << "no volume text for a partition without an exactly matching extent on this disk";
    EXPECT_EQ(text.find("Volume{"), std::string::npos);
    EXPECT_EQ(text.find("E:\\"), std::string::npos);
}

TEST(VolumeBootRecords, AnUnreadableBootSectorStopsTheSection) {
    SparseDisk disk;
    VolumePartitionList parts = {Partition(Guid::BasicData(), 5'000'000, 5'000'100)};
    EXPECT_THROW(Report([&](ReportStream& out) {
                     WriteVolumeBootRecords(disk, parts, DiskInfo::Make(0, 512, {}), out);
                 }),
                 PreconditionFailure);
}
