#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <iomanip>
#include <map>
#include <sstream>

#include "Base/Dev/Result.h"
#include "Utility/Layscan/Bpb34.h"
#include "Utility/Layscan/Bpb40.h"
#include "Utility/Layscan/Bpb70.h"
#include "Utility/Layscan/BpbExFat.h"
#include "Utility/Layscan/BpbKind.h"
#include "Utility/Layscan/BpbNt.h"
#include "Utility/Layscan/PrintBpb.h"
#include "support/MemorySectorProvider.h"
#include "support/VolumeImages.h"

namespace {

using Sector = std::vector<uint8_t>;

std::string Listing(const Sector& s) {
    std::wostringstream out;
    PrintBpbSector(s.data(), s.size(), out);
    return Narrow(out.str());
}

std::string ReadGolden(const std::string& name) {
    std::ifstream in(std::string(LAYSCAN_SOURCE_DIR "/tests/golden/") + name, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void PutLe(Sector& s, size_t offset, uint64_t value, unsigned width) {
    for (unsigned i = 0; i < width; ++i) s[offset + i] = static_cast<uint8_t>(value >> (8 * i));
}

void PutText(Sector& s, size_t offset, const char* text) { std::memcpy(s.data() + offset, text, std::strlen(text)); }

Sector CommonSector() {
    Sector s(512, 0);
    PutText(s, 0, "\xEB\x3C\x90" "OEMNAME1");
    PutLe(s, 0x0B, 4096, 2);
    s[0x0D] = 128;
    PutLe(s, 0x18, 0xABCD, 2);  // sectors per track, 4 hex digits exactly
    PutLe(s, 0x1C, 0x12345, 4);
    s[0x15] = 0x0F;
    return s;
}

bool Contains(const std::string& text, const std::string& line) { return text.find(line) != std::string::npos; }

}  // namespace

// One real volume per listing kind, compared line for line with the
// expected text kept beside the tests.
TEST(PrintBpb, GoldenListingsOfRealVolumes) {
    const struct {
        const char* image;
        const char* golden;
        size_t patchOffset;  // 0: unchanged
        uint8_t patchValue;
    } cases[] = {
        {"fat", "bpb-fat12.txt", 0, 0},
        {"fat32_xp_label1", "bpb-fat32.txt", 0, 0},
        {"ntfs", "bpb-ntfs.txt", 0, 0},
        {"exfat", "bpb-exfat.txt", 0, 0},
        // A FAT32 sector whose type text holds a byte above 0x7F: no
        // extended block is trusted, only the common one is listed.
        {"fat32_xp_none", "bpb-fallback.txt", 0x52, 0xC6},
    };
    int found = 0;
    for (const auto& c : cases) {
        Sector s = testimages::CorpusHead(c.image);
        if (s.empty()) continue;
        ++found;
        if (c.patchOffset) s[c.patchOffset] = c.patchValue;
        std::string expected = ReadGolden(c.golden);
        ASSERT_FALSE(expected.empty()) << c.golden;
        EXPECT_EQ(Listing(s), expected) << c.image;
    }
    if (found == 0) GTEST_SKIP() << "image corpus or xz not available";
}

TEST(PrintBpb, NothingForASectorOfOneRepeatedByte) {
    EXPECT_EQ(Listing(Sector(512, 0)), "");
    EXPECT_EQ(Listing(Sector(512, 0xF6)), "");
}

// Values the sample reports cannot show: widths past their minimum, numbers
// beyond 32 bits, short hex values padded, and the fallback heading.
TEST(PrintBpb, ValueFormatsTheSampleVolumesDoNotReach) {
    struct Case {
        const char* what;
        std::function<void(Sector&)> make;
        std::vector<std::string> lines;
    };
    const Case cases[] = {
        {"no extended block", [](Sector&) {},
         {"BPB Version not recognized, using Microsoft BPB Version 3.4\n 1. Jump:",
          "11. Sectors per Track:       43981 (0xABCD)\n", "13. Hidden Sectors:          74565 (0x00012345)\n"}},
        {"FAT16",
         [](Sector& s) {
             s[0x26] = 0x29;
             PutLe(s, 0x27, 0xBEEF, 4);
             PutText(s, 0x2B, "LABEL      FAT16   ");
             PutLe(s, 0x3E, 0x0123456789ULL, 8);
         },
         {"18. Volume Serical Number:   0x0000BEEF\n", "21. Reserved:                0x123456789\n"}},
        {"FAT32",
         [](Sector& s) {
             PutLe(s, 0x24, 70000, 4);
             PutLe(s, 0x28, 0x81, 2);
             PutLe(s, 0x2C, 0x12345, 4);
             for (int i = 0; i < 12; ++i) s[0x34 + i] = static_cast<uint8_t>(0xA0 + i);
             s[0x42] = 0x28;
             PutText(s, 0x47, "NAME       FAT32   ");
         },
         {"16. FAT Flags:               0x0081\n", "18. First Cluster of Root:   74565 (0x12345)\n",
          "21. Reserved:                A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB \n"}},
        {"NTFS",
         [](Sector& s) {
             s[0x26] = 0x80;
             PutLe(s, 0x28, 0x1'0000'0000ULL, 8);
             PutLe(s, 0x48, 0x1C, 8);
             PutLe(s, 0x50, 0xFFFFFFFF, 4);
         },
         {"19. Total NTFS Sectors:      4294967296\n", "25: Serical Number:          0x0000001C\n",
          "26: Checksum:                4294967295 (0xFFFFFFFF)\n"}},
        {"exFAT",
         [](Sector& s) {
             PutText(s, 3, "EXFAT   ");
             PutLe(s, 0x48, 0x2'0000'0000ULL, 8);
             PutLe(s, 0x5C, 0x10000, 4);
             PutLe(s, 0x64, 0xC0FFEE, 4);
         },
         {" 4. Sector Count:            8589934592\n", " 7. Sectors Per Cluster:     131072\n",
          " 8: Serical Number:          0x00C0FFEE\n"}},
        {"exFAT without clusters",
         [](Sector& s) {
             PutText(s, 3, "EXFAT   ");
             PutLe(s, 0x48, 4096, 8);
         },
         {" 7. Cluster Count:           0\n 7. Sectors Per Cluster:     0\n"}},
    };
    for (const Case& c : cases) {
        Sector s = CommonSector();
        c.make(s);
        std::string text = Listing(s);
        for (const std::string& line : c.lines) EXPECT_TRUE(Contains(text, line)) << c.what << ": " << line << text;
    }
}

TEST(PrintBpb, ReadsTheSectorAtTheGivenLba) {
    Sector disk(4 * 512, 0);
    Sector boot = CommonSector();
    std::copy(boot.begin(), boot.end(), disk.begin() + 3 * 512);
    MemorySectorProvider source(disk, 512);
    std::wostringstream at3, at1;
    PrintBpb(source, 3, at3);
    PrintBpb(source, 1, at1);
    EXPECT_EQ(Narrow(at3.str()), Listing(boot));
    EXPECT_EQ(at1.str(), L"");
    std::wostringstream beyond;
    EXPECT_THROW(PrintBpb(source, 4, beyond), PreconditionFailure);
}

TEST(PrintBpb, ShortSectorsAreListedFromWhatIsThere) {
    // A 4096-byte sector is read whole; a source with tiny sectors must not
    // make the views read past the copy.
    Sector s = CommonSector();
    s[0x26] = 0x80;
    std::string full = Listing(s);
    Sector small(s.begin(), s.begin() + 64);
    EXPECT_TRUE(Contains(Listing(small), "File System: NTFS")) << "0x26 is inside 64 bytes";
    Sector big(4096, 0);
    std::copy(s.begin(), s.end(), big.begin());
    EXPECT_EQ(Listing(big), full);
}

// The values the listings show agree with what The Sleuth Kit reads from the
// same volumes.
namespace {

std::map<std::string, std::string> FsStat(const testimages::ScratchFile& volume) {
    testimages::ScratchFile report("fsstat.txt");
    std::map<std::string, std::string> fields;
    // Only the summary at the top is read; some versions loop for ever over
    // an exFAT volume's bad-sector list, so the run is cut short and timed.
    if (!testimages::Run("timeout 20 fsstat " + volume.Quoted() + " | head -n 80 > " + report.Quoted()))
        return fields;
    std::ifstream in(report.Path());
    for (std::string line; std::getline(in, line);) {
        auto colon = line.find(": ");
        if (colon == std::string::npos) continue;
        std::string key = line.substr(0, colon);
        while (!key.empty() && (key[0] == '*' || key[0] == ' ')) key.erase(0, 1);
        fields.emplace(key, line.substr(colon + 2));  // first occurrence wins
    }
    return fields;
}

// "a - b" -> {a, b}
std::pair<uint64_t, uint64_t> Range(const std::string& text) {
    auto dash = text.find(" - ");
    if (dash == std::string::npos) return {UINT64_MAX, UINT64_MAX};
    return {std::stoull(text.substr(0, dash)), std::stoull(text.substr(dash + 3))};
}

std::string Hex(uint64_t v, int width) {
    std::ostringstream s;
    s << std::hex << std::uppercase << std::setw(width) << std::setfill('0') << v;
    return s.str();
}

std::string Upper(std::string s) {
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

void CheckFat(const Sector& s, std::map<std::string, std::string>& f, bool fat32) {
    auto buf = MemoryBuffer::Create(512);
    buf->Write(s.data(), 0, 512);
    OnDiskBpb34 c(buf, 0);
    EXPECT_EQ(f["OEM Name"], c.GetOemName());
    EXPECT_EQ(f["Sector Size"], std::to_string(c.GetBytesPerSector()));
    EXPECT_EQ(f["Cluster Size"], std::to_string(c.GetBytesPerSector() * c.GetSectorsPerCluster()));
    EXPECT_EQ(f["Sectors before file system"], std::to_string(c.GetHiddenSectors()));
    uint64_t total = c.GetTotalSectors() ? c.GetTotalSectors() : c.GetTotalSectorsLarge();
    EXPECT_EQ(Range(f["Total Range"]).second + 1, total);
    EXPECT_EQ(Range(f["Reserved"]).second + 1, c.GetReservedSectors());
    auto fat0 = Range(f["FAT 0"]);
    uint32_t serial;
    std::string type;
    if (fat32) {
        OnDiskBpb70 v(buf, 0);
        EXPECT_EQ(fat0.second - fat0.first + 1, v.GetSectorsPerFatExt());
        EXPECT_EQ(f["Backup Boot Sector"], std::to_string(v.GetBackupBootSector()));
        EXPECT_EQ(f["FS Info Sector"], std::to_string(v.GetFileSystemInfoSector()));
        serial = v.GetSerialNumber();
        type = v.GetFileSystemType();
    } else {
        OnDiskBpb40 v(buf, 0);
        EXPECT_EQ(fat0.second - fat0.first + 1, c.GetSectorsPerFat());
        EXPECT_EQ(f["Volume Label (Boot Sector)"], v.GetVolumeLabel());
        serial = v.GetVolumeSerialNumber();
        type = v.GetFileSystemType();
    }
    EXPECT_EQ(Upper(f["Volume ID"]), "0X" + Hex(serial, 1));
    EXPECT_EQ(f["File System Type Label"], type);
}

void CheckNtfs(const Sector& s, std::map<std::string, std::string>& f) {
    auto buf = MemoryBuffer::Create(512);
    buf->Write(s.data(), 0, 512);
    OnDiskBpbNt v(buf, 0);
    EXPECT_EQ(f["OEM Name"], v.GetBpb34().GetOemName());
    EXPECT_EQ(f["Volume Serial Number"], Hex(v.GetVolumeSerialNumber(), 16));
    EXPECT_EQ(f["First Cluster of MFT"], std::to_string(v.GetMftStartCluster()));
    EXPECT_EQ(f["First Cluster of MFT Mirror"], std::to_string(v.GetMftMirrorStartCluster()));
    EXPECT_EQ(f["Sector Size"], std::to_string(v.GetBpb34().GetBytesPerSector()));
    EXPECT_EQ(Range(f["Total Sector Range"]).second, v.GetTotalNtfsSectors() - 1);
}

void CheckExFat(const Sector& s, std::map<std::string, std::string>& f) {
    auto buf = MemoryBuffer::Create(512);
    buf->Write(s.data(), 0, 512);
    OnDiskBpbExFat v(buf, 0);
    uint32_t serial = v.GetVolumeSerialNumber();
    EXPECT_EQ(Upper(f["Volume Serial Number"]), Hex(serial >> 16, 4) + "-" + Hex(serial & 0xFFFF, 4));
    EXPECT_EQ(f["Partition Offset"], std::to_string(v.GetPartitionOffset()));
    EXPECT_EQ(Range(f["Range"]).second + 1, v.GetVolumeLength());
    EXPECT_EQ(Range(f["FAT 1"]).first, v.GetFatOffset());
    EXPECT_EQ(Range(f["Cluster Heap"]).first, v.GetClusterHeapOffset());
    auto clusters = Range(f["Cluster Range"]);
    EXPECT_EQ(clusters.second - clusters.first + 1, v.GetClusterCount());
}

}  // namespace

TEST(PrintBpb, FieldsAgreeWithTheSleuthKit) {
#ifdef _WIN32
    GTEST_SKIP() << "needs the Linux tools";
#endif
    if (!testimages::HaveTool("fsstat")) GTEST_SKIP() << "fsstat not installed";
    struct Case {
        const char* name;
        std::function<bool(const testimages::ScratchFile&)> make;
        BpbKind kind;
    };
    auto tool = [](const char* t, const char* o, unsigned kib) {
        return [=](const testimages::ScratchFile& f) { return testimages::MakeVolume(f, t, o, kib); };
    };
    auto corpus = [](const char* name) {
        return [=](const testimages::ScratchFile& f) { return testimages::UnpackCorpus(name, f); };
    };
    const Case cases[] = {
        {"mkfs-fat12", tool("mkfs.fat", "-F 12 -n MADE12", 1440), BpbKind::Fat1216},
        {"mkfs-fat16", tool("mkfs.fat", "-F 16 -i 1234ABCD", 16384), BpbKind::Fat1216},
        {"mkfs-fat32", tool("mkfs.fat", "-F 32 -h 63", 40960), BpbKind::Fat32},
        {"mkntfs", tool("mkntfs", "-F -Q", 8192), BpbKind::Ntfs},
        // No volume of mkfs.exfat here: fsstat 4.12 spins on it without output.
        {"fat", corpus("fat"), BpbKind::Fat1216},
        {"small-fat32", corpus("small-fat32"), BpbKind::Fat32},
        {"ntfs", corpus("ntfs"), BpbKind::Ntfs},
        {"exfat", corpus("exfat"), BpbKind::ExFat},
    };
    int checked = 0;
    for (const Case& c : cases) {
        testimages::ScratchFile volume(std::string(c.name) + ".img");
        if (!c.make(volume)) continue;
        Sector s = testimages::ReadHead(volume.Path(), 512);
        auto f = FsStat(volume);
        if (f.empty()) continue;  // a volume this fsstat cannot read
        ++checked;
        SCOPED_TRACE(c.name);
        ASSERT_EQ(DetectBpbKind(s.data(), s.size()), c.kind);
        if (c.kind == BpbKind::Ntfs)
            CheckNtfs(s, f);
        else if (c.kind == BpbKind::ExFat)
            CheckExFat(s, f);
        else
            CheckFat(s, f, c.kind == BpbKind::Fat32);
    }
    if (checked == 0) GTEST_SKIP() << "no volume could be made and read";
}
