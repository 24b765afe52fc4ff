// The built tool against disks made to hurt: every one ends in a report or a
// clean error with its exit code, in bounded time, and so do the same bytes
// through the fuzz targets' calls (in the sanitizer build, with every access
// checked). tests/golden/hostile-disks.txt holds, per disk, the exit code, the
// console and the report's MBR and EPBR headings and its warnings. The tool
// runs with -quiet: the findings summary has a table of its own.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <regex>
#include <string>

#include "support/FuzzEntries.h"
#include "support/GoldenFile.h"
#include "support/HostileDisks.h"
#include "support/RunTool.h"

namespace {

// Generous for a loaded machine and a debug build (the long chain's report is
// close to a gigabyte of text); a quadratic walk or an endless loop takes far longer.
constexpr auto kTimeLimit = std::chrono::seconds(240);

ToolRun RunCase(const hostile::Case& c, const ScratchFolder& dir, const std::string& path, const std::string& report) {
    c.make(path);
    const std::string size = c.sectorSize ? " -sectorsize " + std::to_string(c.sectorSize) : "";
    const auto start = std::chrono::steady_clock::now();
    const ToolRun run = RunTool((c.kind == hostile::Kind::SectorFile ? "-file \"" : "-image \"") + path + "\"" +
                                    size + " -out \"" + report + "\" -quiet", dir);
    EXPECT_LT(std::chrono::steady_clock::now() - start, kTimeLimit) << c.name;
    EXPECT_EQ(run.err, "") << c.name << ": a failure is told once, on the console";
    return run;
}

TEST(HostileDisk, EachEndsAsRecorded) {
    ScratchFolder dir("layscan-hostile");
    std::string text;
    for (const hostile::Case& c : hostile::Cases()) {
        if (c.largeFile) continue;
        const std::string path = dir.File("input"), report = dir.File("report.txt");
        std::remove(report.c_str());
        const ToolRun run = RunCase(c, dir, path, report);
        const std::vector<uint8_t> bytes = ReadFileBytes(path);
        const fuzzentry::End end = c.kind == hostile::Kind::SectorFile
                                       ? fuzzentry::SectorFileBytes(bytes.data(), bytes.size(), dir.File("fuzz.sf"))
                                       : fuzzentry::ImageReportBytes(bytes.data(), bytes.size(), c.sectorSize);
        text += "== " + c.name + ": exit " + std::to_string(run.exitCode) + ", in process " +
                (end == fuzzentry::End::Completed ? "completed" : "clean error") + "\n";
        // Source lines of failed assertions move with every edit: they are left out.
        text += std::regex_replace(golden::Replaced(run.out, path, "INPUT"), std::regex("\\.cpp\\(\\d+\\)"), ".cpp");
        for (const std::string& line : golden::Lines(golden::ReadFile(report)))
            if (std::regex_search(line, std::regex("WARNING|Master Boot Record|Boot Record at Sector")))
                text += "  | " + line + "\n";
    }
    golden::ExpectMatches("hostile-disks.txt", text);
}

// 200,000 EPBRs in one chain, reported in bounded time; the report is
// discarded. The sanitizers multiply its minutes, and its accesses are the
// short chains' accesses many times over, so that build leaves it out.
TEST(HostileDiskSlow, LongChainEndsInBoundedTime) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "long chain skipped in the sanitizer build";
#endif
    ScratchFolder dir("layscan-hostile-long");
    const hostile::Case c = hostile::Cases().front();
    ASSERT_TRUE(c.largeFile);
#ifdef _WIN32
    const ToolRun run = RunCase(c, dir, dir.File("chain.img"), "NUL");
#else
    const ToolRun run = RunCase(c, dir, dir.File("chain.img"), "/dev/null");
#endif
    EXPECT_EQ(run.exitCode, 0) << run.out;
    EXPECT_EQ(run.out, "Getting partition information from image " + dir.File("chain.img") + "\n");
}

}  // namespace
