#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "Base/Dev/Result.h"
#include "Utility/Layscan/OnDisk/BpbKind.h"
#include "Utility/Layscan/Report/PrintBpb.h"
#include "support/GoldenFile.h"
#include "support/GptTestImage.h"

namespace {

using Sector = std::vector<uint8_t>;

std::string Listing(const Sector& s) {
    std::wostringstream out;
    PrintBpbSector(s.data(), s.size(), out);
    return Narrow(out.str());
}

}  // namespace

// Volumes of other systems' tools from the corpus (the sample disks carry those
// of mkfs.*): their kind, and for one of each kind the listing. BitLocker keeps
// a FAT32-shaped block behind its "-FVE-FS-" name.
TEST(PrintBpb, KindsAndGoldenListingsOfRealVolumes) {
    const std::tuple<const char*, BpbKind, const char*> cases[] = {
        {"fat", BpbKind::Fat1216, "bpb-fat12.txt"}, {"fat32_xp_label1", BpbKind::Fat32, "bpb-fat32.txt"},
        {"ntfs", BpbKind::Ntfs, "bpb-ntfs.txt"}, {"exfat", BpbKind::ExFat, "bpb-exfat.txt"},
        {"fat32_xp_none", BpbKind::Fat32, "bpb-fallback.txt"}, {"fat16_noheads", BpbKind::Fat1216, nullptr},
        {"small-fat32", BpbKind::Fat32, nullptr}, {"bitlocker-win7", BpbKind::Fat32, nullptr}};
    int found = 0;
    for (const auto& [image, kind, golden] : cases) {
        const testimages::ScratchFile head(std::string(image) + ".head");
        Sector s = testimages::UnpackCorpus(image, head, 512) ? testimages::ReadHead(head.Path(), 512) : Sector{};
        if (s.empty()) continue;
        ++found;
        EXPECT_EQ(DetectBpbKind(s.data(), s.size()), kind) << image;
        // A FAT32 type text with a byte above 0x7F: no extended block is trusted.
        if (golden && std::string(golden) == "bpb-fallback.txt") s[0x52] = 0xC6;
        if (golden) golden::ExpectMatches(golden, Listing(s));
    }
    if (found == 0) GTEST_SKIP() << "image corpus or xz not available";
}

// The built sectors of tests/golden/bpb-format-cases.txt; a 4096-byte sector is listed from its
// first 512 bytes alone.
TEST(PrintBpb, ValueFormatsTheSampleVolumesDoNotReach) {
    golden::ExpectCaseTable("bpb-format-cases.txt", [](const std::string& fill, const std::string& disk) {
        const std::string common = "0=EB3C904F454D4E414D4531 B=0010 D=80 15=0F 18=CDAB 1C=45230100 ";
        Sector s = testimages::BootSector(fill == "common" ? "00" : fill,
                                          (fill == "common" ? common : "") + disk.substr(disk.find('|') + 1));
        s.resize(std::stoul(disk, nullptr, 16));
        const std::string listing = Listing(s);
        if (s.size() == 512 && !listing.empty()) {
            s.resize(4096);
            EXPECT_EQ(Listing(s), listing) << disk;
        }
        return listing;
    });
}

// The listings agree with what The Sleuth Kit reads from volumes of mkfs.* and
// of other systems: per file system, (fsstat's field, the listing's row) pairs.
namespace {

// "Label: value" lines as a map, the first occurrence of a label winning; a
// listing row ("NN. Label:   value (0x..)") keeps the value before its hex form.
std::map<std::string, std::string> Fields(const std::string& text, bool listing) {
    std::istringstream in(text);
    std::map<std::string, std::string> fields;
    for (std::string line; std::getline(in, line);) {
        const auto key = listing ? 4 : line.find_first_not_of("* "), colon = line.find(':', key);
        if (line.size() < 4 || colon == std::string::npos) continue;
        const auto value = line.find_first_not_of(' ', colon + 1);
        const auto end = listing && value != std::string::npos ? line.find(" (0x", value) : std::string::npos;
        fields.emplace(line.substr(key, colon - key), value == std::string::npos ? "" : line.substr(value, end - value));
    }
    return fields;
}

// A hexadecimal value ("0x1234abcd", "9c23-8877", "09CBB6DE") compares as upper
// case without "0x", dashes or leading zeros; any other text as it is.
std::string Normal(std::string v) {
    std::string digits = v.starts_with("0x") ? v.substr(2) : v;
    std::erase(digits, '-');
    if (digits.empty() || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) return v;
    for (char& c : digits) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size() - 1));
    return digits;
}

// fsstat's field "Name", or "Name:first" / "Name:count" of its "a - b" range,
// or "Cluster Size:sectors" in sectors.
std::string Theirs(std::map<std::string, std::string>& f, const std::string& field) {
    const auto op = field.find(':');
    const std::string v = f[field.substr(0, op)], how = op == std::string::npos ? "" : field.substr(op + 1);
    if (how == "sectors") return std::to_string(std::stoull(v) / std::stoull(f["Sector Size"]));
    if (how.empty()) return v;
    const auto dash = v.find(" - ");
    if (dash == std::string::npos) return "(no range: " + v + ")";
    const uint64_t first = std::stoull(v.substr(0, dash)), last = std::stoull(v.substr(dash + 3));
    return std::to_string(how == "first" ? first : last - first + 1);
}

}  // namespace

TEST(PrintBpbSleuthKitSlow, FieldsAgreeWithTheSleuthKit) {
#ifdef _WIN32
    GTEST_SKIP() << "needs the Linux tools";
#endif
    if (!testimages::HaveTool("fsstat")) GTEST_SKIP() << "fsstat not installed";
    const std::map<std::string, BpbKind> kinds = {
        {"fat", BpbKind::Fat1216}, {"fat32", BpbKind::Fat32}, {"ntfs", BpbKind::Ntfs}, {"exfat", BpbKind::ExFat}};
    const auto rows = golden::Rows("bpb-sleuthkit.txt");
    int checked = 0;
    for (const auto& v : rows) {
        if (v[0] != "volume") continue;
        const std::string& name = v[1];
        testimages::ScratchFile volume(name + ".img");
        const unsigned kib = unsigned(std::stoul(v[4]));
        if (!(kib ? testimages::MakeVolume(volume, v[2], v[3], kib) : testimages::UnpackCorpus(name, volume))) continue;
        const Sector s = testimages::ReadHead(volume.Path(), 512);
        // Only the summary at the top is read; some versions loop for ever over
        // an exFAT volume's bad-sector list, so the run is cut short and timed.
        auto f = Fields(testimages::Capture("timeout 20 fsstat " + volume.Quoted() + " 2>/dev/null | head -n 80"), false);
        if (f.empty()) continue;  // a volume this fsstat cannot read
        ++checked;
        ASSERT_EQ(DetectBpbKind(s.data(), s.size()), kinds.at(v[5])) << name;
        auto ours = Fields(Listing(s), true);
        for (const auto& field : rows) {
            if (field[0] != "field" || (" " + field[1] + " ").find(" " + v[5] + " ") == std::string::npos) continue;
            EXPECT_EQ(Normal(Theirs(f, field[2])), Normal(ours.count(field[3]) ? ours[field[3]] : "(no row)"))
                << name << ": " << field[3];
        }
    }
    if (checked == 0) GTEST_SKIP() << "no volume could be made and read";
}
