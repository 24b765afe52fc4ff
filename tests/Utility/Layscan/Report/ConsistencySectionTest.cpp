// -verify on disks that the real tools made and dd then broke. The golden file holds each disk's
// "Consistency Checks" section; the report before it must be the plain report, byte for byte. The
// peers then judge the same disks: each of our warnings is present exactly when the peer reports
// the matching problem.

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>
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
    std::ifstream file(LAYSCAN_SOURCE_DIR "/tests/golden/consistency-disks.txt");
    std::vector<Disk> disks;
    std::string* into = nullptr;
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("== ", 0) == 0) {
            std::istringstream heading(line.substr(3));
            Disk disk;
            heading >> disk.name;
            disk.fixGptCrcs = heading >> line && line == "fix-gpt-crcs";
            if (disk.name == "helpers") {
                into = &helpers;
                continue;
            }
            disks.push_back(disk);
            into = &disks.back().make;
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

bool HaveMakers() {
    for (const char* tool : {"sgdisk", "sfdisk", "mkfs.fat", "mkfs.exfat", "mkntfs"})
        if (!testimages::HaveTool(tool)) return false;
    return true;
}

}  // namespace

TEST(ConsistencySectionSlow, DamagedDisksAsRecorded) {
#ifdef _WIN32
    GTEST_SKIP() << "the disks are made by Linux tools";
#endif
    if (!HaveMakers()) GTEST_SKIP() << "a tool that makes the disks is not installed";
    ScratchFolder dir("layscan-verify");
    std::string text, helpers;
    for (const Disk& disk : Disks(helpers)) {
        const std::string image = dir.File(disk.name + ".img");
        ASSERT_TRUE(Make(disk, helpers, image)) << disk.name;
        // An exFAT boot checksum covers the volume serial number, which mkfs.exfat draws at random.
        text += "== " + disk.name + "\n" +
                std::regex_replace(Section(image, dir), std::regex("(checksum|begins) 0x[0-9A-F]{8}"), "$1 0x(serial)");
    }
    golden::ExpectMatches("consistency-checks.txt", text);
}

// Which peer message stands for which of our warnings, on which disks: the
// rows of tests/golden/consistency-peers.txt, their fields split at " | ".
std::vector<std::vector<std::string>> Agreements() {
    std::ifstream file(LAYSCAN_SOURCE_DIR "/tests/golden/consistency-peers.txt");
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> fields;
        for (size_t at = 0, bar = 0; bar != std::string::npos; at = bar + 3)
            fields.push_back(line.substr(at, (bar = line.find(" | ", at)) - at));
        if (fields.size() == 4) rows.push_back(fields);
    }
    return rows;
}

TEST(ConsistencySectionSlow, WarningsWhereThePeersReportTheProblem) {
#ifdef _WIN32
    GTEST_SKIP() << "the peers are Linux tools";
#endif
    if (!HaveMakers()) GTEST_SKIP() << "a tool that makes the disks is not installed";
    ScratchFolder dir("layscan-verify-peers");
    int compared = 0;
    std::string helpers;
    for (const Disk& disk : Disks(helpers)) {
        const std::string name = disk.name;
        const std::string image = dir.File(name + ".img"), volume = image + ".vol";
        bool made = false;
        std::string section;
        for (const std::vector<std::string>& row : Agreements()) {
            const std::string peer = row[1].substr(0, row[1].find(' '));
            if (!std::regex_match(name, std::regex(row[0] + ".*")) || !testimages::HaveTool(peer)) continue;
            if (!made) {
                ASSERT_TRUE(Make(disk, helpers, image)) << name;
                testimages::Run("dd if='" + image + "' of='" + volume + "' bs=512 skip=2048");
                section = Section(image, dir);
                made = true;
            }
            const std::string command =
                golden::Replaced(golden::Replaced(row[1], "$IMG", "'" + image + "'"), "$VOL", "'" + volume + "'");
            const std::string said = testimages::Capture("(" + command + " 2>&1)");
            const bool theyReport = std::regex_search(said, std::regex(row[2]));
            const bool weWarn = std::regex_search(section, std::regex("WARNING: .*" + row[3]));
            EXPECT_EQ(weWarn, theyReport) << name << ": " << row[1] << " / " << row[2] << "\n" << said << section;
            ++compared;
        }
    }
    if (compared == 0) GTEST_SKIP() << "no peer tool is installed";
}
