// -verify on disks that the real tools made and dd then broke. The golden file
// holds each disk's "Consistency Checks" section; the report before it must be
// the plain report, byte for byte. The peers then judge the same disks: each
// of our warnings is present exactly when the peer reports the matching
// problem.

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "Utility/Layscan/OnDisk/Crc32.h"
#include "support/GoldenFile.h"
#include "support/RunTool.h"
#include "support/VolumeImages.h"

namespace {

// Every GPT disk starts as 20 MiB with a basic-data and a Linux partition.
const std::string kGpt = "truncate -s 20M $IMG && sgdisk -o -n 1:2048:+4M -t 1:0700 -n 2:0:+4M -t 2:8300 $IMG && ";
// A volume made on its own ($VOL), broken, then put into an MBR disk at LBA 2048.
std::string InMbrDisk(const std::string& type, const std::string& partitionSize, const std::string& volume) {
    return "truncate -s 64M $IMG && printf 'start=2048, size=" + partitionSize + ", type=" + type +
           "\\n' | sfdisk $IMG && rm -f $VOL && " + volume + " && dd if=$VOL of=$IMG bs=512 seek=2048 conv=notrunc";
}
std::string Poke(uint64_t offset, const std::string& bytes, const std::string& file = "$IMG") {
    return " && printf '" + bytes + "' | dd of=" + file + " bs=1 seek=" + std::to_string(offset) + " conv=notrunc";
}
const std::string kFat32 = "truncate -s 40M $VOL && mkfs.fat -F 32 -h 2048 $VOL";
const std::string kExFat = "truncate -s 8M $VOL && mkfs.exfat $VOL";
const std::string kNtfs = "truncate -s 8M $VOL && mkntfs -q -F -Q -p 2048 $VOL";
constexpr uint64_t kBackupArray = (40960 - 33) * 512;

struct Disk {
    const char* name;
    std::string make;         // shell commands; $IMG is the disk, $VOL a scratch volume
    bool fixGptCrcs = false;  // the damage changed both arrays: their checksums are made to fit again
};

const std::vector<Disk>& Disks() {
    static const std::vector<Disk> disks = {
        {"gpt-clean", kGpt + "true"},
        {"gpt-backup-moved", kGpt + "sfdisk --relocate gpt-bak-mini $IMG"},
        {"gpt-grown", kGpt + "truncate -s 24M $IMG"},
        {"gpt-backup-array-corrupt", kGpt + "true" + Poke(kBackupArray + 200, "damage")},
        // Entry 1 ends at LBA 40950 in both arrays, past the last usable LBA 40926.
        {"gpt-partition-past-last-usable",
         kGpt + "true" + Poke(2 * 512 + 128 + 40, "\\366\\237") + Poke(kBackupArray + 128 + 40, "\\366\\237"), true},
        {"gpt-hybrid", kGpt + "sgdisk -h 1 $IMG"},
        {"gpt-hybrid-entry-moved", kGpt + "sgdisk -h 1 $IMG" + Poke(446 + 16 + 9, "\\011")},
        {"gpt-protective-mbr-size", kGpt + "true" + Poke(446 + 12, "\\000\\020\\000\\000")},
        // The boot flag set on the 0xEE entry, a second 0xEE entry, and
        // partition 1's first sector overwritten with text.
        {"gpt-protective-flags-basic-data-text",
         kGpt + "true" + Poke(446, "\\200") + Poke(446 + 16 + 4, "\\356") + Poke(2048 * 512, "not a boot sector")},
        {"fat32-clean", InMbrDisk("c", "81920", kFat32)},
        {"fat32-backup-differs", InMbrDisk("c", "81920", kFat32 + Poke(6 * 512 + 3, "X", "$VOL"))},
        {"fat32-fsinfo-broken", InMbrDisk("c", "81920", kFat32 + Poke(512 + 484, "XXXX", "$VOL"))},
        // FAT32 with hidden sectors 0 in an NTFS-typed partition larger than the volume by 2 MiB.
        {"fat32-hidden-type-unused", InMbrDisk("7", "86016", "truncate -s 40M $VOL && mkfs.fat -F 32 -h 0 $VOL")},
        {"exfat-clean", InMbrDisk("7", "16384", kExFat)},
        {"exfat-checksum-broken", InMbrDisk("7", "16384", kExFat + Poke(11 * 512, "XXXX", "$VOL"))},
        // exFAT in a FAT32-typed partition half its size, naming a partition offset of 4096.
        {"exfat-larger-than-partition-offset", InMbrDisk("c", "8192", kExFat + Poke(0x41, "\\020", "$VOL"))},
        // NTFS whose volume runs past its partition; NTFS whose backup (its volume's last sector) differs.
        {"ntfs-larger-than-partition", InMbrDisk("7", "8192", kNtfs)},
        {"ntfs-backup-differs", InMbrDisk("7", "16384", kNtfs + Poke(16383 * 512 + 3, "X", "$VOL"))},
        // FAT16 of 1024-byte sectors on a disk of 512-byte sectors, its boot signature wiped.
        {"fat16-sector-size-signature",
         InMbrDisk("6", "32768",
                   "truncate -s 16M $VOL && mkfs.fat -F 16 -S 1024 -h 2048 $VOL" + Poke(510, "\\000\\000", "$VOL"))},
        // The MBR chain: three logicals whose EPBRs sfdisk puts at 18432, 28672
        // and 38912; the last one's link is made to lead back to the second.
        // Two primaries are active and an empty entry has the flag 0x01.
        {"mbr-chain-loop-flags",
         "truncate -s 64M $IMG && printf 'start=2048, size=8192, type=c, bootable\\nstart=10240, size=8192, "
         "type=7\\nstart=18432, type=5\\nsize=8192, type=83\\nsize=8192, type=83\\nsize=8192, type=83\\n' | "
         "sfdisk $IMG" +
             Poke(446 + 16, "\\200") + Poke(446 + 48, "\\001") + Poke(38912 * 512 + 446 + 16 + 4, "\\005") +
             Poke(38912 * 512 + 446 + 16 + 8, "\\000\\050")},
        // A link that leaves the extended partition: EPBR 1 names an EPBR at 40 MiB.
        {"mbr-chain-link-outside",
         "truncate -s 64M $IMG && printf 'start=2048, size=8192, type=c\\nstart=10240, size=30720, type=5\\n"
         "size=8192, type=83\\nsize=8192, type=83\\n' | sfdisk $IMG" +
             Poke(uint64_t{10240} * 512 + 446 + 16 + 8, "\\000\\240\\000\\000")},
        // A disk of 2200 GiB whose second entry (put there by dd, as sfdisk
        // refuses it) starts at 4294901760 and runs 131072 sectors.
        {"mbr-beyond-2tib", "truncate -s 2200G $IMG && printf 'start=2048, size=8192, type=7\\n' | sfdisk $IMG" +
                                Poke(446 + 16 + 4, "\\203") +
                                Poke(446 + 16 + 8, "\\000\\000\\377\\377\\000\\000\\002\\000")},
    };
    return disks;
}

// Makes the array checksums of both headers, and then the headers' own, fit
// the arrays again after damage to both arrays.
void FixGptCrcs(const std::string& path) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    for (uint64_t header : {uint64_t{1}, uint64_t{40959}}) {
        uint8_t h[92], array[128 * 128];
        file.seekg(static_cast<std::streamoff>(header * 512));
        file.read(reinterpret_cast<char*>(h), sizeof h);
        uint64_t arrayLba = 0;
        for (int i = 7; i >= 0; --i) arrayLba = arrayLba << 8 | h[72 + i];
        file.seekg(static_cast<std::streamoff>(arrayLba * 512));
        file.read(reinterpret_cast<char*>(array), sizeof array);
        auto put = [&](int at, uint32_t v) {
            for (int i = 0; i < 4; ++i) h[at + i] = static_cast<uint8_t>(v >> (8 * i));
        };
        put(88, Crc32(array, sizeof array));
        put(16, 0);
        put(16, Crc32(h, sizeof h));
        file.seekp(static_cast<std::streamoff>(header * 512));
        file.write(reinterpret_cast<const char*>(h), sizeof h);
    }
}

bool Make(const Disk& disk, const std::string& image) {
    const std::string command = "IMG='" + image + "'; VOL='" + image + ".vol'; (" + disk.make + ") >/dev/null 2>&1";
    if (!testimages::Run(command)) return false;
    if (disk.fixGptCrcs) FixGptCrcs(image);
    return true;
}

// The report of `image`, with or without -verify.
std::string Report(const std::string& image, bool verify, const ScratchFolder& dir) {
    const std::string out = dir.File(verify ? "verify.txt" : "plain.txt");
    const ToolRun run = RunTool("-image \"" + image + "\"" + (verify ? " -verify" : "") + " -out \"" + out + "\"", dir);
    EXPECT_EQ(run.exitCode, 0) << image << run.out;
    return golden::ReadFile(out);
}

const char* const kHeading = "Consistency Checks for Disk";

// The section of a -verify report, after checking that the rest of it is the plain report.
std::string Section(const std::string& image, const ScratchFolder& dir) {
    const std::string plain = Report(image, false, dir), verified = Report(image, true, dir);
    const size_t at = verified.find(kHeading);
    if (at == std::string::npos) return "(no section)\n";
    const std::string closing = "\r\n\r\nNo volumes reported by OS";  // what follows each disk in image mode
    const size_t sectionStart = verified.rfind("\r\n\r\n", at);
    const size_t end = verified.find(closing, at);
    EXPECT_EQ(verified.substr(0, sectionStart) + verified.substr(end), plain) << image;
    return golden::Replaced(verified.substr(at, end - at), "\r", "") + "\n";
}

bool HaveTools(const std::string& make) {
    for (const char* tool : {"sgdisk", "sfdisk", "mkfs.fat", "mkfs.exfat", "mkntfs"})
        if (make.find(tool) != std::string::npos && !testimages::HaveTool(tool)) return false;
    return true;
}

}  // namespace

TEST(ConsistencySectionSlow, DamagedDisksAsRecorded) {
#ifdef _WIN32
    GTEST_SKIP() << "the disks are made by Linux tools";
#endif
    ScratchFolder dir("layscan-verify");
    std::string text;
    for (const Disk& disk : Disks()) {
        if (!HaveTools(disk.make)) GTEST_SKIP() << "a tool for " << disk.name << " is not installed";
        const std::string image = dir.File(std::string(disk.name) + ".img");
        ASSERT_TRUE(Make(disk, image)) << disk.name;
        // An exFAT boot checksum covers the volume serial number, which mkfs.exfat draws at random.
        text += "== " + std::string(disk.name) + "\n" +
                std::regex_replace(Section(image, dir), std::regex("(checksum|begins) 0x[0-9A-F]{8}"), "$1 0x(serial)");
    }
    golden::ExpectMatches("consistency-checks.txt", text);
}

// Which peer message stands for which of our warnings, on which disks.
struct Agreement {
    const char* peer;    // run on $IMG, or on $VOL, the partition at LBA 2048 cut out of it
    const char* theirs;  // a pattern of the peer's output
    const char* ours;    // a pattern of our section
    const char* disks;   // the disk names that start with this
};

TEST(ConsistencySectionSlow, WarningsWhereThePeersReportTheProblem) {
#ifdef _WIN32
    GTEST_SKIP() << "the peers are Linux tools";
#endif
    const Agreement agreements[] = {
        {"sgdisk -v $IMG", "doesn't reside\nat the end of the disk", "not at the disk's last sector", "gpt-"},
        {"sgdisk -v $IMG", "doesn't reside\nat the end of the disk", "more than the GPT header says", "gpt-"},
        {"sgdisk -v $IMG", "CRC for the backup partition table is invalid", "Backup GPT entry array .* differs",
         "gpt-"},
        {"sgdisk -v $IMG", "Secondary partition table overlaps the last partition", "after the last usable LBA",
         "gpt-"},
        {"sgdisk -v $IMG", "Mismatched GPT and MBR partition", "matches no GPT partition's extent", "gpt-"},
        {"fdisk -l $IMG", "GPT PMBR size mismatch", "Protective MBR entry 0 \\(0xEE\\) covers", "gpt-"},
        {"fsck.fat -n $VOL", "differences between boot sector and its backup", "differs from its backup", "fat32-"},
        {"fsck.fat -n $VOL", "FSINFO sector has bad magic", "its FSInfo sector", "fat32-"},
        {"fsck.exfat -n $VOL", "checksum of boot region is not correct", "boot checksum sector", "exfat-"},
    };
    ScratchFolder dir("layscan-verify-peers");
    int compared = 0;
    for (const Disk& disk : Disks()) {
        const std::string name = disk.name;
        const std::string image = dir.File(name + ".img"), volume = image + ".vol";
        bool made = false;
        std::string section;
        for (const Agreement& a : agreements) {
            const std::string peer = std::string(a.peer).substr(0, std::string(a.peer).find(' '));
            if (name.rfind(a.disks, 0) != 0 || !HaveTools(disk.make) || !testimages::HaveTool(peer)) continue;
            if (!made) {
                ASSERT_TRUE(Make(disk, image)) << name;
                testimages::Run("dd if='" + image + "' of='" + volume + "' bs=512 skip=2048");
                section = Section(image, dir);
                made = true;
            }
            const std::string said = testimages::Capture(
                "(" +
                golden::Replaced(golden::Replaced(a.peer, "$IMG", "'" + image + "'"), "$VOL", "'" + volume + "'") +
                " 2>&1)");
            const bool theyReport = std::regex_search(said, std::regex(a.theirs));
            const bool weWarn = std::regex_search(section, std::regex(std::string("WARNING: .*") + a.ours));
            EXPECT_EQ(weWarn, theyReport) << name << ": " << a.peer << " / " << a.theirs << "\n" << said << section;
            ++compared;
        }
    }
    if (compared == 0) GTEST_SKIP() << "no peer tool is installed";
}
