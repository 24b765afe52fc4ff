// -save on block devices and on file systems that refuse the file: a loop
// device captured by -image and by -device reports the same disk from the
// file, and a full or read-only file system fails the capture cleanly. Needs
// root (losetup, mount); skipped otherwise.

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>

#include "Utility/Layscan/Os/DriveList.h"
#include "support/HostileDisks.h"
#include "support/RunTool.h"

namespace {

namespace fs = std::filesystem;

bool Shell(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

// A tmpfs mounted on a folder for the test's length.
struct Mount {
    std::string folder;
    bool mounted;
    Mount(const std::string& at, const std::string& options)
        : folder(at), mounted(fs::create_directories(at) && Shell("mount -t tmpfs -o " + options + " tmpfs '" + at + "'")) {}
    ~Mount() {
        if (mounted) Shell("umount '" + folder + "'");
    }
};

// The disk section of a report, with what comes from the drive and the
// operating system rather than from the disk's sectors taken out: the
// geometry line's cylinders, heads and sectors, the access-alignment lines,
// the disk's number, and the head and volume sections around it.
std::string DiskSection(const std::string& report) {
    std::string text = report.substr(std::min(report.find("\r\n="), report.size()));
    for (const char* end : {"Volumes Reported by OS", "No volumes reported by OS"})
        text = text.substr(0, text.find(end));
    text = std::regex_replace(text, std::regex("\\(\\S+ Cylinders, \\d+ Heads, \\d+ Sectors/Track\\)"), "(C H S)");
    text = std::regex_replace(text, std::regex("(Sector Size  +Physical|Cache Line Size|Byte Alignment Factors)[^\n]*\n"), "");
    return std::regex_replace(text, std::regex("Disk \\d+"), "Disk N");
}

class SaveLinuxSlow : public testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root";
    }
    ScratchFolder dir{"layscan-save-linux"};
};

TEST_F(SaveLinuxSlow, LoopDeviceCapturedByImageAndByDevice) {
    const std::string image = dir.File("loop.img"), attached = dir.File("loop.txt");
    hostile::WriteChain(image, 8);
    fs::resize_file(image, 64 << 20);
    if (std::system(("losetup --find --show \"" + image + "\" > \"" + attached + "\" 2>/dev/null").c_str()) != 0)
        GTEST_SKIP() << "no loop device (needs the loop driver)";
    const std::string device = golden::Lines(golden::ReadFile(attached)).at(0);
    struct Detach {
        std::string device;
        ~Detach() { Shell("losetup -d " + device); }
    } detach{device};
    int number = -1;
    for (const DriveSlot& drive : ListPhysicalDrives())
        if (Narrow(drive.path) == device) number = int(drive.number);
    ASSERT_GE(number, 0) << device << " is not among the listed drives";

    auto roundTrip = [&](const std::string& mode) {
        SCOPED_TRACE(mode);
        const std::string saved = dir.File("saved.sf"), a = dir.File("a.txt"), b = dir.File("b.txt");
        fs::remove(saved);
        EXPECT_EQ(RunTool(mode + " -save \"" + saved + "\" -out \"" + a + "\"", dir).exitCode, 0);
        EXPECT_EQ(RunTool("-file \"" + saved + "\" -out \"" + b + "\"", dir).exitCode, 0);
        const std::string direct = golden::ReadFile(a), fromFile = golden::ReadFile(b);
        EXPECT_NE(DiskSection(direct).find("Extended Partition Boot Record"), std::string::npos);
        EXPECT_EQ(DiskSection(fromFile), DiskSection(direct));
        return std::make_pair(direct, fromFile);
    };
    // Given to -image, only the geometry line may differ.
    const auto [direct, fromFile] = roundTrip("-image " + device);
    EXPECT_EQ(std::regex_replace(fromFile, std::regex("\\(.* Sectors/Track\\)"), "(C H S)"),
              std::regex_replace(direct, std::regex("\\(.* Sectors/Track\\)"), "(C H S)"));
    roundTrip("-device " + std::to_string(number));

    // All drives: a folder with the drive's file, or the drive's capture
    // skipped when the folder cannot be made; the run completes either way.
    const std::string drive = "disk" + std::to_string(number) + ".sf";
    EXPECT_EQ(RunTool("-all -save \"" + dir.File("all") + "\"", dir).exitCode, 0);
    EXPECT_TRUE(fs::exists(dir.File("all/" + drive)));
    dir.Write("plain", "not a folder");
    const ToolRun skipped = RunTool("-all -save \"" + dir.File("plain") + "\"", dir);
    EXPECT_EQ(skipped.exitCode, 0);
    EXPECT_NE(skipped.out.find("Error: unable to write sector file " + dir.File("plain/" + drive) + "\n\t"),
              std::string::npos) << skipped.out;

    // A device is never a capture's target, not even the one being read.
    for (const std::string& mode : {"-image " + device, "-device " + std::to_string(number)}) {
        const ToolRun refused = RunTool(mode + " -save " + device, dir);
        EXPECT_EQ(refused.exitCode, 1);
        EXPECT_EQ(refused.out, "Error: -save names a device, and a disk is never written: " + device + "\n");
    }
}

TEST_F(SaveLinuxSlow, FullOrReadOnlyFileSystemLeavesNoFile) {
    const std::string image = dir.File("chain.img");
    hostile::WriteChain(image, 2000);  // its capture needs some 100 KB
    for (const char* options : {"size=16k", "ro,size=1m"}) {
        SCOPED_TRACE(options);
        Mount mount(dir.File(std::string("mount-") + options), options);
        if (!mount.mounted) GTEST_SKIP() << "tmpfs cannot be mounted here";
        const std::string saved = mount.folder + "/chain.sf";
        const ToolRun run = RunTool("-image \"" + image + "\" -save \"" + saved + "\" -out \"" + dir.File("r.txt") + "\"", dir);
        EXPECT_EQ(run.exitCode, 1);
        const std::string told = "Error: unable to write sector file " + saved + "\n\t";
        EXPECT_NE(run.out.find(told), std::string::npos) << run.out;
        EXPECT_NE(run.out.find(options[0] == 's' ? "No space left on device" : "Read-only file system"),
                  std::string::npos) << run.out;
        EXPECT_TRUE(fs::is_empty(mount.folder)) << "a file or a temporary file was left";
    }
}

}  // namespace
