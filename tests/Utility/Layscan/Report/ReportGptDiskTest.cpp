// Whole reports of GPT disks, byte for byte against tests/golden (the bundled
// sample's is docs/sample-report-gpt.txt); remake them deliberately with
// LAYSCAN_UPDATE_GOLDEN=1.

#include <gtest/gtest.h>

#include <cstring>

#include "Utility/Layscan/Model/DiskInfo.h"
#include "support/CapturedReport.h"
#include "support/GoldenFile.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"

using nsLayout::DiskInfo;

using gpttest::PutLe;
using gpttest::SyntheticGpt;

namespace {

std::string Report(const SyntheticGpt& g, uint16_t diskNumber = 0) {
    MemorySectorProvider disk(g.bytes, g.sectorSize);
    return ReportOf(disk, DiskInfo::Make(diskNumber, g.sectorSize, {}));
}

// A small disk with two partitions; with bootSector the first starts with an
// NTFS boot sector, so the volume boot records close the report with a listing.
SyntheticGpt TwoPartitions(uint32_t sectorSize, uint64_t sectorCount, uint64_t start1, uint64_t last1,
                           uint64_t start2, uint64_t last2, bool bootSector = true) {
    SyntheticGpt g(sectorSize, sectorCount);
    PutLe(g.bytes, 446 + 8, 1, 4);  // the protective entry covers the disk after sector 0
    PutLe(g.bytes, 446 + 12, sectorCount - 1, 4);
    g.SetEntry(0, Guid::BasicData(), start1, last1);
    g.SetEntry(1, Guid::EfiSystemPartition(), start2, last2);
    for (int i = 0; i < 16; ++i) g.bytes[sectorSize + 56 + i] = static_cast<uint8_t>(0x10 * i + 1);
    PutLe(g.bytes, sectorSize + 40, 6, 8);
    PutLe(g.bytes, sectorSize + 48, sectorCount - 6, 8);
    if (!bootSector) return g;
    std::memcpy(&g.bytes[start1 * sectorSize], "\xEB\x52\x90NTFS    ", 11);
    PutLe(g.bytes, start1 * sectorSize + 11, sectorSize, 2);
    PutLe(g.bytes, start1 * sectorSize + 510, 0xAA55, 2);
    return g;
}

}  // namespace

TEST(ReportGptDisk, GoldenReports) {
    // The primary's checksum is off by one bit and the backup header is gone.
    SyntheticGpt damaged = TwoPartitions(512, 4000, 64, 1063, 2048, 3000);
    damaged.Finish();
    damaged.bytes[512 + 16] ^= 0x01;
    std::fill_n(damaged.bytes.begin() + 3999 * 512, 512, 0);
    golden::ExpectMatches("report-gpt-damaged.txt", Report(damaged, 3));

    SyntheticGpt big = TwoPartitions(4096, 600, 8, 263, 264, 520, false);
    big.Finish();
    golden::ExpectMatches("report-gpt-4096.txt", Report(big));

    // Past the last sector, starting beyond the end, ending before the start.
    SyntheticGpt g = TwoPartitions(512, 4000, 64, 1063, 1000, 1999);
    g.SetEntry(2, Guid::BasicData(), 3500, 4500), g.SetEntry(3, Guid::BasicData(), 6000, 7000);
    g.SetEntry(4, Guid::BasicData(), 3000, 2990);
    g.Finish();
    golden::ExpectMatches("report-gpt-overlaps.txt", Report(g));
}

TEST(ReportGptDisk, BackupHeaderBeyondTheDiskEndsTheReportBeforeAnyText) {
    SyntheticGpt g(512, 4000);
    g.SetEntry(0, Guid::BasicData(), 64, 1063);
    PutLe(g.bytes, 512 + 32, 4000, 8);  // one past the last sector
    g.Finish();
    MemorySectorProvider sectors(g.bytes, 512);
    CapturedReport report;
    EXPECT_ANY_THROW(Layscan::ReportDisk(sectors, DiskInfo::Make(0, 512, {}), report.Stream()));
    EXPECT_EQ(report.Narrow(), "");
}
