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
#include "support/GoldenFile.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"

namespace {

using Sector = std::vector<uint8_t>;
using gpttest::PutLe;

std::string Listing(const Sector& s) {
    std::wostringstream out;
    PrintBpbSector(s.data(), s.size(), out);
    return Narrow(out.str());
}

void PutText(Sector& s, size_t offset, const char* text) { std::memcpy(s.data() + offset, text, std::strlen(text)); }

Sector CommonSector() {
    Sector s(512, 0);
    PutText(s, 0, "\xEB\x3C\x90" "OEMNAME1");
    PutLe(s, 0x0B, 4096, 2);
    s[0x0D] = 128;
    s[0x15] = 0x0F;
    PutLe(s, 0x18, 0xABCD, 2);  // sectors per track, 4 hex digits exactly
    PutLe(s, 0x1C, 0x12345, 4);
    return s;
}

}  // namespace

// One real volume per listing kind; the sample reports show those of mkfs.*.
TEST(PrintBpb, GoldenListingsOfRealVolumes) {
    const std::pair<const char*, const char*> cases[] = {
        {"fat", "bpb-fat12.txt"}, {"fat32_xp_label1", "bpb-fat32.txt"}, {"ntfs", "bpb-ntfs.txt"},
        {"exfat", "bpb-exfat.txt"}, {"fat32_xp_none", "bpb-fallback.txt"}};
    int found = 0;
    for (const auto& [image, golden] : cases) {
        Sector s = testimages::CorpusHead(image);
        if (s.empty()) continue;
        ++found;
        // A FAT32 type text with a byte above 0x7F: no extended block is trusted.
        if (std::string(golden) == "bpb-fallback.txt") s[0x52] = 0xC6;
        golden::ExpectMatches(golden, Listing(s));
    }
    if (found == 0) GTEST_SKIP() << "image corpus or xz not available";
}

// Values the sample volumes do not reach: widths past their minimum, numbers
// beyond 32 bits, short hex values padded, short sectors; in tests/golden/bpb-formats.txt.
TEST(PrintBpb, ValueFormatsTheSampleVolumesDoNotReach) {
    const std::pair<const char*, std::function<void(Sector&)>> cases[] = {
        {"a sector of one repeated byte", [](Sector& s) { s.assign(512, 0xF6); }},
        {"no extended block", [](Sector&) {}},
        {"FAT16", [](Sector& s) { s[0x26] = 0x29, PutLe(s, 0x27, 0xBEEF, 4), PutLe(s, 0x3E, 0x0123456789ULL, 8);
                                  PutText(s, 0x2B, "LABEL      FAT16   "); }},
        {"FAT32", [](Sector& s) { PutLe(s, 0x24, 70000, 4), PutLe(s, 0x28, 0x81, 2), PutLe(s, 0x2C, 0x12345, 4);
                                  PutText(s, 0x34, "\xA0\xA1\xA2\xA3\xA4\xA5\xA6\xA7\xA8\xA9\xAA\xAB");
                                  s[0x42] = 0x28, PutText(s, 0x47, "NAME       FAT32   "); }},
        {"NTFS", [](Sector& s) { s[0x26] = 0x80, PutLe(s, 0x28, 1ull << 32, 8), PutLe(s, 0x48, 0x1C, 8);
                                 PutLe(s, 0x50, 0xFFFFFFFF, 4); }},
        {"NTFS in a sector of 64 bytes", [](Sector& s) { s[0x26] = 0x80, s.resize(64); }},
        {"exFAT", [](Sector& s) { PutText(s, 3, "EXFAT   "), PutLe(s, 0x48, 1ull << 33, 8), PutLe(s, 0x5C, 0x10000, 4);
                                  PutLe(s, 0x64, 0xC0FFEE, 4); }},
        {"exFAT without clusters", [](Sector& s) { PutText(s, 3, "EXFAT   "), PutLe(s, 0x48, 4096, 8); }},
    };
    std::string text;
    for (const auto& [what, make] : cases) {
        Sector s = CommonSector();
        make(s);
        const std::string listing = Listing(s);
        text += "== " + std::string(what) + "\n" + listing;
        // A 4096-byte sector is listed from its first 512 bytes alone.
        Sector big(4096, 0);
        std::copy(s.begin(), s.end(), big.begin());
        if (s.size() == 512 && !listing.empty()) {
            EXPECT_EQ(Listing(big), listing) << what;
        }
    }
    golden::ExpectMatches("bpb-formats.txt", text);
}

TEST(PrintBpb, ReadsTheSectorAtTheGivenLba) {
    Sector disk(4 * 512, 0);
    const Sector boot = CommonSector();
    std::copy(boot.begin(), boot.end(), disk.begin() + 3 * 512);
    MemorySectorProvider source(disk, 512);
    std::wostringstream at3, at1, beyond;
    PrintBpb(source, 3, at3);
    PrintBpb(source, 1, at1);
    EXPECT_EQ(Narrow(at3.str()), Listing(boot));
    EXPECT_EQ(at1.str(), L"");
    EXPECT_THROW(PrintBpb(source, 4, beyond), PreconditionFailure);
}

// The values the listings are made of agree with what The Sleuth Kit reads
// from volumes of mkfs.* and of other systems.
namespace {

std::map<std::string, std::string> FsStat(const testimages::ScratchFile& volume) {
    // Only the summary at the top is read; some versions loop for ever over
    // an exFAT volume's bad-sector list, so the run is cut short and timed.
    std::istringstream in(testimages::Capture("timeout 20 fsstat " + volume.Quoted() + " 2>/dev/null | head -n 80"));
    std::map<std::string, std::string> fields;
    for (std::string line; std::getline(in, line);) {
        const auto colon = line.find(": ");
        if (colon == std::string::npos) continue;
        const auto key = line.find_first_not_of("* ");
        fields.emplace(line.substr(key, colon - key), line.substr(colon + 2));  // first occurrence wins
    }
    return fields;
}

// "a - b" -> {a, b}
std::pair<uint64_t, uint64_t> Range(const std::string& text) {
    const auto dash = text.find(" - ");
    if (dash == std::string::npos) return {UINT64_MAX, UINT64_MAX};
    return {std::stoull(text.substr(0, dash)), std::stoull(text.substr(dash + 3))};
}

std::string Hex(uint64_t v, int width) {
    std::ostringstream s;
    s << std::hex << std::uppercase << std::setw(width) << std::setfill('0') << v;
    return s.str();
}

// (fsstat's value, the view's value) for the fields both show.
using Pairs = std::vector<std::pair<std::string, std::string>>;

Pairs Compared(const Sector& s, BpbKind kind, std::map<std::string, std::string>& f) {
    auto buf = MemoryBuffer::Create(512);
    buf->Write(s.data(), 0, 512);
    auto n = [](uint64_t v) { return std::to_string(v); };
    auto last = [&](const char* key) { return n(Range(f[key]).second); };
    auto count = [&](const char* key) { return n(Range(f[key]).second - Range(f[key]).first + 1); };
    auto upper = [](std::string t) {
        for (char& c : t) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        return t;
    };
    if (kind == BpbKind::Ntfs) {
        OnDiskBpbNt v(buf, 0);
        return {{f["OEM Name"], v.GetBpb34().GetOemName()},
                {f["Volume Serial Number"], Hex(v.GetVolumeSerialNumber(), 16)},
                {f["First Cluster of MFT"], n(v.GetMftStartCluster())},
                {f["First Cluster of MFT Mirror"], n(v.GetMftMirrorStartCluster())},
                {f["Sector Size"], n(v.GetBpb34().GetBytesPerSector())},
                {last("Total Sector Range"), n(v.GetTotalNtfsSectors() - 1)}};
    }
    if (kind == BpbKind::ExFat) {
        OnDiskBpbExFat v(buf, 0);
        const uint32_t serial = v.GetVolumeSerialNumber();
        return {{upper(f["Volume Serial Number"]), Hex(serial >> 16, 4) + "-" + Hex(serial & 0xFFFF, 4)},
                {f["Partition Offset"], n(v.GetPartitionOffset())}, {last("Range"), n(v.GetVolumeLength() - 1)},
                {n(Range(f["FAT 1"]).first), n(v.GetFatOffset())},
                {n(Range(f["Cluster Heap"]).first), n(v.GetClusterHeapOffset())},
                {count("Cluster Range"), n(v.GetClusterCount())}};
    }
    OnDiskBpb34 c(buf, 0);
    const uint64_t total = c.GetTotalSectors() ? c.GetTotalSectors() : c.GetTotalSectorsLarge();
    Pairs pairs = {{f["OEM Name"], c.GetOemName()},
                   {f["Sector Size"], n(c.GetBytesPerSector())},
                   {f["Cluster Size"], n(c.GetBytesPerSector() * c.GetSectorsPerCluster())},
                   {f["Sectors before file system"], n(c.GetHiddenSectors())},
                   {last("Total Range"), n(total - 1)},
                   {last("Reserved"), n(c.GetReservedSectors() - 1)}};
    if (kind == BpbKind::Fat32) {
        OnDiskBpb70 v(buf, 0);
        pairs.insert(pairs.end(), {{count("FAT 0"), n(v.GetSectorsPerFatExt())},
                                   {f["Backup Boot Sector"], n(v.GetBackupBootSector())},
                                   {f["FS Info Sector"], n(v.GetFileSystemInfoSector())},
                                   {upper(f["Volume ID"]), "0X" + Hex(v.GetSerialNumber(), 1)},
                                   {f["File System Type Label"], v.GetFileSystemType()}});
    } else {
        OnDiskBpb40 v(buf, 0);
        pairs.insert(pairs.end(), {{count("FAT 0"), n(c.GetSectorsPerFat())},
                                   {f["Volume Label (Boot Sector)"], v.GetVolumeLabel()},
                                   {upper(f["Volume ID"]), "0X" + Hex(v.GetVolumeSerialNumber(), 1)},
                                   {f["File System Type Label"], v.GetFileSystemType()}});
    }
    return pairs;
}

}  // namespace

TEST(PrintBpb, FieldsAgreeWithTheSleuthKit) {
#ifdef _WIN32
    GTEST_SKIP() << "needs the Linux tools";
#endif
    if (!testimages::HaveTool("fsstat")) GTEST_SKIP() << "fsstat not installed";
    using Make = std::function<bool(const testimages::ScratchFile&)>;
    auto tool = [](const char* t, const char* o, unsigned kib) -> Make {
        return [=](const testimages::ScratchFile& f) { return testimages::MakeVolume(f, t, o, kib); };
    };
    auto corpus = [](const char* name) -> Make {
        return [=](const testimages::ScratchFile& f) { return testimages::UnpackCorpus(name, f); };
    };
    const std::tuple<const char*, Make, BpbKind> cases[] = {
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
    for (const auto& [name, make, kind] : cases) {
        testimages::ScratchFile volume(std::string(name) + ".img");
        if (!make(volume)) continue;
        const Sector s = testimages::ReadHead(volume.Path(), 512);
        auto f = FsStat(volume);
        if (f.empty()) continue;  // a volume this fsstat cannot read
        ++checked;
        ASSERT_EQ(DetectBpbKind(s.data(), s.size()), kind) << name;
        for (const auto& [theirs, ours] : Compared(s, kind, f)) EXPECT_EQ(theirs, ours) << name;
    }
    if (checked == 0) GTEST_SKIP() << "no volume could be made and read";
}
