#include <gtest/gtest.h>

#include <sstream>

#include "Utility/Layscan/GptChecks.h"
#include "Utility/Layscan/GptDisk.h"
#include "Utility/Layscan/Mbr.h"
#include "support/Failure.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"

using gpttest::PutLe;
using gpttest::SyntheticGpt;
using nsLayout::FreeExtent;
using nsLayout::GptDisk;

namespace {

// (entry index, first LBA, last LBA) of each partition, in model order.
using Spans = std::vector<std::tuple<uint32_t, uint64_t, uint64_t>>;

Spans SpansOf(const GptDisk& disk) {
    Spans spans;
    for (const auto& p : disk.GetPartitions()) spans.emplace_back(p->GetEntryIndex(), p->GetFirstLba(), p->GetLastLba());
    return spans;
}

}  // namespace

TEST(GptDisk, SgdiskDiskGivesThePartitionsSgdiskListsAndNoWarnings) {
    if (!gpttest::HaveTool("sgdisk")) GTEST_SKIP() << "sgdisk";
    ScratchFolder scratch("gpt-disk");
    const std::string img = scratch.File("disk.img");
    MemorySectorProvider sectors(
        gpttest::SgdiskImage(img, 40960, "-o -n 2:2048:+4M -t 2:ef00 -n 1:0:+3M -n 4:0:+1M -t 4:0700 -n 7:30000:+2M"),
        512);
    ASSERT_EQ(sectors.GetSectorCount(), 40960u);
    GptDisk disk(sectors);

    Spans listed;  // rows like "   1            2048            4095   1024.0 KiB  EF00  EFI"
    std::istringstream listing(gpttest::Capture("sgdisk -p '" + img + "'"));
    for (std::string line; std::getline(listing, line);) {
        std::istringstream row(line);
        uint32_t number;
        uint64_t first, last;
        if (row >> number >> first >> last) listed.emplace_back(number - 1, first, last);
    }
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ(SpansOf(disk), listed);
    ASSERT_EQ(listed.size(), 4u);

    const Geometry& geometry = disk.GetGeometry();
    EXPECT_EQ(std::make_tuple(geometry.GetBytesPerSector(), geometry.GetSectorsPerTrack(), geometry.GetHeadCount(),
                              geometry.GetSectorCount()),
              std::make_tuple(512u, 63u, 254u, uint64_t{40960}));
    EXPECT_EQ(disk.GetProtectiveMbr()->GetEntry(0).GetPartitionType(), 0xEE);
    EXPECT_EQ(disk.GetBackupTable().GetHeaderLba(), 40959u);
    EXPECT_TRUE(nsLayout::IsGpt(sectors));
    const VolumePartitionList volumes = disk.GetVolumePartitions();
    ASSERT_EQ(volumes.size(), 4u);
    EXPECT_TRUE(volumes[1].typeGuid == Guid::EfiSystemPartition());
    EXPECT_TRUE(volumes[2].typeGuid == Guid::BasicData());
    EXPECT_EQ(std::make_pair(volumes[1].firstLba, volumes[1].lastLba), std::make_pair(uint64_t{2048}, uint64_t{10239}));
    EXPECT_EQ(disk.DetectAlignment(), L"None");  // 512-byte sectors, whatever the starts

    EXPECT_EQ(CheckGptHeaders(disk), L"");
    for (const auto& p : disk.GetPartitions()) EXPECT_EQ(CheckGptEntry(disk, p->GetEntryIndex()), L"");
}

TEST(GptDisk, PartitionsFreeSpaceAndBackupFromTheHeaderItself) {
    const struct {
        const char* what;
        uint32_t count;         // the primary header's number of entries
        uint64_t alternateLba;  // where the primary says the backup lies
        Spans spans;
        std::vector<FreeExtent> free;
    } cases[] = {
        {"all counted", 128, 999, {{0, 400, 499}, {1, 620, 700}, {5, 100, 199}},
         {{0, 100}, {200, 200}, {500, 120}, {701, 299}}},
        {"slot 5 past the count", 5, 999, {{0, 400, 499}, {1, 620, 700}}, {{0, 400}, {500, 120}, {701, 299}}},
        {"no entries", 0, 999, {}, {{0, 1000}}},
        {"backup elsewhere", 128, 800, {{0, 400, 499}, {1, 620, 700}, {5, 100, 199}},
         {{0, 100}, {200, 200}, {500, 120}, {701, 299}}},
    };
    for (const auto& c : cases) {
        SyntheticGpt g(512, 1000);
        g.SetEntry(0, Guid::BasicData(), 400, 499);
        g.SetEntry(1, Guid::BasicData(), 620, 700, false);  // no unique GUID: still a partition
        g.SetEntry(2, Guid(), 300, 399);                    // no type GUID: not one
        g.SetEntry(5, Guid::EfiSystemPartition(), 100, 199);
        PutLe(g.bytes, 512 + 80, c.count, 4);
        g.WriteHeader(800, 1, 900);
        PutLe(g.bytes, 512 + 32, c.alternateLba, 8);
        MemorySectorProvider sectors(g.bytes, 512);
        GptDisk disk(sectors);
        EXPECT_EQ(SpansOf(disk), c.spans) << c.what;
        EXPECT_EQ(disk.GetFreeSpace().GetExtents(), c.free) << c.what;
        EXPECT_EQ(disk.GetBackupTable().GetHeaderLba(), c.alternateLba) << c.what;
        EXPECT_EQ(disk.GetBackupTable().GetHeader().GetMyLba(), c.alternateLba) << c.what;
    }
}

TEST(GptDisk, MoreThan128EntriesEndTheBuild) {
    SyntheticGpt g(512, 1000);
    PutLe(g.bytes, 512 + 80, 129, 4);
    MemorySectorProvider sectors(g.bytes, 512);
    const std::string failure = FailureOf([&] { GptDisk disk(sectors); });
    EXPECT_TRUE(failure.starts_with("PRECONDITION ") && failure.ends_with(": index < 128")) << failure;
}

TEST(GptDisk, Recogniser) {
    const struct {
        const char* what;
        uint64_t sectors;
        bool signature;  // 0xAA55 in sector 0
        uint8_t type;    // of MBR entry 0
        bool header;     // "EFI PART" at LBA 1
        bool gpt;
    } cases[] = {
        {"protective MBR", 100, true, 0xEE, false, true}, {"header only", 100, false, 0, true, true},
        {"other MBR", 100, true, 0x07, false, false},     {"0xEE unsigned", 100, false, 0xEE, false, false},
        {"one sector", 1, true, 0xEE, false, true},       {"blank", 100, false, 0, false, false},
        {"empty", 0, false, 0, false, false},
    };
    for (const auto& c : cases) {
        std::vector<uint8_t> bytes(c.sectors * 512);
        if (c.signature) bytes[510] = 0x55, bytes[511] = 0xAA;
        if (c.sectors) bytes[446 + 4] = c.type;
        if (c.header) std::memcpy(&bytes[512], "EFI PART", 8);
        MemorySectorProvider sectors(bytes, 512);
        EXPECT_EQ(nsLayout::IsGpt(sectors), c.gpt) << c.what;
    }
}

TEST(GptDisk, AlignmentFeedsTheEntrySizeAsTheSecondValue) {
    const struct {
        uint32_t sectorSize;
        std::vector<uint64_t> starts;
        const wchar_t* label;
    } cases[] = {
        {512, {2048, 4096}, L"None"}, {4096, {256, 512}, L"None"}, {8192, {128, 384}, L"1 MB"},
        {16384, {128, 256}, L"2 MB"}, {16384, {128, 64}, L"None"},  {16384, {64, 65}, L"1 MB"},
        {8192, {}, L"None"},
    };
    for (const auto& c : cases) {
        SyntheticGpt g(c.sectorSize, 600);
        unsigned slot = 0;
        for (uint64_t start : c.starts) g.SetEntry(slot++, Guid::BasicData(), start, start + 10);
        g.SetEntry(slot, Guid::BasicData(), 64, 70, false);  // not in use: would make 2 MB mixed
        MemorySectorProvider sectors(g.bytes, c.sectorSize);
        EXPECT_EQ(GptDisk(sectors).DetectAlignment(), c.label) << c.sectorSize << " " << c.starts.size();
    }
}
