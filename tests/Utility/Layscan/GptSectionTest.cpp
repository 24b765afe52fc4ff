#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "Utility/Layscan/GptDisk.h"
#include "Utility/Layscan/GptSection.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"
#include "support/CapturedReport.h"

using gpttest::PutLe;
using gpttest::SyntheticGpt;

namespace {

const std::string kDots = std::string(137, '.') + "\n";

// Writes a name into slot `index` of the primary array.
void SetName(SyntheticGpt& g, unsigned index, const std::u16string& name) {
    const uint64_t e = g.Array(1) + 128ull * index;
    for (size_t i = 0; i < name.size(); ++i) PutLe(g.bytes, e + 56 + 2 * i, name[i], 2);
}

std::string Table(SyntheticGpt& g) {
    MemorySectorProvider sectors(g.bytes, g.sectorSize);
    nsLayout::GptDisk disk(sectors);
    CapturedReport report;
    WriteGptPartitionTable(disk, 2, report.Stream());
    return report.Narrow();
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    size_t from = 0;
    for (size_t at; (at = text.find('\n', from)) != std::string::npos; from = at + 1)
        lines.push_back(text.substr(from, at - from));
    return lines;
}

}  // namespace

TEST(GptSection, RowsFollowEntryOrderWithFreeSpaceAboveTheEntryItPrecedes) {
    // Each case: the entries' slots and ranges, and the row kinds expected
    // ("U" unallocated, a number for an entry row).
    const struct {
        const char* what;
        std::vector<std::tuple<unsigned, uint64_t, uint64_t>> entries;
        std::vector<std::string> rows;
    } cases[] = {
        {"no entries", {}, {"U"}},
        {"one in the middle", {{0, 1000, 1999}}, {"U", "0", "U"}},
        {"disk filled from sector 0", {{0, 0, 9999}}, {"0"}},
        {"slots out of start order", {{0, 5000, 5999}, {3, 1000, 1999}}, {"U", "U", "0", "3", "U"}},
        {"gap below 64 sectors is no space", {{0, 1000, 1999}, {1, 2010, 9999}}, {"U", "0", "1"}},
    };
    for (const auto& c : cases) {
        SyntheticGpt g(512, 10000);
        for (const auto& [slot, first, last] : c.entries) g.SetEntry(slot, Guid::BasicData(), first, last);
        g.Finish();
        std::vector<std::string> rows;
        for (const std::string& line : Lines(Table(g))) {
            if (line.rfind("Unallocated Space ", 0) == 0) rows.push_back("U");
            else if (!line.empty() && line[0] >= '0' && line[0] <= '9') rows.push_back(line.substr(0, line.find(' ')));
        }
        EXPECT_EQ(rows, c.rows) << c.what;
    }
}

TEST(GptSection, EntryLocationFollowsTheSectorSize) {
    const struct {
        uint32_t sectorSize;
        unsigned slot;
        const char* sectAndIndex;  // the text between the type GUID and the attributes
    } cases[] = {
        {512, 0, "   2     0  "},
        {512, 5, "   3     1  "},
        {512, 127, "  33     3  "},
        {1024, 9, "   3     1  "},
        {4096, 5, "   2     5  "},
        {4096, 33, "   3     1  "},
    };
    for (const auto& c : cases) {
        SyntheticGpt g(c.sectorSize, 2000);
        g.SetEntry(c.slot, Guid::BasicData(), 100, 199);
        g.Finish();
        const std::string text = Table(g);
        const std::string row = std::to_string(c.slot) + std::string(c.slot < 10 ? 3 : c.slot < 100 ? 2 : 1, ' ') +
                                "ebd0a0a2-b9e5-4433-87c0-68b6b72699c7" + c.sectAndIndex + "0000000000000000";
        EXPECT_NE(text.find("\n" + row), std::string::npos) << c.sectorSize << " slot " << c.slot << "\n" << text;
    }
}

TEST(GptSection, ValuesWiderThanTheirColumnsNeverRunTogether) {
    SyntheticGpt g(512, 10000);
    g.SetEntry(0, Guid::BasicData(), std::numeric_limits<uint64_t>::max() - 1, std::numeric_limits<uint64_t>::max());
    g.SetEntry(1, Guid::BasicData(), 5000, 4000);
    g.Finish();
    const std::string text = Table(g);
    EXPECT_NE(text.find("0000000000000000 18,446,744,073,709,551,614 18,446,744,073,709,551,615  1.0 KB\n"), std::string::npos) << text;
    // Reversed ends hold no bytes.
    EXPECT_NE(text.find("5,000                       4,000    0 B\n"), std::string::npos) << text;
}

TEST(GptSection, UnusedSlotsGetNoRow) {
    SyntheticGpt g(512, 10000);
    g.SetEntry(0, Guid::BasicData(), 1000, 1999);
    g.SetEntry(1, Guid::BasicData(), 3000, 3999, false);  // a type but no unique GUID
    g.Finish();
    const std::string text = Table(g);
    EXPECT_NE(text.find("\n0   ebd0a0a2"), std::string::npos);
    EXPECT_EQ(text.find("\n1   "), std::string::npos) << text;
    // The model still takes the typed slot's space out of the free list.
    EXPECT_EQ(text.find("3,000"), std::string::npos);
    EXPECT_NE(text.find("2,000                       2,999"), std::string::npos) << text;
}

TEST(GptSection, UnsupportedEntrySizeReplacesTheTable) {
    for (uint32_t size : {0u, 64u, 256u, 0xFFFFFFFFu}) {
        SyntheticGpt g(512, 10000);
        g.SetEntry(0, Guid::BasicData(), 1000, 1999);
        PutLe(g.bytes, 512 + 84, size, 4);
        g.Finish();
        EXPECT_EQ(Table(g), "\n" + kDots + "GPT Partitions for Disk 2\n" +
                                "ERROR:  Partition table entry size not supported (size != 128 bytes).\n")
            << size;
    }
}

TEST(GptSection, NamesStopAtNulAndShowWideUnitsAsQuestionMarks) {
    const struct {
        std::u16string units;
        std::wstring shown;
    } cases[] = {
        {u"", L""},
        {std::u16string(u"EFI\0junk", 8), L"EFI"},
        {u"caf\u00e9 \u00ff", L"caf\u00e9 \u00ff"},
        {u"\u0100\u4e2d\U0001F600x", L"????x"},  // a surrogate pair is two units
        {u"a\tb\nc", L"a?b?c"},
        {std::u16string(36, u'Z'), std::wstring(36, L'Z')},
    };
    for (const auto& c : cases) EXPECT_EQ(GptNameForReport(c.units), c.shown);

    SyntheticGpt g(512, 10000);
    g.SetEntry(0, Guid::BasicData(), 1000, 1999);
    SetName(g, 0, std::u16string(36, u'N'));  // fills the field: no NUL to stop at
    g.Finish();
    EXPECT_NE(Table(g).find("    04030201-0605-0807-090a-0b0c0d0e0f10  " + std::string(36, 'N') + "\n"),
              std::string::npos);
}

TEST(GptSection, HeaderDataShowsEveryFieldOfThePrimaryHeader) {
    SyntheticGpt g(512, 10000);
    for (int i = 0; i < 16; ++i) g.bytes[512 + 56 + i] = static_cast<uint8_t>(0xA0 + i);
    PutLe(g.bytes, 512 + 40, 34, 8);
    PutLe(g.bytes, 512 + 48, 9966, 8);
    g.Finish();
    PutLe(g.bytes, 512 + 16, 0x0000ABCD, 4);  // a stored checksum with leading zeros
    PutLe(g.bytes, 512 + 88, 0xFFFFFFFF, 4);
    PutLe(g.bytes, 512 + 8, 0x00020000, 4);
    g.bytes[512 + 2] = 0x01;
    MemorySectorProvider sectors(g.bytes, 512);
    nsLayout::GptDisk disk(sectors);
    CapturedReport report;
    WriteGptHeaderData(disk, report.Stream());
    EXPECT_EQ(report.Narrow(),
              "GPT Header Data:\n"
              "Signature:                EF. PART\n"
              "Revision:                 Unknown (0x00020000)\n"
              "Header Size:              92\n"
              "Header CRC32:             0x0000ABCD\n"
              "My LBA:                   1\n"
              "Alternate LBA:            9,999\n"
              "First Usable LBA:         34\n"
              "Last Usable LBA:          9,966\n"
              "Disk GUID:                a3a2a1a0-a5a4-a7a6-a8a9-aaabacadaeaf\n"
              "Partition Entry LBA:      2\n"
              "Number of Entries:        128\n"
              "Size of Entry:            128\n"
              "Entry Array CRC32:        0xFFFFFFFF\n");
}
