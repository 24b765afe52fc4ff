// The built tool against disks made to hurt: every one ends in a report or a
// clean error with its exit code, in bounded time.

#include <gtest/gtest.h>

#include <cctype>
#include <chrono>
#include <string>

#include "support/HostileDisks.h"
#include "support/RunTool.h"
#include "support/ScratchFolder.h"

namespace {

#ifdef _WIN32
const char* const kDiscard = "NUL";
#else
const char* const kDiscard = "/dev/null";
#endif

// Generous for a loaded machine and a debug build (the long chain's report is
// close to a gigabyte of text); a quadratic walk of the chain or an endless
// loop takes far longer.
constexpr auto kTimeLimit = std::chrono::seconds(240);

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitizedTool = true;
#else
constexpr bool kSanitizedTool = false;
#endif

class HostileDiskTest : public testing::TestWithParam<hostile::Case> {};

TEST_P(HostileDiskTest, EndsCleanlyWithItsExitCode) {
    const hostile::Case& c = GetParam();
    // The sanitizers multiply the long chain's minutes; its accesses are the
    // short chains' accesses many times over, and those run here too.
    if (c.largeFile && kSanitizedTool) GTEST_SKIP() << "long chain skipped in the sanitizer build";
    ScratchFolder dir("layscan-hostile");
    const std::string path = dir.File(c.name + (c.kind == hostile::Kind::SectorFile ? ".sf" : ".img"));
    c.make(path);
    // The long chain goes to the discarding device; the others keep their report.
    const std::string report = c.largeFile ? kDiscard : dir.File("report.txt");
    const std::string mode = c.kind == hostile::Kind::SectorFile ? "-file" : "-image";
    const auto start = std::chrono::steady_clock::now();
    const ToolRun run = RunTool(mode + " \"" + path + "\" " + c.extraArgs + " -out " + report, dir);
    const auto took = std::chrono::steady_clock::now() - start;

    EXPECT_EQ(run.exitCode, c.exitCode) << run.out << run.err;
    EXPECT_NE(run.out.find(c.consoleFragment), std::string::npos) << run.out;
    EXPECT_LT(took, kTimeLimit);
    if (!c.reportFragment.empty()) {
        EXPECT_NE(ReadWholeFile(report).find(c.reportFragment), std::string::npos) << c.reportFragment;
    }
    // A failure is told once, on the console, never as a crash report.
    EXPECT_EQ(run.err, "");
}

INSTANTIATE_TEST_SUITE_P(Disks, HostileDiskTest, testing::ValuesIn(hostile::Cases()),
                         [](const testing::TestParamInfo<hostile::Case>& info) {
                             std::string name = info.param.name;
                             for (char& ch : name)
                                 if (!isalnum(static_cast<unsigned char>(ch))) ch = '_';
                             return name;
                         });

}  // namespace
