#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "Utility/Layscan/BpbKind.h"
#include "support/VolumeImages.h"

namespace {

using Sector = std::vector<uint8_t>;

BpbKind Detect(const Sector& s) { return DetectBpbKind(s.data(), s.size()); }

void Put(Sector& s, size_t offset, const char* text) { std::memcpy(s.data() + offset, text, std::strlen(text)); }

// A sector that no test accepts on its own: a jump and some code bytes.
Sector Plain() {
    Sector s(512, 0);
    s[0] = 0xEB;
    s[1] = 0x58;
    s[2] = 0x90;
    s[510] = 0x55;
    s[511] = 0xAA;
    return s;
}

}  // namespace

TEST(BpbKind, DecisionOrder) {
    struct Case {
        const char* what;
        std::function<void(Sector&)> make;
        BpbKind expected;
    };
    const Case cases[] = {
        {"zeros", [](Sector& s) { s.assign(512, 0); }, BpbKind::None},
        {"F6 fill", [](Sector& s) { s.assign(512, 0xF6); }, BpbKind::None},
        {"one byte differs", [](Sector& s) { s.assign(512, 0xF6); s[511] = 0; }, BpbKind::Fallback},
        {"plain", [](Sector&) {}, BpbKind::Fallback},
        {"FAT32 0x29", [](Sector& s) { s[0x42] = 0x29; Put(s, 0x52, "FAT32   "); }, BpbKind::Fat32},
        {"FAT32 0x28 any type text", [](Sector& s) { s[0x42] = 0x28; }, BpbKind::Fat32},
        {"FAT32 wins over 0x26", [](Sector& s) { s[0x42] = 0x29; s[0x26] = 0x80; Put(s, 3, "NTFS"); },
         BpbKind::Fat32},
        {"FAT32 high type byte falls to FAT16",
         [](Sector& s) { s[0x42] = 0x29; s[0x59] = 0x80; s[0x26] = 0x29; }, BpbKind::Fat1216},
        {"FAT32 high type byte, 0x26 plain -> fallback",
         [](Sector& s) { s[0x42] = 0x29; Put(s, 0x52, "FAT32  "); s[0x59] = 0xC3; s[0x26] = 0x27; },
         BpbKind::Fallback},
        {"FAT32 type byte 0x7F is ASCII", [](Sector& s) { s[0x42] = 0x29; s[0x52] = 0x7F; }, BpbKind::Fat32},
        {"signature 0x2A is not FAT32", [](Sector& s) { s[0x42] = 0x2A; }, BpbKind::Fallback},
        {"FAT16", [](Sector& s) { s[0x26] = 0x29; Put(s, 0x36, "FAT16   "); }, BpbKind::Fat1216},
        {"FAT12 0x28", [](Sector& s) { s[0x26] = 0x28; Put(s, 0x36, "FAT12   "); }, BpbKind::Fat1216},
        {"FAT16 high type byte, NTFS name", [](Sector& s) { s[0x26] = 0x29; s[0x36] = 0x80; Put(s, 3, "NTFS"); },
         BpbKind::Ntfs},
        {"FAT16 high type byte, EXFAT name",
         [](Sector& s) { s[0x26] = 0x29; s[0x3D] = 0xFF; Put(s, 3, "EXFAT"); }, BpbKind::ExFat},
        {"FAT16 high type byte alone", [](Sector& s) { s[0x26] = 0x28; s[0x3D] = 0x80; }, BpbKind::Fallback},
        {"NTFS by 0x80 with another OEM name", [](Sector& s) { s[0x26] = 0x80; Put(s, 3, "MSWIN4.1"); },
         BpbKind::Ntfs},
        {"NTFS by name, four letters suffice", [](Sector& s) { Put(s, 3, "NTFSXXXX"); }, BpbKind::Ntfs},
        {"ntfs in lower case is not a name", [](Sector& s) { Put(s, 3, "ntfs    "); }, BpbKind::Fallback},
        {"NTFS wins over EXFAT", [](Sector& s) { s[0x26] = 0x80; Put(s, 3, "EXFAT   "); }, BpbKind::Ntfs},
        {"EXFAT", [](Sector& s) { Put(s, 3, "EXFAT   "); }, BpbKind::ExFat},
        {"EXFA is not enough", [](Sector& s) { Put(s, 3, "EXFA    "); }, BpbKind::Fallback},
        {"EXFAT one byte late", [](Sector& s) { Put(s, 4, "EXFAT"); }, BpbKind::Fallback},
    };
    for (const Case& c : cases) {
        Sector s = Plain();
        c.make(s);
        EXPECT_EQ(Detect(s), c.expected) << c.what;
    }
}

TEST(BpbKind, ShortSectorsNeverReadPastTheirEnd) {
    Sector s = Plain();
    s[0x42] = 0x29;
    s[0x26] = 0x29;
    EXPECT_EQ(DetectBpbKind(s.data(), 0x59), BpbKind::Fat1216) << "FAT32 type text incomplete";
    EXPECT_EQ(DetectBpbKind(s.data(), 0x3D), BpbKind::Fallback) << "FAT16 type text incomplete";
    Put(s, 3, "EXFAT");
    EXPECT_EQ(DetectBpbKind(s.data(), 7), BpbKind::Fallback);
    EXPECT_EQ(DetectBpbKind(s.data(), 8), BpbKind::ExFat);
    EXPECT_EQ(DetectBpbKind(s.data(), 0), BpbKind::None);
    EXPECT_EQ(DetectBpbKind(nullptr, 512), BpbKind::None);
}

TEST(BpbKind, RealVolumes) {
    // The sample disks already carry volumes of mkfs.fat, mkntfs and mkfs.exfat;
    // these come from other systems' tools.
    const struct {
        const char* name;
        BpbKind expected;
    } cases[] = {
        {"fat32_xp_label1", BpbKind::Fat32}, {"fat32_xp_none", BpbKind::Fat32}, {"fat16_noheads", BpbKind::Fat1216},
        {"small-fat32", BpbKind::Fat32},     {"fat", BpbKind::Fat1216},         {"ntfs", BpbKind::Ntfs},
        {"exfat", BpbKind::ExFat},
        // BitLocker keeps a FAT32-shaped block behind its "-FVE-FS-" name.
        {"bitlocker-win7", BpbKind::Fat32},
    };
    int found = 0;
    for (const auto& c : cases) {
        const Sector s = testimages::CorpusHead(c.name);
        if (s.empty()) continue;
        ++found;
        EXPECT_EQ(Detect(s), c.expected) << c.name;
    }
    if (found == 0) GTEST_SKIP() << "image corpus or xz not available";
}
