#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "Utility/Layscan/Model/GptChecks.h"
#include "Utility/Layscan/Model/GptDisk.h"
#include "support/GptTestImage.h"
#include "support/SparseSectorProvider.h"

using gpttest::SyntheticGpt;
using nsLayout::GptDisk;

TEST(GptDisk, Recogniser) {
    // (what, sectors, 0xAA55 in sector 0, type of MBR entry 0, "EFI PART" at LBA 1, taken)
    const std::tuple<const char*, uint64_t, bool, uint8_t, bool, bool> cases[] = {
        {"protective MBR", 100, true, 0xEE, false, true}, {"header only", 100, false, 0, true, true},
        {"other MBR", 100, true, 0x07, false, false},     {"0xEE unsigned", 100, false, 0xEE, false, false},
        {"one sector", 1, true, 0xEE, false, true},       {"empty", 0, false, 0, false, false},
        {"one sector, no header to look for", 1, false, 0, false, false},
    };
    for (const auto& [what, count, signature, type, header, gpt] : cases) {
        std::vector<uint8_t> bytes(count * 512);
        if (signature) bytes[510] = 0x55, bytes[511] = 0xAA;
        if (count) bytes[446 + 4] = type;
        if (header) std::memcpy(&bytes[512], "EFI PART", 8);
        SparseSectorProvider sectors(bytes, 512);
        EXPECT_EQ(nsLayout::IsGpt(sectors), gpt) << what;
    }
}

TEST(GptDisk, AlignmentFeedsTheEntrySizeAsTheSecondValue) {
    const std::tuple<uint32_t, std::vector<uint64_t>, const wchar_t*> cases[] = {  // sector size, starts, label
        {512, {2048, 4096}, L"None"}, {4096, {256, 512}, L"None"}, {8192, {128, 384}, L"1 MB"},
        {16384, {128, 256}, L"2 MB"}, {16384, {128, 64}, L"None"},  {16384, {64, 65}, L"1 MB"},
        {8192, {}, L"None"},
    };
    for (const auto& [sectorSize, starts, label] : cases) {
        SyntheticGpt g(sectorSize, 600);
        unsigned slot = 0;
        for (uint64_t start : starts) g.SetEntry(slot++, Guid::BasicData(), start, start + 10);
        g.SetEntry(slot, Guid::BasicData(), 64, 70, false);  // not in use: would make 2 MB mixed
        SparseSectorProvider sectors(g.bytes, sectorSize);
        EXPECT_EQ(GptDisk(sectors).DetectAlignment(), label) << sectorSize << " " << starts.size();
    }
}

// Entries that share only one sector overlap, whichever of the two is checked.
TEST(GptDisk, EntriesSharingOneSectorOverlap) {
    SyntheticGpt g(512, 4000);
    g.SetEntry(0, Guid::BasicData(), 100, 200);
    g.SetEntry(1, Guid::BasicData(), 200, 300);
    g.Finish();
    SparseSectorProvider sectors(g.bytes, 512);
    const GptDisk disk(sectors);
    for (uint64_t i = 0; i < 2; ++i)
        EXPECT_NE(nsLayout::CheckGptEntry(disk, i).find(L"overlaps with partition # " + std::to_wstring(1 - i)),
                  std::wstring::npos) << i;
}
