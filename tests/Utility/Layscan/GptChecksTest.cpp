#include <gtest/gtest.h>

#include <functional>

#include "Utility/Layscan/GptChecks.h"
#include "Utility/Layscan/GptDisk.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"
#include "support/ScratchFolder.h"

using gpttest::PutLe;
using gpttest::SyntheticGpt;

namespace {

constexpr uint64_t kH = 512;  // the primary header's byte offset on 512-byte sectors

std::wstring PrimaryText(const SyntheticGpt& g) {
    MemorySectorProvider sectors(g.bytes, g.sectorSize);
    return CheckGptHeader(GptPartitionTable(sectors, 1), false);
}

}  // namespace

TEST(GptChecks, ValidTablesFromSgdiskGiveNoText) {
    if (!gpttest::HaveTool("sgdisk")) GTEST_SKIP() << "sgdisk";
    ScratchFolder scratch("gpt-checks");
    const std::string img = scratch.File("disk.img");
    ASSERT_TRUE(gpttest::MakeSgdiskImage(img, 20480, "-o -n 1:2048:+2M -n 2:0:+2M -n 3:0:0"));
    MemorySectorProvider sectors(gpttest::ReadFile(img), 512);
    nsLayout::GptDisk disk(sectors);
    EXPECT_EQ(CheckGptHeaders(disk), L"");
    for (uint64_t i = 0; i < 3; ++i) EXPECT_EQ(CheckGptEntry(disk, i), L"") << i;
    // Empty slots span LBA 0 to 0, so each one meets the first other empty slot.
    EXPECT_EQ(CheckGptEntry(disk, 3), L"WARNING: Partition above overlaps with partition # 4.\n\n");
}

TEST(GptChecks, EachHeaderMessageOnItsOwn) {
    const struct {
        const char* what;
        std::function<void(SyntheticGpt&)> damage;  // applied after the checksums were set
        bool refinish;                               // set the checksums again afterwards
        const wchar_t* text;
    } cases[] = {
        {"entry size", [](SyntheticGpt& g) { PutLe(g.bytes, kH + 84, 256, 4); }, true,
         L"WARNING:  Partition entry size is not supported.  Must be 128.\n"},
        {"header checksum", [](SyntheticGpt& g) { g.bytes[kH + 16] ^= 1; }, false,
         L"WARNING:  GPT Header Check Sum is invalid.\n"},
        {"array checksum", [](SyntheticGpt& g) { g.bytes[g.Array(1) + 5000] ^= 1; }, false,
         L"WARNING:  GPT Partition Array Check Sum is invalid.\n"},
        {"header size", [](SyntheticGpt& g) { PutLe(g.bytes, kH + 12, 100, 4); }, true,
         L"WARNING:  Invalid GPT header size.  Must be 92.\n"},
        {"signature", [](SyntheticGpt& g) { g.bytes[kH + 7] = 'X'; }, true,
         L"WARNING: Invalid GPT signature. Must be EFI PART.\n"},
        {"revision", [](SyntheticGpt& g) { PutLe(g.bytes, kH + 8, 0x00010001, 4); }, true,
         L"WARNING: Invalid EFI version in GPT header.  Must be  00 00 01 00.\n"},
        {"reserved", [](SyntheticGpt& g) { g.bytes[kH + 23] = 1; }, true,
         L"WARNING: Data in first reserved field in GPT header.\n"},
        {"my LBA", [](SyntheticGpt& g) { PutLe(g.bytes, kH + 24, 7, 8); }, true,
         L"WARNING: Primary LBA is not valid in GPT header.\n"},
        {"alternate LBA", [](SyntheticGpt& g) { PutLe(g.bytes, kH + 32, 998, 8); }, true,
         L"WARNING: Backup LBA is not valid in GPT header.\n"},
        {"entry count", [](SyntheticGpt& g) { PutLe(g.bytes, kH + 80, 64, 4); }, true,
         L"WARNING: Maximum number of partition entries is not valid in GPT header. Must be 128.\n"},
    };
    for (const auto& c : cases) {
        SyntheticGpt g(512, 1000);
        g.SetEntry(0, Guid::BasicData(), 40, 100);
        g.Finish();
        c.damage(g);
        if (c.refinish) g.FinishHeader(1);
        EXPECT_EQ(PrimaryText(g), std::wstring(c.text) + L"\n") << c.what;
    }
}

TEST(GptChecks, AZeroedHeaderAtLba1) {
    SyntheticGpt g(512, 1000);
    std::fill(g.bytes.begin() + 512, g.bytes.begin() + 1024, 0);
    EXPECT_EQ(PrimaryText(g),
              L"WARNING:  Partition entry size is not supported.  Must be 128.\n"
              L"WARNING:  Invalid GPT header size.  Must be 92.\n"
              L"WARNING: Invalid GPT signature. Must be EFI PART.\n"
              L"WARNING: Invalid EFI version in GPT header.  Must be  00 00 01 00.\n"
              L"WARNING: Primary LBA is not valid in GPT header.\n"
              L"WARNING: Backup LBA is not valid in GPT header.\n"
              L"WARNING: Maximum number of partition entries is not valid in GPT header. Must be 128.\n"
              L"\n");
}

TEST(GptChecks, BackupFindingsComeAfterThePrimaryUnderTheirHeading) {
    SyntheticGpt g(512, 1000);
    g.Finish();
    g.bytes[999 * 512 + 16] ^= 0x10;  // the backup's stored header checksum
    {
        MemorySectorProvider sectors(g.bytes, 512);
        EXPECT_EQ(CheckGptHeaders(nsLayout::GptDisk(sectors)),
                  L"WARNING:  Backup GPT Header had the following problem(s):\n"
                  L"WARNING:  GPT Header Check Sum is invalid.\n"
                  L"\n");
    }
    PutLe(g.bytes, kH + 8, 0, 4);
    g.FinishHeader(1);
    MemorySectorProvider sectors(g.bytes, 512);
    EXPECT_EQ(CheckGptHeaders(nsLayout::GptDisk(sectors)),
              L"WARNING: Invalid EFI version in GPT header.  Must be  00 00 01 00.\n"
              L"\n"
              L"WARNING:  Backup GPT Header had the following problem(s):\n"
              L"WARNING:  GPT Header Check Sum is invalid.\n"
              L"\n");
}

TEST(GptChecks, EntryFindings) {
    const std::wstring ending = L"WARNING:  Ending LBA before starting LBA in partition above.\n";
    const std::wstring beyond = L"WARNING:  Above partition extends beyond end of disk.\n";
    auto overlap = [](int j) {
        return L"WARNING: Partition above overlaps with partition # " + std::to_wstring(j) + L".\n";
    };
    const struct {
        unsigned index;
        uint64_t first;
        uint64_t last;
        std::wstring text;  // without the closing blank line
    } cases[] = {
        {0, 40, 60, L""},
        {1, 150, 300, overlap(3)},
        {3, 100, 200, overlap(1)},
        {4, 9990, 10000, L""},  // last LBA equal to the sector count is not beyond
        {5, 10001, 10005, beyond},
        {6, 3000, 2000, ending},
        {7, 0, 10, overlap(2)},  // slot 2 is empty: LBA 0 to 0
        {8, 500, 900, L""},      // holds 9 whole, with neither end inside it
        {9, 600, 700, overlap(8)},
        // Ending before it starts, the third overlap test meets slot 4 first.
        {10, 20000, 9000, ending + beyond + overlap(4)},
        {11, 8000, 9500, L""},
    };
    SyntheticGpt g(512, 10000);
    for (const auto& c : cases) g.SetEntry(c.index, Guid::BasicData(), c.first, c.last);
    g.Finish();
    MemorySectorProvider sectors(g.bytes, 512);
    nsLayout::GptDisk disk(sectors);
    for (const auto& c : cases)
        EXPECT_EQ(CheckGptEntry(disk, c.index), c.text.empty() ? L"" : c.text + L"\n") << c.index;
    EXPECT_EQ(CheckGptEntry(disk, 2), overlap(7) + L"\n") << "an empty slot overlaps the first entry at LBA 0";
}

TEST(GptChecks, OverlapWalkStopsAtTheHeaderCount) {
    SyntheticGpt g(512, 10000);
    g.SetEntry(0, Guid::BasicData(), 100, 200);
    g.SetEntry(9, Guid::BasicData(), 150, 160);
    PutLe(g.bytes, kH + 80, 9, 4);
    g.Finish();
    MemorySectorProvider sectors(g.bytes, 512);
    nsLayout::GptDisk disk(sectors);
    EXPECT_EQ(CheckGptEntry(disk, 9), L"WARNING: Partition above overlaps with partition # 0.\n\n");
    EXPECT_EQ(CheckGptEntry(disk, 0), L"") << "slot 9 lies past the count";
}
