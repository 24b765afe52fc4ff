// A disk's report reads each sector it needs from an image once, and only
// those: the model reads, the sections write from what it read.

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>

#include "SectorBuffer/Dev/DiskSectorProvider.h"
#include "Utility/Layscan/Layscan.h"
#include "Utility/Layscan/Model/DiskInfo.h"
#include "support/CapturedReport.h"
#include "support/FakeDiskDevice.h"
#include "support/GptTestImage.h"
#include "support/MbrImage.h"

namespace {

// The sectors that reached the image while one disk was reported, each once.
std::set<uint64_t> SectorsRead(const std::vector<uint8_t>& image, std::string& report) {
    auto device = std::make_unique<FakeDiskDevice>(image);
    FakeDiskDevice& log = *device;
    DiskSectorProvider provider(std::move(device));
    log.log.reads.clear();  // the sector-size guess of the image file
    CapturedReport captured;
    Layscan::ReportDisk(provider, nsLayout::DiskInfo::Make(0, 512, {}), captured.Stream());
    report = captured.Narrow();
    std::map<uint64_t, int> reads;
    for (const FakeDiskDevice::DeviceRead& r : log.log.reads)
        for (uint64_t sector = r.offset / 512; sector < (r.offset + r.bytes + 511) / 512; ++sector) ++reads[sector];
    std::set<uint64_t> sectors;
    for (const auto& [sector, count] : reads) {
        EXPECT_EQ(count, 1) << "sector " << sector;
        sectors.insert(sector);
    }
    return sectors;
}

}  // namespace

TEST(ReadOnce, ChainReadsTheMbrEachEpbrAndEachLogicalsFirstSector) {
    constexpr uint64_t kExtended = 2048, kStride = 2048, kLogicals = 5;
    mbrimage::Disk disk(kExtended + (kLogicals + 1) * kStride);
    disk.Entry(0, 0, 0x0F, kExtended, kLogicals * kStride);
    std::set<uint64_t> needed{0};
    for (uint64_t i = 0; i < kLogicals; ++i) {
        const uint64_t lba = kExtended + i * kStride;
        disk.ChainEpbr(kExtended, lba, 63, kStride - 63, i + 1 < kLogicals ? lba + kStride : 0, i % 2 ? 0x07 : 0x0C);
        needed.insert({lba, lba + 63});
    }
    std::vector<uint8_t> image(disk.Provider().GetSectorCount() * 512);
    disk.Provider().Read(0, disk.Provider().GetSectorCount(), image.data());
    std::string report;
    EXPECT_EQ(SectorsRead(image, report), needed);
    EXPECT_NE(report.find("Extended Partition Boot Record at Sector 10,240"), std::string::npos) << report;
}

TEST(ReadOnce, GptReadsBothTablesTheHeaderDumpAndEachPartitionsFirstSector) {
    gpttest::SyntheticGpt g(512, 4000);
    g.SetEntry(0, Guid::BasicData(), 64, 1063);
    g.SetEntry(1, Guid::EfiSystemPartition(), 2048, 3000);
    g.Finish();
    std::set<uint64_t> needed{0, 64, 2048};
    for (uint64_t sector = 1; sector <= 33; ++sector) needed.insert({sector, 4000 - sector});
    std::string report;
    EXPECT_EQ(SectorsRead(g.bytes, report), needed);
    EXPECT_NE(report.find("GPT Partition Entry # 1 at sector 2, index 1"), std::string::npos) << report;
}
