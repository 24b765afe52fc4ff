#include <gtest/gtest.h>

#include <functional>

#include "Utility/Layscan/GptChecks.h"
#include "Utility/Layscan/GptDisk.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"

using gpttest::PutLe;
using gpttest::SyntheticGpt;

namespace {

constexpr uint64_t kH = 512;  // the primary header on 512-byte sectors
const std::wstring kBackup = L"WARNING:  Backup GPT Header had the following problem(s):\n";
const std::wstring kMessages[] = {
    L"WARNING:  Partition entry size is not supported.  Must be 128.\n",
    L"WARNING:  GPT Header Check Sum is invalid.\n",
    L"WARNING:  GPT Partition Array Check Sum is invalid.\n",
    L"WARNING:  Invalid GPT header size.  Must be 92.\n",
    L"WARNING: Invalid GPT signature. Must be EFI PART.\n",
    L"WARNING: Invalid EFI version in GPT header.  Must be  00 00 01 00.\n",
    L"WARNING: Data in first reserved field in GPT header.\n",
    L"WARNING: Primary LBA is not valid in GPT header.\n",
    L"WARNING: Backup LBA is not valid in GPT header.\n",
    L"WARNING: Maximum number of partition entries is not valid in GPT header. Must be 128.\n",
};

std::wstring Messages(std::initializer_list<int> numbers) {
    std::wstring text;
    for (int n : numbers) text += kMessages[n - 1];
    return text + L"\n";
}

}  // namespace

TEST(GptChecks, HeaderMessages) {
    const struct {
        const char* what;
        std::function<void(SyntheticGpt&)> damage;  // applied after the checksums were set
        bool refinish;                               // set the primary's checksums again
        std::wstring text;
    } cases[] = {
        {"entry size", [](SyntheticGpt& g) { PutLe(g.bytes, kH + 84, 256, 4); }, true, Messages({1})},
        {"header checksum", [](SyntheticGpt& g) { g.bytes[kH + 16] ^= 1; }, false, Messages({2})},
        {"array checksum", [](SyntheticGpt& g) { g.bytes[g.Array(1) + 5000] ^= 1; }, false, Messages({3})},
        {"header size", [](SyntheticGpt& g) { PutLe(g.bytes, kH + 12, 100, 4); }, true, Messages({4})},
        {"signature", [](SyntheticGpt& g) { g.bytes[kH + 7] = 'X'; }, true, Messages({5})},
        {"revision", [](SyntheticGpt& g) { PutLe(g.bytes, kH + 8, 0x00010001, 4); }, true, Messages({6})},
        {"reserved", [](SyntheticGpt& g) { g.bytes[kH + 23] = 1; }, true, Messages({7})},
        {"my LBA", [](SyntheticGpt& g) { PutLe(g.bytes, kH + 24, 7, 8); }, true, Messages({8})},
        {"alternate LBA", [](SyntheticGpt& g) { PutLe(g.bytes, kH + 32, 998, 8); }, true, Messages({9})},
        {"entry count", [](SyntheticGpt& g) { PutLe(g.bytes, kH + 80, 64, 4); }, true, Messages({10})},
    };
    for (const auto& c : cases) {
        SyntheticGpt g(512, 1000);
        g.SetEntry(0, Guid::BasicData(), 40, 100);
        g.Finish();
        c.damage(g);
        if (c.refinish) g.FinishHeader(1);
        MemorySectorProvider sectors(g.bytes, 512);
        EXPECT_EQ(CheckGptHeader(GptPartitionTable(sectors, 1), false), c.text) << c.what;
    }
}

TEST(GptChecks, BackupFindingsFollowThePrimaryUnderTheirHeading) {
    SyntheticGpt g(512, 1000);
    g.Finish();
    g.bytes[999 * 512 + 16] ^= 0x10;  // the backup's stored header checksum
    MemorySectorProvider backupOnly(g.bytes, 512);
    EXPECT_EQ(CheckGptHeaders(nsLayout::GptDisk(backupOnly)), kBackup + Messages({2}));
    PutLe(g.bytes, kH + 8, 0, 4);
    g.FinishHeader(1);
    MemorySectorProvider both(g.bytes, 512);
    EXPECT_EQ(CheckGptHeaders(nsLayout::GptDisk(both)), Messages({6}) + kBackup + Messages({2}));
}

TEST(GptChecks, EntryFindings) {
    const std::wstring ending = L"WARNING:  Ending LBA before starting LBA in partition above.\n";
    const std::wstring beyond = L"WARNING:  Above partition extends beyond end of disk.\n";
    auto overlap = [](int j) {
        return L"WARNING: Partition above overlaps with partition # " + std::to_wstring(j) + L".\n";
    };
    const struct {
        unsigned index;
        uint64_t first, last;
        std::wstring text;  // without the closing blank line
    } cases[] = {
        {0, 40, 60, L""},
        {1, 150, 300, overlap(3)},
        {3, 100, 200, overlap(1)},
        {4, 9990, 10000, L""},  // a last LBA equal to the sector count is not beyond
        {5, 10001, 10005, beyond},
        {6, 3000, 2000, ending},
        {7, 0, 10, overlap(2)},  // slot 2 is empty: LBA 0 to 0
        {8, 500, 900, L""},      // holds 9 whole, with neither of its ends inside 9
        {9, 600, 700, overlap(8)},
        // Ending before it starts, the third overlap test meets slot 4 first.
        {10, 20000, 9000, ending + beyond + overlap(4)},
        {11, 8000, 9500, L""},
    };
    SyntheticGpt g(512, 10000);
    for (const auto& c : cases) g.SetEntry(c.index, Guid::BasicData(), c.first, c.last);
    MemorySectorProvider sectors(g.bytes, 512);
    nsLayout::GptDisk disk(sectors);
    for (const auto& c : cases)
        EXPECT_EQ(CheckGptEntry(disk, c.index), c.text.empty() ? L"" : c.text + L"\n") << c.index;
    EXPECT_EQ(CheckGptEntry(disk, 2), overlap(7) + L"\n") << "an empty slot meets the entry at LBA 0";

    // The walk ends at the header's count: slot 9 no longer sees slot 8.
    PutLe(g.bytes, kH + 80, 8, 4);
    MemorySectorProvider counted(g.bytes, 512);
    EXPECT_EQ(CheckGptEntry(nsLayout::GptDisk(counted), 9), L"");
}
