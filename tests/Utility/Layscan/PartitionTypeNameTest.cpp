#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <vector>

#include "Utility/Layscan/PartitionTypeName.h"

namespace {

std::vector<uint8_t> BootSectorNamed(const char* oemName) {
    std::vector<uint8_t> sector(512, 0);
    sector[0] = 0xEB;
    sector[1] = 0x76;
    sector[2] = 0x90;
    std::memcpy(sector.data() + 3, oemName, std::strlen(oemName));
    return sector;
}

std::wstring Name(uint8_t type) {
    const std::vector<uint8_t> zeros(512, 0);
    return GetPartitionTypeName(type, zeros.data(), zeros.size());
}

}  // namespace

TEST(PartitionTypeName, LabelsIncludingOdditiesAndNeighbours) {
    const struct {
        uint8_t type;
        const wchar_t* label;
    } cases[] = {
        {0x00, L"Unused"},        {0x01, L"FAT 12"},       {0x04, L"FAT 16"},       {0x05, L"Extend"},
        {0x06, L"FAT 16B"},       {0x0B, L"FAT 32"},       {0x0C, L"FAT 32"},       {0x0D, L"Unknown"},
        {0x0E, L"FAT 16"},        {0x0F, L"Extendx"},      {0x13, L"Unknown"},      {0x17, L"Hid NTFS"},
        {0x1C, L"Hid FAT32x"},    {0x1E, L"Hid FAT16x"},   {0x27, L"Recovery"},     {0x42, L"LDM Protect"},
        {0x44, L"GOBack"},        {0x54, L"Ontrack DM60"}, {0x55, L"EZ-Drive"},     {0x61, L"SpeedStor"},
        {0x65, L"NetWare 3&4"},   {0x67, L"NetWare"},      {0x68, L"NetWare"},      {0x75, L"PC/IX"},
        {0x7F, L"Novell ISCSI"},  {0x81, L"Linux/Minix"},  {0x82, L"Linux Swap"},   {0x83, L"EXT2/EXT3"},
        {0x85, L"Linux Extend"},  {0xA0, L"Save To Disk"}, {0xAE, L"Novell Remote"}, {0xC1, L"DR FAT23"},
        {0xC5, L"Unknown"},       {0xCF, L"Nvll VrtlDvc"}, {0xD8, L"CPM"},          {0xDB, L"CPM"},
        {0xE3, L"SpeedStor"},     {0xE4, L"SpeedStor"},    {0xEE, L"GPT Protect"},  {0xEF, L"Unknown"},
        {0xF1, L"SpeedStor"},     {0xF4, L"SpeedStor"},    {0xFD, L"Linux RAID"},   {0xFE, L"LANstep"},
        {0xFF, L"Xenix BBT"},
    };
    for (const auto& c : cases) EXPECT_EQ(Name(c.type), c.label) << std::hex << int(c.type);
}

TEST(PartitionTypeName, ListedTypesCountAndLabelLengthBound) {
    std::set<std::wstring> labels;
    int listed = 0;
    for (int type = 0; type < 256; ++type) {
        const std::wstring label = Name(static_cast<uint8_t>(type));
        EXPECT_LE(label.size(), 13u) << type;
        EXPECT_FALSE(label.empty()) << type;
        if (label != L"Unknown") ++listed;
        labels.insert(label);
    }
    // 94 type bytes are named (0x07 included); with "Unknown" there are 87 labels.
    EXPECT_EQ(listed, 94);
    EXPECT_EQ(labels.size(), 87u);
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
}

TEST(PartitionTypeName, OtherTypesNeverLookAtTheSector) {
    EXPECT_EQ(GetPartitionTypeName(0x0C, nullptr, 0), L"FAT 32");
    EXPECT_EQ(GetPartitionTypeName(0x13, nullptr, 0), L"Unknown");
    const auto exfat = BootSectorNamed("EXFAT   ");
    EXPECT_EQ(GetPartitionTypeName(0x17, exfat.data(), exfat.size()), L"Hid NTFS");
}
