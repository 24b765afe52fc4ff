#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "Utility/Layscan/OnDisk/BpbKind.h"

using namespace std::string_literals;
using Sector = std::vector<uint8_t>;

TEST(BpbKind, DecisionOrder) {
    // A sector no test accepts on its own (a jump and the 0xAA55 signature), or
    // one filled with a single byte; then the bytes put at their offsets.
    // (what, fill or -1 for the plain sector, bytes put at offsets, kind)
    const std::tuple<const char*, int, std::vector<std::pair<size_t, std::string>>, BpbKind> cases[] = {
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
    for (const auto& [what, fill, puts, expected] : cases) {
        Sector s(512, fill < 0 ? 0 : static_cast<uint8_t>(fill));
        if (fill < 0) s[0] = 0xEB, s[1] = 0x58, s[2] = 0x90, s[510] = 0x55, s[511] = 0xAA;
        for (const auto& [at, bytes] : puts) std::memcpy(&s[at], bytes.data(), bytes.size());
        EXPECT_EQ(DetectBpbKind(s.data(), s.size()), expected) << what;
    }
}

TEST(BpbKind, ShortSectorsNeverReadPastTheirEnd) {
    Sector s(512, 0);
    s[0x42] = 0x29;
    s[0x26] = 0x29;
    EXPECT_EQ(DetectBpbKind(s.data(), 0x59), BpbKind::Fat1216) << "FAT32 type text incomplete";
    EXPECT_EQ(DetectBpbKind(s.data(), 0x5A), BpbKind::Fat32) << "FAT32 type text complete";
    EXPECT_EQ(DetectBpbKind(s.data(), 0x3D), BpbKind::Fallback) << "FAT16 type text incomplete";
    std::memcpy(&s[3], "EXFAT", 5);
    EXPECT_EQ(DetectBpbKind(s.data(), 7), BpbKind::Fallback);
    EXPECT_EQ(DetectBpbKind(s.data(), 8), BpbKind::ExFat);
    EXPECT_EQ(DetectBpbKind(s.data(), 0), BpbKind::None);
    EXPECT_EQ(DetectBpbKind(nullptr, 512), BpbKind::None);
}
