#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <tuple>
#include <vector>

#include "Base/Dev/Result.h"
#include "Utility/Layscan/Report/PartitionTypeName.h"
#include "support/GoldenFile.h"

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
    // The OEM name behind a jump, the sector cut or padded with zeros to a size.
    const std::tuple<const char*, size_t, const wchar_t*> cases[] = {
        {"EXFAT   ", 512, L"exFat"}, {"NTFS    ", 512, L"NTFS"}, {"", 512, L"NTFS"},    {"EXFAS   ", 512, L"NTFS"},
        {"exfat   ", 512, L"NTFS"},  {"XFAT    ", 512, L"NTFS"}, {"EXFAT", 512, L"exFat"}, {"EXFAT", 8, L"exFat"},
        {"EXFA", 7, L"NTFS"},        {"", 0, L"NTFS"}};
    for (const auto& [name, size, label] : cases) {
        std::vector<uint8_t> sector{0xEB, 0x76, 0x90};
        sector.insert(sector.end(), name, name + std::strlen(name));
        sector.resize(size);
        EXPECT_EQ(GetPartitionTypeName(0x07, sector.data(), size), label) << name << size;
    }
    // Other types never look at the sector.
    EXPECT_EQ(GetPartitionTypeName(0x0C, nullptr, 0), L"FAT 32");
    const uint8_t exfat[512] = {0xEB, 0x76, 0x90, 'E', 'X', 'F', 'A', 'T'};
    EXPECT_EQ(GetPartitionTypeName(0x17, exfat, 512), L"Hid NTFS");
}
