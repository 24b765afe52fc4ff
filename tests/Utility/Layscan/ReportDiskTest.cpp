#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "SectorBuffer/Dev/SectorFile.h"
#include "Utility/Layscan/DiskInfo.h"
#include "Utility/Layscan/ReportDisk.h"
#include "support/CapturedReport.h"
#include "support/GoldenFile.h"
#include "support/MbrImage.h"
#include "support/MemorySectorProvider.h"

namespace {

const std::string kSamples = LAYSCAN_SOURCE_DIR "/samples/";

std::string Report(SectorProvider& disk, const DiskInfo& info, uint32_t sectorsPerTrack = 63,
                   uint32_t cylinders = 1023, uint32_t heads = 254) {
    return ReportOf(disk, info, sectorsPerTrack, cylinders, heads);
}

std::string ReportSample(const std::string& name) {
    SectorFile file(Widen(kSamples + name), true);
    return Report(file, DiskInfo::Make(0, file.GetBytesPerSector(), {}));
}

// A boot sector that the volume boot record section lists.
void PutNtfsBootSector(mbrimage::Disk& disk, uint64_t lba) {
    auto& s = disk.Provider().Sector(lba);
    std::memcpy(s.data(), "\xEB\x52\x90NTFS    ", 11);
    s[510] = 0x55;
    s[511] = 0xAA;
}

// Primary entries that overlap, run past the end and start beyond it (where
// the calculated cylinder passes 1023), on a disk with a geometry of its own
// and an operating-system volume on it.
mbrimage::Disk BadPrimaries() {
    mbrimage::Disk disk(100000);
    disk.Entry(0, 0, 0x07, 2048, 1000, 0, 0x80)
        .Entry(0, 1, 0x07, 3047, 10)
        .Entry(0, 2, 0x0C, 90000, 20000)
        .Entry(0, 3, 0x07, 20000000, 512);
    mbrimage::Put32(disk.Provider().Sector(0), 0x1B8, 0x00C0FFEE);
    PutNtfsBootSector(disk, 2048);
    return disk;
}

// A chain 10000 -> 20000 -> 15000 -> back to 10000: the walk stops at the
// loop, and the third EPBR lies before the second. The second EPBR's logical
// runs past the end of the extended partition.
mbrimage::Disk LoopingChain() {
    mbrimage::Disk disk(70000);
    disk.Entry(0, 0, 0x0B, 2048, 4000).Entry(0, 1, 0x05, 10000, 50000);
    disk.ChainEpbr(10000, 10000, 2048, 3000, 20000)
        .ChainEpbr(10000, 20000, 2048, 40000, 15000, 0x83)
        .ChainEpbr(10000, 15000, 63, 6000, 10000, 0x06);
    return disk;
}

}  // namespace

TEST(ReportDisk, GoldenReports) {
    EXPECT_NO_FATAL_FAILURE(golden::ExpectMatches("report-mbr-sample.txt", ReportSample("mbr-disk.sf")));

    mbrimage::Disk bad = BadPrimaries();
    ExtentList volumes(1);
    volumes[0].diskNumber = 3;
    volumes[0].startingOffset = 2048 * 512;
    volumes[0].extentLength = 1000 * 512;
    volumes[0].volumeGuidPath = L"\\\\?\\Volume{0d15ea5e-0000-0000-0000-000000000000}\\";
    volumes[0].volumePath = L"E:\\";
    EXPECT_NO_FATAL_FAILURE(golden::ExpectMatches(
        "report-mbr-bad-primaries.txt", Report(bad.Provider(), DiskInfo::Make(3, 512, volumes), 32, 12, 255)));

    mbrimage::Disk looping = LoopingChain();
    EXPECT_NO_FATAL_FAILURE(
        golden::ExpectMatches("report-mbr-looping-chain.txt", Report(looping.Provider(), DiskInfo::Make(0, 512, {}))));
}

TEST(ReportDisk, DisksNeitherRecogniserTakesGetNoText) {
    mbrimage::Disk unsigned_(1000);
    unsigned_.Entry(0, 0, 0x07, 63, 900).Signature(0, 0);
    mbrimage::Disk swapped(1000);
    swapped.Entry(0, 0, 0x07, 63, 900).Signature(0, 0x55AA);
    MemorySectorProvider blank(std::vector<uint8_t>(512 * 64, 0), 512);
    MemorySectorProvider empty(std::vector<uint8_t>(), 512);
    const struct {
        const char* what;
        SectorProvider* disk;
    } cases[] = {{"all zeros", &blank},
                 {"no sectors at all", &empty},
                 {"entries but no signature", &unsigned_.Provider()},
                 {"swapped signature", &swapped.Provider()}};
    for (const auto& c : cases) EXPECT_EQ(Report(*c.disk, DiskInfo::Make(0, 512, {})), "") << c.what;
}

TEST(ReportDisk, SectionsOfAnMbrDiskInTheirFixedOrder) {
    mbrimage::Disk disk(70000);
    disk.Entry(0, 0, 0x07, 2048, 4000).Entry(0, 1, 0x05, 10000, 50000);
    disk.ChainEpbr(10000, 10000, 2048, 3000, 0);
    PutNtfsBootSector(disk, 2048);
    // A GPT header signature too: the MBR recogniser is asked first and wins.
    std::memcpy(disk.Provider().Sector(1).data(), "EFI PART", 8);
    const std::string text = Report(disk.Provider(), DiskInfo::Make(5, 512, {}));
    const char* order[] = {"Disk Geometry Information for Disk 5",
                           "System               Part Table LBA",
                           "Partition Information for Disk 5",
                           "Master Boot Record (Sector 0) for Disk 5",
                           "Extended Partition Boot Record at Sector 10,000 for Disk 5",
                           "Volume Boot Record for Disk 5"};
    size_t at = 0;
    for (const char* heading : order) {
        const size_t found = text.find(heading, at);
        ASSERT_NE(found, std::string::npos) << heading << " missing or out of order in\n" << text;
        at = found;
    }
    EXPECT_EQ(text.find("Protective MBR"), std::string::npos);
}

TEST(ReportDisk, GptDiskShowsItsProtectiveMbr) {
    if (!std::filesystem::exists(kSamples + "gpt-disk.sf")) GTEST_SKIP() << "no GPT sample";
    const std::string text = ReportSample("gpt-disk.sf");
    const size_t gptSection = text.find("Disk Geometry Information for Disk 0");
    const size_t protective = text.find("Protective MBR (Sector 0) for Disk 0");
    ASSERT_NE(gptSection, std::string::npos) << text;
    ASSERT_NE(protective, std::string::npos) << text;
    // The GPT section with its geometry report and header data comes first,
    // the protective MBR after it, then the GPT sector dumps.
    EXPECT_LT(gptSection, text.find("GPT Header Data:"));
    EXPECT_LT(text.find("GPT Header Data:"), protective);
    EXPECT_LT(protective, text.find("GPT Header (Sector 1)"));
    EXPECT_EQ(text.find("Master Boot Record (Sector 0)"), std::string::npos);
    EXPECT_EQ(text.find("Partition Information for Disk"), std::string::npos);
    EXPECT_LT(text.find("GPT Header (Sector 1)"), text.find("Volume Boot Record for Disk 0"));
}

TEST(ReportDisk, PartitionListStatusAndSizeFollowTheEntryAndTheSectorSize) {
    const struct {
        const char* what;
        uint32_t bytesPerSector;
        bool logical;
        uint8_t boot;
        const char* row;  // from the type column on
    } cases[] = {
        {"odd boot indicator", 512, false, 0x7F,
         "NTFS           Primary        1.0 MB                 0   0              256            2,048"},
        {"active logical", 512, true, 0x80,
         "NTFS           Active Logical 1.0 MB             4,096   0            4,352            2,048"},
        {"4K sectors", 4096, false, 0x00,
         "NTFS           Primary        8.0 MB                 0   0              256            2,048"},
    };
    for (const auto& c : cases) {
        mbrimage::Disk disk(20000, c.bytesPerSector);
        if (c.logical) {
            disk.Entry(0, 0, 0x05, 4096, 10000);
            disk.Entry(4096, 0, 0x07, 256, 2048, 4096, c.boot);
        } else {
            disk.Entry(0, 0, 0x07, 256, 2048, 0, c.boot);
        }
        const std::string text = Report(disk.Provider(), DiskInfo::Make(0, c.bytesPerSector, {}));
        EXPECT_NE(text.find(std::string("\n                       ") + c.row + "\n"), std::string::npos)
            << c.what << "\n" << text;
    }
}

TEST(ReportDisk, DriveWithoutAShapeIsStillListed) {
    mbrimage::Disk disk(20000);
    disk.Entry(0, 0, 0x07, 2048, 4096);
    const std::string text = Report(disk.Provider(), DiskInfo::Make(2, 512, {}), 0, 0, 0);
    EXPECT_NE(text.find("Sector Count: 20,000   (0 Cylinders, 0 Heads, 0 Sectors/Track)"), std::string::npos) << text;
    EXPECT_NE(text.find("Calculated:                  0   32   33"), std::string::npos) << text;
}
