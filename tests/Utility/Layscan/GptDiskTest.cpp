#include <gtest/gtest.h>

#include <sstream>

#include "Utility/Layscan/GptDisk.h"
#include "Utility/Layscan/Mbr.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"
#include "support/ScratchFolder.h"

using gpttest::SyntheticGpt;
using nsLayout::FreeExtent;
using nsLayout::GptDisk;

namespace {

struct Span {
    uint32_t entry;
    uint64_t first;
    uint64_t last;
};

std::vector<Span> Spans(const GptDisk& disk) {
    std::vector<Span> spans;
    for (const auto& p : disk.GetPartitions()) spans.push_back({p->GetEntryIndex(), p->GetFirstLba(), p->GetLastLba()});
    return spans;
}

void ExpectSpans(const GptDisk& disk, const std::vector<Span>& expected) {
    const std::vector<Span> got = Spans(disk);
    ASSERT_EQ(got.size(), expected.size());
    for (size_t i = 0; i < got.size(); ++i) {
        EXPECT_EQ(got[i].entry, expected[i].entry) << i;
        EXPECT_EQ(got[i].first, expected[i].first) << i;
        EXPECT_EQ(got[i].last, expected[i].last) << i;
    }
}

}  // namespace

TEST(GptDisk, PartitionsAreThoseSgdiskReports) {
    if (!gpttest::HaveTool("sgdisk")) GTEST_SKIP() << "sgdisk";
    ScratchFolder scratch("gpt-disk");
    const std::string img = scratch.File("disk.img");
    ASSERT_TRUE(gpttest::MakeSgdiskImage(img, 40960,
                                         "-o -n 2:2048:+4M -t 2:ef00 -n 1:0:+3M -n 4:0:+1M -t 4:0700 -n 7:30000:+2M"));
    MemorySectorProvider sectors(gpttest::ReadFile(img), 512);
    GptDisk disk(sectors);

    // "   1            2048            4095   1024.0 KiB  EF00  EFI"
    std::vector<Span> expected;
    std::istringstream listing(gpttest::Capture("sgdisk -p '" + img + "'"));
    std::string line;
    bool inTable = false;
    while (std::getline(listing, line)) {
        if (line.rfind("Number", 0) == 0) {
            inTable = true;
            continue;
        }
        std::istringstream row(line);
        uint32_t number;
        uint64_t first, last;
        if (inTable && row >> number >> first >> last) expected.push_back({number - 1, first, last});
    }
    std::sort(expected.begin(), expected.end(), [](const Span& a, const Span& b) { return a.entry < b.entry; });
    ASSERT_EQ(expected.size(), 4u);
    ExpectSpans(disk, expected);

    EXPECT_EQ(disk.GetGeometry().GetBytesPerSector(), 512u);
    EXPECT_EQ(disk.GetGeometry().GetSectorsPerTrack(), 63u);
    EXPECT_EQ(disk.GetGeometry().GetHeadCount(), 254u);
    EXPECT_EQ(disk.GetGeometry().GetSectorCount(), 40960u);
    EXPECT_EQ(disk.GetProtectiveMbr()->GetEntry(0).GetPartitionType(), 0xEE);
    EXPECT_EQ(disk.GetPrimaryTable().GetHeaderLba(), 1u);
    EXPECT_EQ(disk.GetBackupTable().GetHeaderLba(), 40959u);
    EXPECT_EQ(disk.GetBackupTable().GetHeader().GetMyLba(), 40959u);
    EXPECT_TRUE(nsLayout::IsGpt(sectors));

    const VolumePartitionList volumes = disk.GetVolumePartitions();
    ASSERT_EQ(volumes.size(), 4u);
    EXPECT_TRUE(volumes[1].typeGuid == Guid::EfiSystemPartition());
    EXPECT_TRUE(volumes[2].typeGuid == Guid::BasicData());
    EXPECT_EQ(volumes[1].firstLba, 2048u);
    EXPECT_EQ(volumes[1].lastLba, 2048u + 8192 - 1);
    EXPECT_EQ(disk.DetectAlignment(), L"None");  // 512-byte sectors, whatever the starts
}

TEST(GptDisk, EntriesWithGapsKeepEntryOrderAndLeaveFreeSpaceAround) {
    SyntheticGpt g(512, 1000);
    g.SetEntry(0, Guid::BasicData(), 400, 499);
    g.SetEntry(5, Guid::EfiSystemPartition(), 100, 199);
    g.Finish();
    MemorySectorProvider sectors(g.bytes, 512);
    GptDisk disk(sectors);
    ExpectSpans(disk, {{0, 400, 499}, {5, 100, 199}});
    EXPECT_EQ(disk.GetPartitions()[1]->GetSize(), 100u);
    const std::vector<FreeExtent> expected = {{0, 100}, {200, 200}, {500, 500}};
    EXPECT_EQ(disk.GetFreeSpace().GetExtents(), expected);
}

TEST(GptDisk, NoEntriesGiveOneFreeExtentOverTheWholeDisk) {
    SyntheticGpt g(512, 1000);
    g.SetEntry(0, Guid::BasicData(), 400, 499);  // present but not counted
    gpttest::PutLe(g.bytes, 512 + 80, 0, 4);
    g.Finish();
    MemorySectorProvider sectors(g.bytes, 512);
    GptDisk disk(sectors);
    EXPECT_TRUE(disk.GetPartitions().empty());
    const std::vector<FreeExtent> whole = {{0, 1000}};
    EXPECT_EQ(disk.GetFreeSpace().GetExtents(), whole);
}

TEST(GptDisk, OnlyTheTypeGuidMakesAPartitionAndOnlyCountedSlotsAreRead) {
    SyntheticGpt g(512, 1000);
    g.SetEntry(1, Guid::BasicData(), 100, 199, false);  // no unique GUID: still a partition
    g.SetEntry(2, Guid(), 300, 399);                    // no type: skipped
    g.SetEntry(9, Guid::BasicData(), 500, 599);         // beyond the header's count
    gpttest::PutLe(g.bytes, 512 + 80, 9, 4);
    g.Finish();
    MemorySectorProvider sectors(g.bytes, 512);
    GptDisk disk(sectors);
    ExpectSpans(disk, {{1, 100, 199}});
}

TEST(GptDisk, BackupIsReadAtTheLbaThePrimaryNames) {
    SyntheticGpt g(512, 1000);
    g.WriteHeader(1, 600, 2);
    g.WriteHeader(600, 1, 700);
    g.Finish();
    g.FinishHeader(600);
    MemorySectorProvider sectors(g.bytes, 512);
    GptDisk disk(sectors);
    EXPECT_EQ(disk.GetBackupTable().GetHeaderLba(), 600u);
    EXPECT_EQ(disk.GetBackupTable().GetHeader().GetPartitionEntryLba(), 700u);
    EXPECT_TRUE(disk.GetBackupTable().IsHeaderCrcValid());
}

TEST(GptDisk, MoreThan128EntriesEndTheBuild) {
    SyntheticGpt g(512, 1000);
    gpttest::PutLe(g.bytes, 512 + 80, 129, 4);
    g.Finish();
    MemorySectorProvider sectors(g.bytes, 512);
    try {
        GptDisk disk(sectors);
        FAIL();
    } catch (const PreconditionFailure& f) {
        EXPECT_EQ(f.Expression(), "index < 128");
        EXPECT_EQ(f.Function(), "OnDiskGptPartitionEntries::GetEntries");
    }
}

TEST(GptDisk, Recogniser) {
    auto zeros = [](uint64_t sectors) { return std::vector<uint8_t>(sectors * 512); };
    std::vector<uint8_t> protectiveOnly = zeros(100), signatureOnly = zeros(100), otherMbr = zeros(100),
                         noSignature = zeros(100), oneSector = zeros(1);
    for (auto* b : {&protectiveOnly, &otherMbr, &oneSector}) {
        (*b)[510] = 0x55;
        (*b)[511] = 0xAA;
    }
    protectiveOnly[446 + 4] = 0xEE;
    oneSector[446 + 4] = 0xEE;
    otherMbr[446 + 4] = 0x07;
    noSignature[446 + 4] = 0xEE;
    std::memcpy(&signatureOnly[512], "EFI PART", 8);
    const struct {
        const char* what;
        std::vector<uint8_t> bytes;
        bool gpt;
    } cases[] = {
        {"protective MBR only", protectiveOnly, true},
        {"header signature only", signatureOnly, true},
        {"other MBR", otherMbr, false},
        {"0xEE without 0xAA55", noSignature, false},
        {"protective MBR on a one-sector disk", oneSector, true},
        {"blank disk", zeros(100), false},
        {"empty disk", {}, false},
    };
    for (const auto& c : cases) {
        MemorySectorProvider sectors(c.bytes, 512);
        EXPECT_EQ(nsLayout::IsGpt(sectors), c.gpt) << c.what;
    }
}

TEST(GptDisk, AlignmentUsesTheEntrySizeAsTheSecondValue) {
    const struct {
        uint32_t sectorSize;
        std::vector<uint64_t> starts;
        const wchar_t* label;
    } cases[] = {
        {512, {2048, 4096}, L"None"},
        {4096, {256, 512}, L"None"},
        {8192, {128, 384}, L"1 MB"},
        {16384, {128, 256}, L"2 MB"},
        {16384, {128, 64}, L"None"},  // 2 MB and 1 MB mixed
        {16384, {64, 65}, L"1 MB"},   // a start that fits no class changes nothing
        {8192, {}, L"None"},
    };
    for (const auto& c : cases) {
        SyntheticGpt g(c.sectorSize, 600);
        unsigned slot = 0;
        for (uint64_t start : c.starts) g.SetEntry(slot++, Guid::BasicData(), start, start + 10);
        g.SetEntry(slot, Guid::BasicData(), 64, 70, false);  // not in use: ignored
        g.Finish();
        MemorySectorProvider sectors(g.bytes, c.sectorSize);
        EXPECT_EQ(GptDisk(sectors).DetectAlignment(), c.label) << c.sectorSize << " " << c.starts.size();
    }
}
