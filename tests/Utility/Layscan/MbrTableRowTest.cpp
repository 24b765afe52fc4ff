#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "Utility/Layscan/DiskGeometryReport.h"
#include "Utility/Layscan/Epbr.h"
#include "Utility/Layscan/Geometry.h"
#include "Utility/Layscan/Mbr.h"
#include "Utility/Layscan/MbrTableRow.h"
#include "support/CapturedReport.h"
#include "support/MbrImage.h"

namespace {

struct Token {
    std::string text;
    size_t start, end;
};

std::vector<Token> Tokens(const std::string& line) {
    std::vector<Token> tokens;
    size_t i = 0;
    while ((i = line.find_first_not_of(' ', i)) != std::string::npos) {
        size_t e = line.find(' ', i);
        if (e == std::string::npos) e = line.size();
        tokens.push_back({line.substr(i, e - i), i, e});
        i = e;
    }
    return tokens;
}

// Where each column's value has to sit: the label starts under "System",
// every other value ends under the last letter of its header word.
std::vector<size_t> HeaderAnchors() {
    std::vector<Token> words = Tokens(Narrow(kMbrTableHeader.substr(0, kMbrTableHeader.size() - 1)));
    std::vector<size_t> anchors{words[0].start};
    // "Part Table LBA" is one column.
    anchors.push_back(words[3].end);
    for (size_t i = 4; i < words.size(); ++i) anchors.push_back(words[i].end);
    return anchors;
}

void ExpectUnderHeader(const std::string& row, const std::vector<std::string>& values) {
    ASSERT_TRUE(row.ends_with("\n")) << row;
    const std::vector<Token> tokens = Tokens(row.substr(0, row.size() - 1));
    const std::vector<size_t> anchors = HeaderAnchors();
    ASSERT_EQ(anchors.size(), 13u);
    ASSERT_EQ(tokens.size(), values.size()) << row;
    for (size_t i = 0; i < values.size(); ++i) {
        EXPECT_EQ(tokens[i].text, values[i]) << "column " << i << " of " << row;
        EXPECT_EQ(i == 0 ? tokens[i].start : tokens[i].end, anchors[i]) << "column " << i << " of " << row;
    }
}

}  // namespace

TEST(MbrTableRow, ValuesLineUpUnderTheirHeaderWords) {
    mbrimage::Disk disk(40000000);
    disk.Entry(0, 0, 0x07, 2048, 2097152, 0, 0x80).Entry(0, 1, 0x0F, 2099200, 30000000);
    disk.ChainEpbr(2099200, 2099200, 2048, 1000000, 3101248);
    const auto translation = std::make_shared<const Geometry>(Geometry::Translation(512, 40000000));
    const Mbr mbr(disk.Provider(), translation);
    const Epbr epbr(disk.Provider(), translation, 2099200, 2099200, true);

    const struct {
        const BootRecordBase* record;
        uint32_t slot;
        std::vector<std::string> values;
    } cases[] = {
        {&mbr, 0, {"NTFS", "0", "0", "80", "0", "32", "33", "07", "131", "46", "40", "2,048", "2,097,152"}},
        {&mbr, 1, {"Extendx", "0", "1", "00", "131", "46", "41", "0F", "1023", "253", "63", "2,099,200", "30,000,000"}},
        {&mbr, 2, {"Unused", "0", "2", "00", "0", "0", "0", "00", "0", "0", "0", "0", "0"}},
        // A logical entry counts from its EPBR, the link from the extended partition.
        {&epbr, 0,
         {"NTFS", "2,099,200", "0", "00", "131", "79", "10", "07", "193", "204", "10", "2,101,248", "1,000,000"}},
        {&epbr, 1,
         {"Extend", "2,099,200", "1", "00", "193", "204", "11", "05", "193", "205", "47", "3,101,248", "100"}},
    };
    for (const auto& c : cases) {
        CapturedReport report;
        WriteMbrTableRow(report.Stream(), disk.Provider(), *c.record, c.slot);
        ExpectUnderHeader(report.Narrow(), c.values);
    }
}

TEST(MbrTableRow, TypeLabelsReadTheFirstSectorOnlyOnTheDisk) {
    mbrimage::Disk disk(5000);
    // exFAT's boot sector at 2048 tells type 0x07 apart from NTFS.
    std::memcpy(disk.Provider().Sector(2048).data() + 3, "EXFAT   ", 8);
    disk.Entry(0, 0, 0x07, 2048, 100).Entry(0, 1, 0x07, 4000, 100).Entry(0, 2, 0x07, 5000, 100);
    // Type 0 never reads, whatever its start says.
    disk.Entry(0, 3, 0x00, 2048, 100);
    const Mbr mbr(disk.Provider(), Geometry::Translation(512, 5000));
    const struct {
        uint32_t slot;
        const wchar_t* label;
    } cases[] = {{0, L"exFat"}, {1, L"NTFS"}, {2, L"NTFS"}, {3, L"Unused"}};
    for (const auto& c : cases) {
        // Slot 2 starts one past the last sector: a read there would fail.
        EXPECT_NO_THROW(EXPECT_EQ(PartitionTypeLabel(disk.Provider(), mbr, c.slot), c.label) << c.slot);
    }
}
