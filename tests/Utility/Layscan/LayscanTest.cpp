#include "Utility/Layscan/Layscan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <new>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <typeinfo>

#include "Base/Dev/AppConfig.h"
#include "Base/Dev/AssertionFailure.h"
#include "Base/Dev/MachineSummary.h"
#include "Base/Dev/Result.h"
#include "SectorBuffer/Dev/SectorFile.h"
#include "Utility/Layscan/Os/DriveConsole.h"
#include "support/HostileDisks.h"
#include "support/RunTool.h"

namespace {

// The other orders of the modes are rows of tests/golden/console-summary.txt; a device, which the
// console runs cannot open, comes before a sector file and an image.
TEST(Layscan, DeviceBeforeFileAndImageAndAnEmptyOneMeansAllDrives) {
    Config::AppConfig config, emptyDevice;
    for (const char* name : {"image", "file", "device"}) config.Set(name, "1");
    EXPECT_EQ(Layscan::SelectRunMode(config, Layscan::IsAllByDefault(config)), Layscan::RunMode::OneDrive);
    emptyDevice.Set("device", "");
    EXPECT_TRUE(Layscan::IsAllByDefault(emptyDevice));
}

TEST(Layscan, EachExceptionKindHasItsCode) {
    const std::pair<std::exception_ptr, uint32_t> cases[] = {
        {std::make_exception_ptr(std::bad_alloc()), 0xEBAB03F8},
        {std::make_exception_ptr(std::out_of_range("x")), 0xEBAB03F9},
        {std::make_exception_ptr(std::logic_error("x")), 0xEBAB03F9},
        {std::make_exception_ptr(std::runtime_error("x")), 0xEBAB03FA},
        {std::make_exception_ptr(CheckFailure("f", "file", 1, "x")), 0xEBAB03FA},
        {std::make_exception_ptr(std::bad_cast()), 0xEBAB0013},
        {std::make_exception_ptr(Result(SECTORBUFFER_READ_EXCEPTION)), 0xEBAB0013},
        {std::make_exception_ptr(42), 0xEBAB00CC},
    };
    for (const auto& [failure, code] : cases) {
        const Result recorded = Layscan::EntryFailure(failure);
        EXPECT_EQ(recorded.Code(), code);
        EXPECT_EQ(recorded.Function(), "main");
        EXPECT_EQ(recorded.Args(), (std::vector<std::wstring>{L"Utility/Layscan/Layscan", L"1636"}));
        EXPECT_EQ(Layscan::ExitCodeOf(recorded), 1);
    }
    EXPECT_EQ(Layscan::ExitCodeOf(Result(0x20000001)), 0);
}

// The summary's counts, summed over its disks, are the report's own finding lines.
void ExpectCountsOfReport(const std::string& console, const std::string& report) {
    if (console.find("\nReport: ") == std::string::npos) return;  // -quiet
    uint64_t told[2] = {}, written[2] = {};
    const std::regex counts(", (\\d+) warnings?, (\\d+) errors?");
    for (std::sregex_iterator it(console.begin(), console.end(), counts), end; it != end; ++it)
        told[0] += std::stoull((*it)[1]), told[1] += std::stoull((*it)[2]);
    for (const std::string& line : golden::Lines(report))
        written[0] += line.rfind("WARNING", 0) == 0, written[1] += line.rfind("ERROR", 0) == 0;
    EXPECT_EQ(told[0], written[0]) << console;
    EXPECT_EQ(told[1], written[1]) << console;
}

// Whole runs as the entry point makes them, in the scratch folder (where a default report lands): each
// "== ARGS: exit N" line of tests/golden/layscan-console.txt and console-summary.txt with its exit code,
// console and error stream. The first golden's lines run with -quiet, so that the console holds the run's
// own lines only, and show the report's lines too; there a refused -save comes before the runs that read its
// input, which must find it unchanged. The second one's consoles end with the findings summary. The
// drives are hostile disks in files, captured with -save into a folder of their own or failing to.
TEST(Layscan, ConsoleOfWholeRuns) {
    const ScratchFolder dir("layscan_console");
    const std::string zero = dir.Write("zero.img", std::string(1 << 20, '\0'));
    dir.Write("junk.bin", std::string(1024, 'x'));
    auto writer = SectorFile::Create(Widen(dir.File("zero.sf")), 512, 2048);
    writer->Write(0, 1, std::vector<uint8_t>(512, 0).data());
    writer->Close();
    std::error_code linked;  // -save naming the input through a hard link is refused as well
    std::filesystem::create_hard_link(zero, dir.File("link.img"), linked);
    std::vector<DriveSlot> drives;
    const std::pair<unsigned, std::string> onDrives[] = {
        {0, "mbr-chain-loop-to-first"}, {1, "image-1-byte"}, {2, "gpt-entry-beyond-disk"}, {5, "gpt-entry-size-8"}};
    for (const auto& [number, name] : onDrives)
        for (const hostile::Case& c : hostile::Cases())
            if (c.name == name) {
                c.make(dir.File("drive" + std::to_string(number)));
                c.make(dir.File(name));
                drives.push_back({number, Widen(dir.File("drive" + std::to_string(number)))});
            }
    ASSERT_EQ(drives.size(), 4u);
    struct BackTo {
        std::filesystem::path folder;
        ~BackTo() { std::filesystem::current_path(folder); }
    } backTo{std::filesystem::current_path()};
    std::filesystem::current_path(dir.Path());
    const std::string samples = LAYSCAN_SOURCE_DIR "/samples/";
    for (const std::string name : {"layscan-console.txt", "console-summary.txt"}) {
        std::string usage, text;
        for (std::string line : golden::Lines(golden::ReadFile(LAYSCAN_SOURCE_DIR "/tests/golden/" + name))) {
            if (!line.starts_with("== ")) continue;
            line = line.substr(3, line.rfind(": exit") - 3);
            const bool quiet = name == "layscan-console.txt";
            std::istringstream in((quiet ? "-quiet " : "") +
                                  golden::Replaced(golden::Replaced(line, "DIR/", dir.File("")), "SAMPLES/", samples));
            std::vector<std::string> words{"layscan"};
            for (std::string word; in >> word; words.push_back(word)) std::erase(word, '"');  // paths hold no blank
            std::vector<const char*> argv;
            for (const std::string& word : words) argv.push_back(word.c_str());
            std::ostringstream console, errors;
            const int code = Layscan::RunLayscan(int(argv.size()), argv.data(), console, errors, [&] { return drives; });
            std::string out = console.str();
            if (usage.empty()) usage = out;
            else out = golden::Replaced(out, usage, "[the usage of -help]\n");
            // Windows shows a drive by its number alone; Linux adds the device path.
            for (const DriveSlot& drive : drives) out = golden::Replaced(out, DriveConsoleSuffix(drive.path), "");
            text += "== " + line + ": exit " + std::to_string(code) + "\n" + out;
            for (const std::string& error : golden::Lines(errors.str())) text += "stderr: " + error + "\n";
            for (const char* report : {"layscan.txt", "report.txt", "r.txt"}) {
                const std::string written = golden::ReadFile(dir.File(report));
                if (written.empty()) continue;
                ExpectCountsOfReport(out, written);
                for (const std::string& reportLine : golden::Lines(written))
                    if (quiet) text += "  |" + (reportLine.empty() ? "" : " " + reportLine) + "\n";
                std::filesystem::remove(dir.File(report));
            }
        }
        // Source lines of failed assertions move with every edit, and the system words its own reasons.
        text = golden::Replaced(golden::Replaced(text, dir.File(""), "DIR/"), samples, "SAMPLES/");
        std::replace(text.begin(), text.end(), '\\', '/');  // the folders of Windows paths
        text = std::regex_replace(text, std::regex("\\.cpp\\(\\d+\\)"), ".cpp");
        golden::ExpectMatches(name, std::regex_replace(text, std::regex("(unable to write sector file [^\\n]*\\n\\t)[^\\n]*"),
                                                       "$1[the system's reason]"));
    }
}

TEST(Layscan, AllDrivesCompletes) {
    ScratchFolder dir("layscan_tool_all");
    const ToolRun run = RunTool("-all -out \"" + dir.File("all.txt") + "\"", dir);
    EXPECT_EQ(run.exitCode, 0) << run.out;
    EXPECT_EQ(run.out.rfind("Getting partition info from all drives \n", 0), 0u) << run.out;
    const std::string report = golden::ReadFile(dir.File("all.txt"));
    // The head (machine summary) comes first, the volumes section last.
    const std::string summary = Narrow(GetMachineSummaryText());
    EXPECT_EQ(report.rfind(summary.substr(0, summary.find('\n')) + "\r\n", 0), 0u) << report;
    EXPECT_TRUE(std::regex_search(report, std::regex("(No volumes reported|Volumes Reported) by OS\r\n"))) << report;
}

}  // namespace
