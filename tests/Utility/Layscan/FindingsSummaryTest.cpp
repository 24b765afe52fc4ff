// The console of whole runs, in process: options with two dashes, --version,
// and the findings summary after the run's own lines (one disk, several
// disks, a disk whose report ended early, a report that could not be
// written), or without it under -quiet. tests/golden/console-summary.txt
// holds the command lines, each with its exit code, console and error stream.

#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <sstream>

#include "Base/Dev/Result.h"
#include "Utility/Layscan/Layscan.h"
#include "Utility/Layscan/Os/DriveConsole.h"
#include "support/GoldenFile.h"
#include "support/HostileDisks.h"
#include "support/ScratchFolder.h"

namespace {

// Words at blanks: the paths of these command lines hold none.
std::vector<std::string> Words(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> words{"layscan"};
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

// The summary's counts, summed over its disks, are the report's own finding lines.
void ExpectCountsOfReport(const std::string& console, const std::string& reportPath) {
    const std::string report = golden::ReadFile(reportPath);
    if (report.empty() || console.find("\nReport: ") == std::string::npos) return;  // -quiet
    uint64_t told[2] = {}, written[2] = {};
    const std::regex counts(", (\\d+) warnings?, (\\d+) errors?");
    for (std::sregex_iterator it(console.begin(), console.end(), counts), end; it != end; ++it)
        told[0] += std::stoull((*it)[1]), told[1] += std::stoull((*it)[2]);
    for (const std::string& line : golden::Lines(report))
        written[0] += line.rfind("WARNING", 0) == 0, written[1] += line.rfind("ERROR", 0) == 0;
    EXPECT_EQ(told[0], written[0]) << console;
    EXPECT_EQ(told[1], written[1]) << console;
}

TEST(FindingsSummary, ConsoleOfWholeRuns) {
    ScratchFolder dir("layscan_summary");
    std::vector<DriveSlot> drives;
    const std::pair<unsigned, std::string> onDrives[] = {
        {0, "mbr-chain-loop-to-first"}, {1, "image-1-byte"}, {2, "gpt-entry-beyond-disk"}, {5, "gpt-entry-size-8"}};
    for (const auto& [number, name] : onDrives)
        for (const hostile::Case& c : hostile::Cases())
            if (c.name == name) {
                const std::string drive = dir.File("drive" + std::to_string(number));
                c.make(drive);
                c.make(dir.File(name));
                drives.push_back({number, Widen(drive)});
            }
    ASSERT_EQ(drives.size(), 4u);
    const auto fakeDrives = [&] { return drives; };

    std::string usage, text;
    for (std::string line : golden::Lines(golden::ReadFile(LAYSCAN_SOURCE_DIR "/tests/golden/console-summary.txt"))) {
        if (!line.starts_with("== ")) continue;
        line = line.substr(3, line.rfind(": exit") - 3);
        const std::vector<std::string> words =
            Words(golden::Replaced(golden::Replaced(line, "DIR/", dir.File("")), "SAMPLES/",
                                   LAYSCAN_SOURCE_DIR "/samples/"));
        std::vector<const char*> argv;
        for (const std::string& word : words) argv.push_back(word.c_str());
        std::ostringstream console, errors;
        const int code = Layscan::RunLayscan(int(argv.size()), argv.data(), console, errors, fakeDrives);
        std::string out = console.str();
        if (line == "--help") usage = out;
        else if (!usage.empty()) out = golden::Replaced(out, usage, "[the usage of -help]\n");
        // Windows shows a drive by its number alone; Linux adds the device path.
        for (const DriveSlot& drive : drives) out = golden::Replaced(out, DriveConsoleSuffix(drive.path), "");
        text += "== " + line + ": exit " + std::to_string(code) + "\n" + out;
        ExpectCountsOfReport(out, dir.File("r.txt"));
        std::remove(dir.File("r.txt").c_str());
        for (const std::string& error : golden::Lines(errors.str())) text += "stderr: " + error + "\n";
    }
    text = golden::Replaced(golden::Replaced(text, dir.File(""), "DIR/"), LAYSCAN_SOURCE_DIR "/samples/", "SAMPLES/");
    golden::ExpectMatches("console-summary.txt", std::regex_replace(text, std::regex("\\.cpp\\(\\d+\\)"), ".cpp"));
}

}  // namespace
