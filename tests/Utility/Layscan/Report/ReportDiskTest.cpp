#include <gtest/gtest.h>

#include <cstring>

#include "SectorBuffer/Dev/SectorFile.h"
#include "Utility/Layscan/Model/DiskInfo.h"
#include "support/CapturedReport.h"
#include "support/GoldenFile.h"
#include "support/MbrImage.h"
#include "support/MemorySectorProvider.h"

using nsLayout::DiskInfo;
using nsLayout::ExtentList;

namespace {

DiskInfo WithShape(DiskInfo info, const DiskDeviceGeometry& shape) {
    info.geometry = shape;
    return info;
}

}  // namespace

// The GPT sample's report (with its protective MBR) is pinned by the GPT report tests.
TEST(ReportDisk, GoldenReports) {
    SectorFile sample(Widen(LAYSCAN_SOURCE_DIR "/samples/mbr-disk.sf"), true);
    golden::ExpectMatches("report-mbr-sample.txt", ReportOf(sample, DiskInfo::Make(0, 512, {})));

    // Primary entries that overlap, run past the end and start beyond it (where
    // the calculated cylinder passes 1023), on a disk with a geometry of its own
    // and an operating-system volume on it.
    mbrimage::Disk bad(100000);
    bad.Entry(0, 0, 0x07, 2048, 1000, 0, 0x80).Entry(0, 1, 0x07, 3047, 10).Entry(0, 2, 0x0C, 90000, 20000);
    bad.Entry(0, 3, 0x07, 20000000, 512);
    mbrimage::Put32(bad.Provider().Sector(0), 0x1B8, 0x00C0FFEE);
    std::memcpy(bad.Provider().Sector(2048).data(), "\xEB\x52\x90NTFS    ", 11);
    bad.Signature(2048, 0xAA55);
    ExtentList volumes(1);
    volumes[0] = {3, 2048 * 512, 1000 * 512, L"\\\\?\\Volume{0d15ea5e-0000-0000-0000-000000000000}\\", L"E:\\"};
    golden::ExpectMatches("report-mbr-bad-primaries.txt",
                          ReportOf(bad.Provider(), WithShape(DiskInfo::Make(3, 512, volumes), {12, 255, 32, 0})));

    // A chain 10000 -> 20000 -> 15000 -> back to 10000: the walk stops at the
    // loop, and the third EPBR lies before the second. The second EPBR's logical
    // runs past the end of the extended partition.
    mbrimage::Disk looping(70000);
    looping.Entry(0, 0, 0x0B, 2048, 4000).Entry(0, 1, 0x05, 10000, 50000);
    looping.ChainEpbr(10000, 10000, 2048, 3000, 20000).ChainEpbr(10000, 20000, 2048, 40000, 15000, 0x83);
    looping.ChainEpbr(10000, 15000, 63, 6000, 10000, 0x06);
    golden::ExpectMatches("report-mbr-looping-chain.txt", ReportOf(looping.Provider(), DiskInfo::Make(0, 512, {})));
}

TEST(ReportDisk, DisksNeitherRecogniserTakesGetNoText) {
    mbrimage::Disk unsigned_(1000), swapped(1000);
    unsigned_.Entry(0, 0, 0x07, 63, 900).Signature(0, 0);
    swapped.Entry(0, 0, 0x07, 63, 900).Signature(0, 0x55AA);
    MemorySectorProvider blank(std::vector<uint8_t>(512 * 64, 0), 512), empty(std::vector<uint8_t>(), 512);
    for (SectorProvider* disk : std::initializer_list<SectorProvider*>{&blank, &empty, &unsigned_.Provider(), &swapped.Provider()})
        EXPECT_EQ(ReportOf(*disk, DiskInfo::Make(0, 512, {})), "") << disk->GetSectorCount();
}

TEST(ReportDisk, AGptHeaderBehindAnMbrChangesNothing) {
    mbrimage::Disk disk(70000);
    disk.Entry(0, 0, 0x07, 2048, 4000).Entry(0, 1, 0x05, 10000, 50000).ChainEpbr(10000, 10000, 2048, 3000, 0);
    const std::string plain = ReportOf(disk.Provider(), DiskInfo::Make(5, 512, {}));
    // The MBR recogniser is asked first and wins.
    std::memcpy(disk.Provider().Sector(1).data(), "EFI PART", 8);
    EXPECT_EQ(ReportOf(disk.Provider(), DiskInfo::Make(5, 512, {})), plain);
    EXPECT_NE(plain.find("Extended Partition Boot Record at Sector 10,000 for Disk 5"), std::string::npos);
}

TEST(ReportDisk, PartitionListStatusAndSizeFollowTheEntryAndTheSectorSize) {
    const struct {
        uint32_t bytesPerSector;
        bool logical;
        uint8_t boot;
        const char* row;  // from the type column on
    } cases[] = {
        {512, false, 0x7F, "NTFS           Primary        1.0 MB                 0   0              256            2,048"},
        {512, true, 0x80, "NTFS           Active Logical 1.0 MB             4,096   0            4,352            2,048"},
        {4096, false, 0, "NTFS           Primary        8.0 MB                 0   0              256            2,048"},
    };
    for (const auto& c : cases) {
        mbrimage::Disk disk(20000, c.bytesPerSector);
        if (c.logical) disk.Entry(0, 0, 0x05, 4096, 10000);
        disk.Entry(c.logical ? 4096 : 0, 0, 0x07, 256, 2048, c.logical ? 4096 : 0, c.boot);
        const std::string text = ReportOf(disk.Provider(), DiskInfo::Make(0, c.bytesPerSector, {}));
        EXPECT_NE(text.find(std::string("\n                       ") + c.row + "\n"), std::string::npos) << text;
    }
    // A drive without a shape is still listed.
    mbrimage::Disk disk(20000);
    const std::string text =
        ReportOf(disk.Entry(0, 0, 0x07, 2048, 4096).Provider(), WithShape(DiskInfo::Make(2, 512, {}), {}));
    EXPECT_NE(text.find("Sector Count: 20,000   (0 Cylinders, 0 Heads, 0 Sectors/Track)"), std::string::npos) << text;
    EXPECT_NE(text.find("Calculated:                  0   32   33"), std::string::npos) << text;
}

// -verify alone, with no document and no capture, lists the consistency checks.
TEST(ReportDisk, VerifyAloneListsTheConsistencyChecks) {
    mbrimage::Disk disk(20000);
    DiskInfo info = DiskInfo::Make(4, 512, {});
    info.verify = true;
    const std::string text = ReportOf(disk.Entry(0, 0, 0x07, 2048, 4096).Provider(), info);
    EXPECT_NE(text.find("\n\nConsistency Checks for Disk 4\n"), std::string::npos) << text;
}
