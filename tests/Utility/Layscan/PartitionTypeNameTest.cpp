#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "Base/Dev/Result.h"
#include "Utility/Layscan/PartitionTypeName.h"
#include "support/GoldenFile.h"

namespace {

std::vector<uint8_t> BootSectorNamed(const char* oemName) {
    std::vector<uint8_t> sector{0xEB, 0x76, 0x90};
    sector.resize(512);
    std::memcpy(sector.data() + 3, oemName, std::strlen(oemName));
    return sector;
}

}  // namespace

// Every named type byte with its label, six to a line; all others are "Unknown".
TEST(PartitionTypeName, LabelOfEveryTypeByte) {
    const std::vector<uint8_t> zeros(512, 0);
    std::string text = "Type bytes not listed are \"Unknown\".\n";
    for (int type = 0, named = 0; type < 256; ++type) {
        const std::string label = Narrow(GetPartitionTypeName(static_cast<uint8_t>(type), zeros.data(), 512));
        EXPECT_LE(label.size(), 13u) << type;  // the width of the table's label column
        if (label == "Unknown") continue;
        char cell[32];
        std::snprintf(cell, sizeof cell, "%02X %-13s%s", type, label.c_str(), ++named % 6 ? " " : "\n");
        text += cell;
        if (text.ends_with("\n")) text.erase(text.find_last_not_of(" \n") + 1) += "\n";
    }
    golden::ExpectMatches("partition-type-names.txt", text.erase(text.find_last_not_of(' ') + 1) + "\n");
}

TEST(PartitionTypeName, NtfsOrExfatDecidedByBytesThreeToSeven) {
    const struct {
        std::vector<uint8_t> sector;
        const wchar_t* label;
    } cases[] = {
        {BootSectorNamed("EXFAT   "), L"exFat"},
        {BootSectorNamed("NTFS    "), L"NTFS"},
        {std::vector<uint8_t>(512, 0), L"NTFS"},
        {BootSectorNamed("EXFAS   "), L"NTFS"},
        {BootSectorNamed("exfat   "), L"NTFS"},
        {BootSectorNamed("XFAT    "), L"NTFS"},
        {BootSectorNamed("EXFAT"), L"exFat"},
        {std::vector<uint8_t>{0, 0, 0, 'E', 'X', 'F', 'A', 'T'}, L"exFat"},
        {std::vector<uint8_t>{0, 0, 0, 'E', 'X', 'F', 'A'}, L"NTFS"},
        {std::vector<uint8_t>{}, L"NTFS"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(GetPartitionTypeName(0x07, c.sector.data(), c.sector.size()), c.label) << c.sector.size();
    // Other types never look at the sector.
    EXPECT_EQ(GetPartitionTypeName(0x0C, nullptr, 0), L"FAT 32");
    EXPECT_EQ(GetPartitionTypeName(0x17, cases[0].sector.data(), 512), L"Hid NTFS");
}
