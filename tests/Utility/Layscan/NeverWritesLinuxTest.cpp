// The tool only reads disks: in every run mode, traced at the system-call
// level, nothing but the report file and, with -save, the new sector file is
// ever opened for writing or created.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "Utility/Layscan/Os/DriveList.h"
#include "support/HostileDisks.h"
#include "support/RunTool.h"

namespace {

class NeverWritesSlow : public testing::Test {
protected:
    void SetUp() override {
        if (std::system("command -v strace >/dev/null 2>&1") != 0) GTEST_SKIP() << "strace is not installed";
    }

    // Runs the tool under strace with a report in the scratch folder. Every
    // open, openat or creat of another file must be read-only, input must be
    // opened, and the report's own open must be seen as a write (so the
    // reading of the trace is shown to work). With a save path, the sector
    // file's temporary name beside it must be opened for writing as well.
    void ExpectOnlyReportWritten(const std::string& arguments, const std::string& input,
                                 const std::string& saved = "") {
        const std::string log = dir.File("trace.log"), report = dir.File("report.txt");
        // The leak checker of a sanitizer build cannot run under ptrace.
        const ToolRun run = RunTool(arguments + " -out \"" + report + "\"", dir,
                                    "env ASAN_OPTIONS=detect_leaks=0 strace -f -e trace=open,openat,creat -o \"" +
                                        log + "\" ");
        EXPECT_EQ(run.exitCode, 0) << run.out << run.err;
        bool inputSeen = input.empty(), reportWritten = false, savedWritten = saved.empty();
        for (const std::string& line : golden::Lines(golden::ReadFile(log))) {
            const size_t q1 = line.find('"'), q2 = line.find('"', q1 + 1);
            const bool creat = line.find("creat(") != std::string::npos;
            if (q2 == std::string::npos || (!creat && line.find("open") == std::string::npos)) continue;
            const std::string path = line.substr(q1 + 1, q2 - q1 - 1), flags = line.substr(q2);
            const bool writes = creat || flags.find("O_WRONLY") != std::string::npos ||
                                flags.find("O_RDWR") != std::string::npos || flags.find("O_CREAT") != std::string::npos;
            inputSeen |= path == input;
            const bool savedTemporary = !saved.empty() && path.rfind(saved + ".", 0) == 0 &&
                                        path.size() > 4 && path.compare(path.size() - 4, 4, ".tmp") == 0;
            if (path == report) reportWritten |= writes;
            else if (savedTemporary) savedWritten |= writes;
            else EXPECT_FALSE(writes) << line;
        }
        EXPECT_TRUE(inputSeen) << input << " was never opened";
        EXPECT_TRUE(savedWritten) << "the trace shows no write of the sector file";
        if (!saved.empty()) {
            EXPECT_TRUE(std::filesystem::exists(saved)) << saved;
        }
        EXPECT_TRUE(reportWritten) << "the trace shows no write of the report";
    }

    ScratchFolder dir{"layscan-never-writes"};
};

TEST_F(NeverWritesSlow, ImageMode) {
    const std::string image = dir.File("chain.img");
    hostile::WriteChain(image, 8);
    ExpectOnlyReportWritten("-image \"" + image + "\"", image);
}

TEST_F(NeverWritesSlow, SectorFileMode) {
    const std::string file = LAYSCAN_SOURCE_DIR "/samples/gpt-disk.sf";
    ExpectOnlyReportWritten("-file \"" + file + "\"", file);
}

TEST_F(NeverWritesSlow, SaveWritesOnlyTheSectorFile) {
    const std::string image = dir.File("chain.img"), saved = dir.File("chain.sf");
    hostile::WriteChain(image, 8);
    ExpectOnlyReportWritten("-image \"" + image + "\" -save \"" + saved + "\"", image, saved);
    // A re-save reads the sector file it is given, and writes only the new one.
    const std::string resaved = dir.File("resaved.sf");
    ExpectOnlyReportWritten("-file \"" + saved + "\" -save \"" + resaved + "\"", saved, resaved);
}

TEST_F(NeverWritesSlow, AllDrivesMode) { ExpectOnlyReportWritten("-all", ""); }

// A block device: a loop device over an image, attached read-write on
// purpose so that only the tool's own open mode keeps the disk unwritten.
TEST_F(NeverWritesSlow, DeviceModeOverLoopDevice) {
    const std::string image = dir.File("loop.img"), attached = dir.File("loop.txt");
    hostile::WriteChain(image, 8);
    if (std::system(("losetup --find --show \"" + image + "\" > \"" + attached + "\" 2>/dev/null").c_str()) != 0)
        GTEST_SKIP() << "no loop device (needs root and the loop driver)";
    const std::string device = golden::Lines(golden::ReadFile(attached)).at(0);
    struct Detach {
        std::string device;
        ~Detach() { (void)std::system(("losetup -d " + device + " 2>/dev/null").c_str()); }
    } detach{device};
    int number = -1;
    for (const DriveSlot& drive : ListPhysicalDrives())
        if (Narrow(drive.path) == device) number = int(drive.number);
    ASSERT_GE(number, 0) << device << " is not among the listed drives";
    ExpectOnlyReportWritten("-device " + std::to_string(number), device);
    ExpectOnlyReportWritten("-device " + std::to_string(number) + " -save \"" + dir.File("drive.sf") + "\"", device,
                            dir.File("drive.sf"));
    ExpectOnlyReportWritten("-all", device);
}

}  // namespace
