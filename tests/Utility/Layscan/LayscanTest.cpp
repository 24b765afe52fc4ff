#include "Utility/Layscan/Layscan.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <new>
#include <sstream>
#include <stdexcept>
#include <typeinfo>

#include "Base/Dev/AppConfig.h"
#include "Base/Dev/AssertionFailure.h"
#include "Base/Dev/MachineSummary.h"
#include "SectorBuffer/Dev/SectorFile.h"
#include "Utility/Layscan/Os/OsVolumeList.h"
#include "Utility/Layscan/Report/ReportStream.h"
#include "support/RunTool.h"

namespace {

using Layscan::RunMode;

TEST(Layscan, FirstGivenModeWinsAndNoneMeansAllDrives) {
    const struct {
        std::vector<const char*> given;
        bool allByDefault;
        RunMode mode;
    } cases[] = {
        {{}, true, RunMode::AllDrives},
        {{"out", "sectorsize"}, true, RunMode::AllDrives},
        {{"all", "device", "file", "image"}, false, RunMode::AllDrives},
        {{"device", "file", "image"}, false, RunMode::OneDrive},
        {{"file", "image"}, false, RunMode::SectorFile},
        {{"image", "sectorsize"}, false, RunMode::Image},
    };
    for (const auto& c : cases) {
        Config::AppConfig config;
        for (const char* name : c.given) config.Set(name, "1");
        EXPECT_EQ(Layscan::IsAllByDefault(config), c.allByDefault);
        EXPECT_EQ(Layscan::SelectRunMode(config, c.allByDefault), c.mode);
    }
    Config::AppConfig emptyValue;
    emptyValue.Set("device", "");
    EXPECT_TRUE(Layscan::IsAllByDefault(emptyValue));
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

// RunReport and the report head, without the command line in front of them.
TEST(Layscan, RunReportWithoutAToolRun) {
    ScratchFolder dir("layscan_runreport");
    auto run = [&](const char* name, const std::string& value, const std::string& console, const std::string& report) {
        Config::AppConfig config;
        if (name) config.Set(name, value);
        std::ostringstream out;
        ReportStream file(dir.File("report.txt"));
        const int code = Layscan::RunReport(config, false, file, out);
        file.Close();
        EXPECT_EQ(out.str().substr(0, console.size()), console);
        EXPECT_EQ(golden::ReadFile(dir.File("report.txt")), report);
        return std::make_pair(code, out.str());
    };
    const std::string absent = dir.File("absent.img");
    EXPECT_EQ(run("image", absent, "Error: unable to open image " + absent + "\n", "").first, 1);
    // A missing drive: the system's reason follows on an indented line; no volumes section.
    const auto [code, console] = run("device", "999", "Error connecting to device ", "");
    EXPECT_EQ(code, 1);
    EXPECT_NE(console.find("\n\t"), std::string::npos) << console;

    ReportStream head(dir.File("head.txt"));
    Layscan::WriteReportHead(head);
    head.Close();
    // The memory figure moves between two summaries of one process.
    const auto withoutMemoryLine = [](std::string text) {
        const size_t at = text.find("Memory in use:");
        return at == std::string::npos ? text : text.erase(at, text.find('\n', at) - at);
    };
    const std::string expected = Narrow(GetMachineSummaryText()) + "\n\n\n" + Narrow(GetVdsAlignmentText()) + "\n";
    EXPECT_EQ(withoutMemoryLine(golden::ReadFile(dir.File("head.txt"))),
              withoutMemoryLine(golden::Replaced(expected, "\n", "\r\n")));
}

// The built executable as a user runs it: each command line of
// tests/golden/layscan-console.txt with its exit code, console, error stream and report.
// Each line runs with -quiet, so the console holds the run's own lines only.
TEST(Layscan, ToolConsoleAndExitCodes) {
    ScratchFolder dir("layscan_tool");
    const std::string zero = dir.Write("zero.img", std::string(1 << 20, '\0'));
    dir.Write("junk.bin", std::string(1024, 'x'));
    auto writer = SectorFile::Create(Widen(dir.File("zero.sf")), 512, 2048);
    writer->Write(0, 1, std::vector<uint8_t>(512, 0).data());
    writer->Close();
    const std::string usage = RunTool("-help", dir).out;
    std::string text;
    for (std::string arguments : golden::Lines(golden::ReadFile(LAYSCAN_SOURCE_DIR "/tests/golden/layscan-console.txt"))) {
        if (!arguments.starts_with("== ")) continue;
        arguments = arguments.substr(3, arguments.rfind(": exit") - 3);
        const std::string report = arguments.find("-out") == std::string::npos ? "layscan.txt" : "report.txt";
        std::remove(dir.File(report).c_str());
        const ToolRun run = RunTool("-quiet " + golden::Replaced(arguments, "DIR/", dir.File("")), dir);
        const std::string out =
            arguments == "-help" ? run.out : golden::Replaced(run.out, usage, "[the usage of -help]\n");
        text += "== " + arguments + ": exit " + std::to_string(run.exitCode) + "\n" + out;
        for (const std::string& line : golden::Lines(run.err)) text += "stderr: " + line + "\n";
        for (const std::string& line : golden::Lines(golden::ReadFile(dir.File(report))))
            text += "  |" + (line.empty() ? "" : " " + line) + "\n";
    }
    golden::ExpectMatches("layscan-console.txt", golden::Replaced(text, dir.File(""), "DIR/"));
}

TEST(Layscan, AllDrivesCompletes) {
    ScratchFolder dir("layscan_tool_all");
    const ToolRun run = RunTool("-all -out \"" + dir.File("all.txt") + "\"", dir);
    EXPECT_EQ(run.exitCode, 0) << run.out;
    EXPECT_EQ(run.out.rfind("Getting partition info from all drives \n", 0), 0u) << run.out;
    const std::string report = golden::ReadFile(dir.File("all.txt"));
    // The head (machine summary) comes first, the volumes section last.
    EXPECT_NE(report.rfind("\r\n\r\n\r\n", 0), 0u);
    EXPECT_TRUE(report.find("No volumes reported by OS\r\n") != std::string::npos ||
                report.find("Volumes Reported by OS\r\n") != std::string::npos)
        << report;
}

}  // namespace
