#include "Utility/Layscan/Layscan.h"

#include <gtest/gtest.h>

#include <new>
#include <sstream>
#include <stdexcept>
#include <typeinfo>

#include "Base/Dev/AppConfig.h"
#include "Base/Dev/AssertionFailure.h"
#include "Base/Dev/CommandLine.h"
#include "Base/Dev/MachineSummary.h"
#include "Utility/Layscan/ExtentInfo.h"
#include "Utility/Layscan/ReportStream.h"
#include "support/RunTool.h"
#include "support/ScratchFolder.h"
#include "support/SectorFileWriter.h"

namespace {

using Layscan::RunMode;

Config::AppConfig Given(std::initializer_list<const char*> names) {
    Config::AppConfig config;
    for (const char* name : names) config.Set(name, "1");
    return config;
}

TEST(LayscanRunModeTest, FirstGivenModeWinsAndNoneMeansAllDrives) {
    struct Case {
        std::initializer_list<const char*> given;
        bool allByDefault;
        RunMode mode;
    };
    const Case cases[] = {
        {{}, true, RunMode::AllDrives},
        {{"out"}, true, RunMode::AllDrives},
        {{"sectorsize"}, true, RunMode::AllDrives},
        {{"all", "device", "file", "image"}, false, RunMode::AllDrives},
        {{"all", "file"}, false, RunMode::AllDrives},
        {{"device", "file", "image"}, false, RunMode::OneDrive},
        {{"file", "image"}, false, RunMode::SectorFile},
        {{"image", "sectorsize"}, false, RunMode::Image},
    };
    for (const Case& c : cases) {
        const Config::AppConfig config = Given(c.given);
        const bool allByDefault = Layscan::IsAllByDefault(config);
        EXPECT_EQ(allByDefault, c.allByDefault);
        EXPECT_EQ(Layscan::SelectRunMode(config, allByDefault), c.mode);
    }
    Config::AppConfig emptyValue;
    emptyValue.Set("device", "");
    EXPECT_TRUE(Layscan::IsAllByDefault(emptyValue));
    EXPECT_EQ(Layscan::SelectRunMode(Config::AppConfig(), false), RunMode::Nothing);
}

TEST(LayscanOptionsTest, DefinedInOrderWithTheirDescriptions) {
    Config::AppConfig config;
    std::ostringstream console;
    Config::CommandLine line(config, console);
    Layscan::DefineOptions(line);
    const std::wstring usage = line.UsageText();
    const std::wstring descriptions = usage.substr(usage.find(L"Descriptions:"));
    const std::pair<const wchar_t*, const wchar_t*> options[] = {
        {L"-all", L"Dump all layout information for all drives on machine"},
        {L"-device <device number>", L"The device is specified as the physical device number starting with 0."},
        {L"-file <file path>", L"Path to sector file to be read"},
        {L"-out <file path>", L"Path to output file to be written"},
        {L"-image <image path>", L"Path to a raw disk image or device to be read"},
        {L"-sectorsize <sector size>", L"Sector size of the image in bytes (512 to 32768)"},
    };
    size_t previous = 0;
    for (const auto& [syntax, description] : options) {
        const size_t at = descriptions.find(L"\n  " + std::wstring(syntax) + L" ");
        ASSERT_NE(at, std::wstring::npos) << Narrow(syntax);
        EXPECT_GT(at, previous) << Narrow(syntax);
        previous = at;
        const size_t end = descriptions.find(L'\n', at + 1);
        const std::wstring text = descriptions.substr(at + 1, end - at - 1);
        EXPECT_EQ(text.substr(text.size() - std::wcslen(description)), description);
    }
}

TEST(LayscanEntryFailureTest, EachExceptionKindHasItsCode) {
    struct Case {
        std::exception_ptr failure;
        uint32_t code;
    };
    const Case cases[] = {
        {std::make_exception_ptr(std::bad_alloc()), 0xEBAB03F8},
        {std::make_exception_ptr(std::out_of_range("x")), 0xEBAB03F9},
        {std::make_exception_ptr(std::logic_error("x")), 0xEBAB03F9},
        {std::make_exception_ptr(std::runtime_error("x")), 0xEBAB03FA},
        {std::make_exception_ptr(CheckFailure("f", "file", 1, "x")), 0xEBAB03FA},
        {std::make_exception_ptr(std::bad_cast()), 0xEBAB0013},
        {std::make_exception_ptr(Result(SECTORBUFFER_READ_EXCEPTION)), 0xEBAB0013},
        {std::make_exception_ptr(42), 0xEBAB00CC},
    };
    for (const Case& c : cases) {
        const Result recorded = Layscan::EntryFailure(c.failure);
        EXPECT_EQ(recorded.Code(), c.code);
        EXPECT_EQ(recorded.Function(), "main");
        EXPECT_EQ(recorded.Args(), (std::vector<std::wstring>{L"Utility/Layscan/Layscan", L"1636"}));
        EXPECT_EQ(Layscan::ExitCodeOf(recorded), 1);
    }
    EXPECT_EQ(Layscan::ExitCodeOf(Result(0x20000001)), 0);
}

// RunReport itself, without the command line in front of it.
class LayscanRunReportTest : public ::testing::Test {
protected:
    int Run(const Config::AppConfig& config, bool allByDefault = false) {
        ReportStream out(dir.File("report.txt"));
        const int code = Layscan::RunReport(config, allByDefault, out, console);
        out.Close();
        report = ReadWholeFile(dir.File("report.txt"));
        return code;
    }
    ScratchFolder dir{"layscan_runreport"};
    std::ostringstream console;
    std::string report;
};

TEST_F(LayscanRunReportTest, NoModeWritesOnlyTheVolumesSection) {
    EXPECT_EQ(Run(Config::AppConfig()), 0);
    EXPECT_EQ(report, "\r\n\r\nNo volumes reported by OS\r\n");
    EXPECT_EQ(console.str(), "");
}

TEST_F(LayscanRunReportTest, TheHeadIsSummaryThreeLineEndsAndAlignmentText) {
    ReportStream out(dir.File("head.txt"));
    Layscan::WriteReportHead(out);
    out.Close();
    std::string expected;
    for (char c : Narrow(GetMachineSummaryText()) + "\n\n\n" + Narrow(GetVdsAlignmentText()) + "\n") {
        if (c == '\n') expected += '\r';
        expected += c;
    }
    // The memory figure moves between two summaries of one process.
    const auto withoutMemoryLine = [](std::string text) {
        const size_t at = text.find("Memory in use:");
        return at == std::string::npos ? text : text.erase(at, text.find('\n', at) - at);
    };
    EXPECT_EQ(withoutMemoryLine(ReadWholeFile(dir.File("head.txt"))), withoutMemoryLine(expected));
}

TEST_F(LayscanRunReportTest, AnImageThatCannotBeOpenedFailsTheRun) {
    Config::AppConfig config;
    const std::string path = dir.File("absent.img");
    config.Set("image", path);
    EXPECT_EQ(Run(config), 1);
    EXPECT_EQ(console.str(), "Error: unable to open image " + path + "\n");
    EXPECT_EQ(report, "");
}

TEST_F(LayscanRunReportTest, AMissingDriveFailsTheOneDriveRun) {
    Config::AppConfig config;
    config.Set("device", "999");
    EXPECT_EQ(Run(config), 1);
    EXPECT_EQ(console.str().rfind("Error connecting to device ", 0), 0u) << console.str();
    EXPECT_NE(console.str().find("\n\t"), std::string::npos) << console.str();
    EXPECT_EQ(report, "");  // no volumes section after a failed run
}

// The built executable, as a user runs it.
class LayscanToolTest : public ::testing::Test {
protected:
    ToolRun Run(const std::string& arguments) { return RunTool(arguments, dir); }
    static std::string Quoted(const std::string& path) { return "\"" + path + "\""; }
    ScratchFolder dir{"layscan_tool"};
};

TEST_F(LayscanToolTest, HelpAndInvalidLines) {
    const std::string zero = dir.Write("zero.img", std::string(8192, '\0'));
    struct Case {
        std::string arguments;
        int exitCode;
        std::string consoleStart;
    };
    const Case cases[] = {
        {"-help", 0, "Usage:\n"},
        {"-?", 0, "Usage:\n"},
        {"-bogus -help", 0, "Usage:\n"},
        {"-help -device x", 0, "Usage:\n"},
        {"-bogus", 1, "Error: Command line is not valid\nunknown option - -bogus\nUsage:\n"},
        {"-all stray", 1, "Error: Command line is not valid\nargument not allowed - stray\nUsage:\n"},
        {"-device", 1, "Error: Command line is not valid\nmissing option argument - device\nUsage:\n"},
        {"-all -all", 1, "Error: Command line is not valid\nduplicate option - all\nUsage:\n"},
        {"-device x", 1, "Error: Command line is not valid\ninvalid option argument - x (-device: "},
        {"-file " + Quoted(dir.File("absent.bin")), 1, "Error: Command line is not valid\ninvalid option argument - "},
        {"-image " + Quoted(zero) + " -sectorsize 1000", 1, "Error: Command line is not valid\ninvalid option argument - 1000"},
    };
    for (const Case& c : cases) {
        const ToolRun run = Run(c.arguments);
        EXPECT_EQ(run.exitCode, c.exitCode) << c.arguments;
        EXPECT_EQ(run.out.substr(0, c.consoleStart.size()), c.consoleStart) << c.arguments;
        EXPECT_EQ(run.err, "") << c.arguments;
    }
    const ToolRun hidden = Run("-help+");
    EXPECT_EQ(hidden.exitCode, 0);
    EXPECT_NE(hidden.out.find("-DontInitializeCom"), std::string::npos);
    EXPECT_EQ(Run("-help").out.find("-DontInitializeCom"), std::string::npos);
}

TEST_F(LayscanToolTest, ASectorFileThatIsNotOneFails) {
    const std::string junk = dir.Write("junk.bin", std::string(1024, 'x'));
    const ToolRun run = Run("-file " + Quoted(junk));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out, "Error: unable to open sector file " + junk + "\n");
}

TEST_F(LayscanToolTest, ASectorFileOfZerosGivesOnlyTheVolumesSection) {
    const std::string path = dir.File("zero.sectors");
    SectorFileWriter writer(512, 2048);
    writer.AddSector(0, std::vector<uint8_t>(512, 0));
    writer.Save(path);
    const ToolRun run = Run("-file " + Quoted(path) + " -out " + Quoted(dir.File("file.txt")));
    EXPECT_EQ(run.exitCode, 0) << run.out;
    EXPECT_EQ(run.out, "Getting partition information from sector file " + path + "\n");
    EXPECT_EQ(ReadWholeFile(dir.File("file.txt")), "\r\n\r\nNo volumes reported by OS\r\n");
}

TEST_F(LayscanToolTest, AnAllZeroImageGivesOnlyTheVolumesSection) {
    const std::string zero = dir.Write("zero.img", std::string(1 << 20, '\0'));
    const ToolRun run = Run("-image " + Quoted(zero));
    EXPECT_EQ(run.exitCode, 0) << run.out;
    EXPECT_EQ(run.out, "Getting partition information from image " + zero + "\n");
    EXPECT_EQ(run.err, "");
    // The default report file, in the folder the tool ran in; no head in image mode.
    EXPECT_EQ(ReadWholeFile(dir.File("layscan.txt")), "\r\n\r\nNo volumes reported by OS\r\n");
}

TEST_F(LayscanToolTest, AnUnwritableReportStillRuns) {
    const std::string zero = dir.Write("zero.img", std::string(8192, '\0'));
    const std::string out = dir.File("no-such-folder/report.txt");
    const ToolRun run = Run("-image " + Quoted(zero) + " -out " + Quoted(out));
    EXPECT_EQ(run.err, "can't open output file\n");
    EXPECT_EQ(run.out, "Getting partition information from image " + zero + "\n");
    EXPECT_EQ(run.exitCode, 0);
}

TEST_F(LayscanToolTest, AllDrivesCompletes) {
    const std::string out = dir.File("all.txt");
    const ToolRun run = Run("-all -out " + Quoted(out));
    EXPECT_EQ(run.exitCode, 0) << run.out;
    EXPECT_EQ(run.out.rfind("Getting partition info from all drives \n", 0), 0u) << run.out;
    const std::string report = ReadWholeFile(out);
    // The head (machine summary) comes first, the volumes section last.
    EXPECT_NE(report.rfind("\r\n\r\n\r\n", 0), 0u);
    EXPECT_TRUE(report.find("No volumes reported by OS\r\n") != std::string::npos ||
                report.find("Volumes Reported by OS\r\n") != std::string::npos)
        << report;
}

}  // namespace
