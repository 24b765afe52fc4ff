// -verify on disks that the real tools made and dd then broke. The golden file holds each disk's
// "Consistency Checks" section; the report before it must be the plain report, byte for byte. The
// peers then judge the same disks: each of our warnings is present exactly when the peer reports
// the matching problem.

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "support/FileBytes.h"
#include "support/GoldenFile.h"
#include "support/GptTestImage.h"
#include "support/RunTool.h"
#include "support/VolumeImages.h"

namespace {

struct Disk {
    std::string name;
    std::string make;         // shell lines; $IMG is the disk, $VOL a scratch volume
    bool fixGptCrcs = false;  // the damage changed both arrays: their checksums are made to fit again
};

// The disks of tests/golden/consistency-disks.txt, and the helpers their lines use.
std::vector<Disk> Disks(std::string& helpers) {
    const std::string text = golden::ReadFile(LAYSCAN_SOURCE_DIR "/tests/golden/consistency-disks.txt");
    std::vector<Disk> disks;
    std::string* into = nullptr;
    for (const std::string& line : golden::Lines(text)) {
        if (line.starts_with("== ")) {
            const Disk disk{line.substr(3, line.find(' ', 3) - 3), "", line.ends_with(" fix-gpt-crcs")};
            into = disk.name == "helpers" ? &helpers : &disks.emplace_back(disk).make;
        } else if (into && !line.empty() && line[0] != '#') {
            *into += line + "\n";
        }
    }
    return disks;
}

bool Make(const Disk& disk, const std::string& helpers, const std::string& image) {
    const std::string command = "IMG='" + image + "'; VOL='" + image + ".vol'; rm -f \"$IMG\" \"$VOL\"; (set -e\n" +
                                helpers + disk.make + ") >/dev/null 2>&1";
    if (!testimages::Run(command)) return false;
    if (disk.fixGptCrcs) {  // both headers' array checksums, then their own, made to fit again
        gpttest::SyntheticGpt gpt(512, 40960);
        gpt.bytes = ReadFileBytes(image);
        gpt.Finish();
        WriteFileBytes(image, gpt.bytes);
    }
    return true;
}

// The report of `image`, with or without -verify, and the run's exit code.
std::string Report(const std::string& image, bool verify, const ScratchFolder& dir, int& exitCode) {
    const std::string out = dir.File(verify ? "verify.txt" : "plain.txt");
    const ToolRun run = RunTool("-image \"" + image + "\"" + (verify ? " -verify" : "") + " -out \"" + out + "\"", dir);
    exitCode = run.exitCode;
    return golden::ReadFile(out);
}

// The section of a -verify report, after checking that the rest of it is the
// plain report and that both runs end alike.
std::string Section(const std::string& image, const ScratchFolder& dir) {
    int code = 0, plainCode = 0;
    const std::string plain = Report(image, false, dir, plainCode), verified = Report(image, true, dir, code);
    EXPECT_EQ(code, plainCode) << image;
    const size_t at = verified.find("Consistency Checks for Disk");
    if (at == std::string::npos) return "(no section)\n";
    const std::string closing = "\r\n\r\nNo volumes reported by OS";  // what follows each disk in image mode
    const size_t sectionStart = verified.rfind("\r\n\r\n", at);
    const size_t end = std::min(verified.find(closing, at), verified.size());
    EXPECT_EQ(verified.substr(0, sectionStart) + verified.substr(end), plain) << image;
    return golden::Replaced(verified.substr(at, end - at), "\r", "") + "\n" +
           (code ? "(the report ends here; exit code " + std::to_string(code) + ")\n" : "");
}

}  // namespace

// Each disk's section, then on the same disk each row of tests/golden/consistency-peers.txt whose
// pattern its name starts with: which peer message stands for which of our warnings.
TEST(ConsistencySectionSlow, DamagedDisksAsRecordedAndAsThePeersSeeThem) {
#ifdef _WIN32
    GTEST_SKIP() << "the disks are made by Linux tools";
#endif
    for (const char* tool : {"sgdisk", "sfdisk", "mkfs.fat", "mkfs.exfat", "mkntfs"})
        if (!testimages::HaveTool(tool)) GTEST_SKIP() << tool << " is not installed: it makes the disks";
    ScratchFolder dir("layscan-verify");
    std::string text, helpers;
    for (const Disk& disk : Disks(helpers)) {
        const std::string image = dir.File(disk.name + ".img"), volume = image + ".vol";
        ASSERT_TRUE(Make(disk, helpers, image)) << disk.name;
        const std::string section = Section(image, dir);
        // An exFAT boot checksum covers the volume serial number, which mkfs.exfat draws at random.
        text += "== " + disk.name + "\n" +
                std::regex_replace(section, std::regex("(checksum|begins) 0x[0-9A-F]{8}"), "$1 0x(serial)");
        bool cut = false;
        for (const auto& row : golden::Rows("consistency-peers.txt")) {
            const std::string peer = row[1].substr(0, row[1].find(' '));
            if (!std::regex_match(disk.name, std::regex(row[0] + ".*")) || !testimages::HaveTool(peer)) continue;
            // Only disks a peer judges get their volume cut out: others are sparse and terabytes large.
            if (!std::exchange(cut, true))
                testimages::Run("dd if='" + image + "' of='" + volume + "' bs=512 skip=2048");
            const std::string command =
                golden::Replaced(golden::Replaced(row[1], "$IMG", "'" + image + "'"), "$VOL", "'" + volume + "'");
            const std::string said = testimages::Capture("(" + command + " 2>&1)");
            const bool weWarn = std::regex_search(section, std::regex("WARNING: .*" + row[3]));
            EXPECT_EQ(weWarn, std::regex_search(said, std::regex(row[2])))
                << disk.name << ": " << row[1] << " / " << row[2] << "\n" << said << section;
        }
    }
    golden::ExpectMatches("consistency-checks.txt", text);
}
