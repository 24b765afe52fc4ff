#include <gtest/gtest.h>

#include <cstring>

#include "Utility/Layscan/BpbKind.h"
#include "support/VolumeImages.h"

using namespace std::string_literals;
using Sector = std::vector<uint8_t>;

TEST(BpbKind, DecisionOrder) {
    // A sector no test accepts on its own (a jump and the 0xAA55 signature), or
    // one filled with a single byte; then the bytes put at their offsets.
    const struct {
        const char* what;
        int fill;  // -1: the plain sector
        std::vector<std::pair<size_t, std::string>> puts;
        BpbKind expected;
    } cases[] = {
        {"zeros", 0, {}, BpbKind::None},
        {"F6 fill", 0xF6, {}, BpbKind::None},
        {"one byte differs", 0xF6, {{511, "\0"s}}, BpbKind::Fallback},
        {"plain", -1, {}, BpbKind::Fallback},
        {"FAT32 0x29", -1, {{0x42, "\x29"}, {0x52, "FAT32   "}}, BpbKind::Fat32},
        {"FAT32 0x28 any type text", -1, {{0x42, "\x28"}}, BpbKind::Fat32},
        {"FAT32 wins over 0x26", -1, {{0x42, "\x29"}, {0x26, "\x80"}, {3, "NTFS"}}, BpbKind::Fat32},
        {"FAT32 high type byte falls to FAT16", -1, {{0x42, "\x29"}, {0x59, "\x80"}, {0x26, "\x29"}}, BpbKind::Fat1216},
        {"FAT32 high type byte, 0x26 plain", -1, {{0x42, "\x29"}, {0x52, "FAT32  \xC3"}, {0x26, "\x27"}},
         BpbKind::Fallback},
        {"FAT32 type byte 0x7F is ASCII", -1, {{0x42, "\x29"}, {0x52, "\x7F"}}, BpbKind::Fat32},
        {"signature 0x2A is not FAT32", -1, {{0x42, "\x2A"}}, BpbKind::Fallback},
        {"FAT16", -1, {{0x26, "\x29"}, {0x36, "FAT16   "}}, BpbKind::Fat1216},
        {"FAT12 0x28", -1, {{0x26, "\x28"}, {0x36, "FAT12   "}}, BpbKind::Fat1216},
        {"FAT16 high type byte, NTFS name", -1, {{0x26, "\x29"}, {0x36, "\x80"}, {3, "NTFS"}}, BpbKind::Ntfs},
        {"FAT16 high type byte, EXFAT name", -1, {{0x26, "\x29"}, {0x3D, "\xFF"}, {3, "EXFAT"}}, BpbKind::ExFat},
        {"FAT16 high type byte alone", -1, {{0x26, "\x28"}, {0x3D, "\x80"}}, BpbKind::Fallback},
        {"NTFS by 0x80 with another OEM name", -1, {{0x26, "\x80"}, {3, "MSWIN4.1"}}, BpbKind::Ntfs},
        {"NTFS by name, four letters suffice", -1, {{3, "NTFSXXXX"}}, BpbKind::Ntfs},
        {"ntfs in lower case is not a name", -1, {{3, "ntfs    "}}, BpbKind::Fallback},
        {"NTFS wins over EXFAT", -1, {{0x26, "\x80"}, {3, "EXFAT   "}}, BpbKind::Ntfs},
        {"EXFAT", -1, {{3, "EXFAT   "}}, BpbKind::ExFat},
        {"EXFA is not enough", -1, {{3, "EXFA    "}}, BpbKind::Fallback},
        {"EXFAT one byte late", -1, {{4, "EXFAT"}}, BpbKind::Fallback},
    };
    for (const auto& c : cases) {
        Sector s(512, c.fill < 0 ? 0 : static_cast<uint8_t>(c.fill));
        if (c.fill < 0) s[0] = 0xEB, s[1] = 0x58, s[2] = 0x90, s[510] = 0x55, s[511] = 0xAA;
        for (const auto& [at, bytes] : c.puts) std::memcpy(&s[at], bytes.data(), bytes.size());
        EXPECT_EQ(DetectBpbKind(s.data(), s.size()), c.expected) << c.what;
    }
}

TEST(BpbKind, ShortSectorsNeverReadPastTheirEnd) {
    Sector s(512, 0);
    s[0x42] = 0x29;
    s[0x26] = 0x29;
    EXPECT_EQ(DetectBpbKind(s.data(), 0x59), BpbKind::Fat1216) << "FAT32 type text incomplete";
    EXPECT_EQ(DetectBpbKind(s.data(), 0x3D), BpbKind::Fallback) << "FAT16 type text incomplete";
    std::memcpy(&s[3], "EXFAT", 5);
    EXPECT_EQ(DetectBpbKind(s.data(), 7), BpbKind::Fallback);
    EXPECT_EQ(DetectBpbKind(s.data(), 8), BpbKind::ExFat);
    EXPECT_EQ(DetectBpbKind(s.data(), 0), BpbKind::None);
    EXPECT_EQ(DetectBpbKind(nullptr, 512), BpbKind::None);
}

TEST(BpbKind, RealVolumes) {
    // The sample disks carry volumes of mkfs.fat, mkntfs and mkfs.exfat; these
    // come from other systems' tools. BitLocker keeps a FAT32-shaped block
    // behind its "-FVE-FS-" name.
    const std::pair<const char*, BpbKind> cases[] = {
        {"fat32_xp_label1", BpbKind::Fat32}, {"fat32_xp_none", BpbKind::Fat32}, {"fat16_noheads", BpbKind::Fat1216},
        {"small-fat32", BpbKind::Fat32},     {"fat", BpbKind::Fat1216},         {"ntfs", BpbKind::Ntfs},
        {"exfat", BpbKind::ExFat},           {"bitlocker-win7", BpbKind::Fat32}};
    int found = 0;
    for (const auto& [name, expected] : cases) {
        const Sector s = testimages::CorpusHead(name);
        if (s.empty()) continue;
        ++found;
        EXPECT_EQ(DetectBpbKind(s.data(), s.size()), expected) << name;
    }
    if (found == 0) GTEST_SKIP() << "image corpus or xz not available";
}
