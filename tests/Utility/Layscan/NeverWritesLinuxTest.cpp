// The tool only reads disks: in every run mode, traced at the system-call
// level, nothing but the report file is ever opened for writing or created.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "Utility/Layscan/DriveList.h"
#include "support/HostileDisks.h"
#include "support/RunTool.h"
#include "support/ScratchFolder.h"

namespace {

bool HaveStrace() { return std::system("command -v strace >/dev/null 2>&1") == 0; }

struct Open {
    std::string path;
    std::string flags;
};

// The open, openat and creat calls of an strace log, with the path and the
// flag words of each (creat counts as O_CREAT|O_WRONLY).
std::vector<Open> OpensOf(const std::string& logPath) {
    std::vector<Open> opens;
    std::ifstream log(logPath);
    for (std::string line; std::getline(log, line);) {
        const bool creat = line.find("creat(") != std::string::npos;
        if (!creat && line.find("open(") == std::string::npos && line.find("openat(") == std::string::npos) continue;
        const size_t q1 = line.find('"');
        const size_t q2 = q1 == std::string::npos ? q1 : line.find('"', q1 + 1);
        if (q2 == std::string::npos) continue;
        const size_t close = line.find(')', q2);
        opens.push_back({line.substr(q1 + 1, q2 - q1 - 1),
                         creat ? "O_CREAT|O_WRONLY" : line.substr(q2 + 1, close == std::string::npos ? close : close - q2 - 1)});
    }
    return opens;
}

bool Writes(const std::string& flags) {
    return flags.find("O_WRONLY") != std::string::npos || flags.find("O_RDWR") != std::string::npos ||
           flags.find("O_CREAT") != std::string::npos;
}

class NeverWritesTest : public testing::Test {
protected:
    void SetUp() override {
        if (!HaveStrace()) GTEST_SKIP() << "strace is not installed";
    }

    // Runs the tool under strace with the arguments and a report in the
    // scratch folder; returns what it opened.
    std::vector<Open> Traced(const std::string& arguments) {
        const std::string log = dir.File("trace.log");
        // The leak checker of a sanitizer build cannot run under ptrace.
        const ToolRun run = RunToolWrapped("env ASAN_OPTIONS=detect_leaks=0 strace -f -e trace=open,openat,creat -o \"" + log + "\" ",
                                           arguments + " -out \"" + Report() + "\"");
        EXPECT_EQ(run.exitCode, 0) << run.out << run.err;
        const std::vector<Open> opens = OpensOf(log);
        EXPECT_FALSE(opens.empty()) << "the trace holds no open at all";
        return opens;
    }

    ToolRun RunToolWrapped(const std::string& wrapper, const std::string& arguments) {
        const std::string out = dir.File("console.txt");
        const std::string err = dir.File("errors.txt");
        const std::string command = "cd \"" + dir.Path().string() + "\" && " + wrapper + "\"" + ToolPath() + "\" " +
                                    arguments + " > \"" + out + "\" 2> \"" + err + "\"";
        ToolRun run;
        const int status = std::system(command.c_str());
        run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        run.out = ReadWholeFile(out);
        run.err = ReadWholeFile(err);
        return run;
    }

    std::string Report() const { return dir.File("report.txt"); }

    // Fails for every open with a write flag of a file other than the report.
    void ExpectOnlyReportWritten(const std::vector<Open>& opens, const std::string& input) {
        bool inputSeen = false;
        for (const Open& open : opens) {
            if (open.path == input) inputSeen = true;
            if (open.path == Report() || open.path == "report.txt") continue;
            EXPECT_FALSE(Writes(open.flags)) << open.path << " opened with " << open.flags;
        }
        if (!input.empty()) {
            EXPECT_TRUE(inputSeen) << input << " was never opened";
        }
    }

    ScratchFolder dir{"layscan-never-writes"};
};

TEST_F(NeverWritesTest, ImageMode) {
    const std::string image = dir.File("chain.img");
    hostile::WriteChain(image, 8);
    ExpectOnlyReportWritten(Traced("-image \"" + image + "\""), image);
}

TEST_F(NeverWritesTest, SectorFileMode) {
    const std::string file = LAYSCAN_SOURCE_DIR "/samples/gpt-disk.sf";
    ExpectOnlyReportWritten(Traced("-file \"" + file + "\""), file);
}

TEST_F(NeverWritesTest, AllDrivesMode) {
    ExpectOnlyReportWritten(Traced("-all"), "");
}

// A block device: a loop device over an image, attached read-write on
// purpose so that only the tool's own open mode keeps the disk unwritten.
TEST_F(NeverWritesTest, DeviceModeOverLoopDevice) {
    const std::string image = dir.File("loop.img");
    hostile::WriteChain(image, 8);
    const std::string attached = dir.File("loop.txt");
    if (std::system(("losetup --find --show \"" + image + "\" > \"" + attached + "\" 2>/dev/null").c_str()) != 0)
        GTEST_SKIP() << "no loop device (needs root and the loop driver)";
    std::string device = ReadWholeFile(attached);
    while (!device.empty() && (device.back() == '\n' || device.back() == '\r')) device.pop_back();
    struct Detach {
        std::string device;
        ~Detach() { std::system(("losetup -d " + device + " 2>/dev/null").c_str()); }
    } detach{device};

    int number = -1;
    for (const DriveSlot& drive : ListPhysicalDrives())
        if (Narrow(drive.path) == device) number = static_cast<int>(drive.number);
    ASSERT_GE(number, 0) << device << " is not among the listed drives";
    ExpectOnlyReportWritten(Traced("-device " + std::to_string(number)), device);
    ExpectOnlyReportWritten(Traced("-all"), device);
}

TEST(NeverWritesTraceTest, ReadsFlagsOfEveryOpenKind) {
    ScratchFolder dir("layscan-trace-parse");
    const std::string log = dir.Write("t.log",
                                      "10 openat(AT_FDCWD, \"/a\", O_RDONLY|O_CLOEXEC) = 3\n"
                                      "10 open(\"/b\", O_RDWR) = -1 EACCES (Permission denied)\n"
                                      "11 creat(\"/c\", 0644) = 4\n"
                                      "11 openat(AT_FDCWD, \"/d\", O_WRONLY|O_CREAT|O_TRUNC, 0666) = 5\n"
                                      "11 +++ exited with 0 +++\n");
    const std::vector<Open> opens = OpensOf(log);
    ASSERT_EQ(opens.size(), 4u);
    const bool expected[] = {false, true, true, true};
    const char* const paths[] = {"/a", "/b", "/c", "/d"};
    for (size_t i = 0; i < opens.size(); ++i) {
        EXPECT_EQ(opens[i].path, paths[i]);
        EXPECT_EQ(Writes(opens[i].flags), expected[i]) << opens[i].flags;
    }
}

}  // namespace
