// The tool on Linux as users run it, on files, on file systems that refuse a
// capture and on a real block device: it only reads disks (traced with strace,
// every open of a file other than the report and -save's new sector file is
// read-only), a capture reports the same disk again from the file or fails
// cleanly leaving nothing behind, and a loop device's kernel partitions are
// reported with their mount points. Needs strace, and root with loop devices for
// the device cases; skipped otherwise.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <regex>
#include <string>

#include "Utility/Layscan/Os/DriveList.h"
#include "support/HostileDisks.h"
#include "support/RunTool.h"

namespace {

namespace fs = std::filesystem;

bool Shell(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

// Runs the tool under strace with its report in the folder. input must be
// opened, the report's own open must show as a write (so the reading of the
// trace is shown to work), and so must, with a save path, the sector file's
// temporary name beside it; every other open, openat or creat is read-only.
void ExpectOnlyReportWritten(const ScratchFolder& dir, const std::string& arguments, const std::string& input,
                             const std::string& saved = "") {
    SCOPED_TRACE(arguments);
    const std::string log = dir.File("trace.log"), report = dir.File("report.txt");
    // The leak checker of a sanitizer build cannot run under ptrace.
    const ToolRun run = RunTool(arguments + " -out \"" + report + "\"", dir,
                                "env ASAN_OPTIONS=detect_leaks=0 strace -f -e trace=open,openat,creat -o \"" + log + "\" ");
    EXPECT_EQ(run.exitCode, 0) << run.out << run.err;
    bool inputSeen = input.empty(), reportWritten = false, savedWritten = saved.empty();
    for (const std::string& line : golden::Lines(golden::ReadFile(log))) {
        const size_t q1 = line.find('"'), q2 = line.find('"', q1 + 1);
        const bool creat = line.find("creat(") != std::string::npos;
        if (q2 == std::string::npos || (!creat && line.find("open") == std::string::npos)) continue;
        const std::string path = line.substr(q1 + 1, q2 - q1 - 1);
        const bool writes = creat || std::regex_search(line.substr(q2), std::regex("O_WRONLY|O_RDWR|O_CREAT"));
        inputSeen |= path == input;
        if (path == report) reportWritten |= writes;
        else if (!saved.empty() && path.starts_with(saved + ".") && path.ends_with(".tmp")) savedWritten |= writes;
        else EXPECT_FALSE(writes) << line;
    }
    EXPECT_TRUE(inputSeen) << input << " was never opened";
    EXPECT_TRUE(savedWritten && (saved.empty() || fs::exists(saved))) << "no sector file was written";
    EXPECT_TRUE(reportWritten) << "the trace shows no write of the report";
}

TEST(NeverWritesSlow, ImageSectorFileSaveAndAllDrives) {
    if (!Shell("command -v strace")) GTEST_SKIP() << "strace is not installed";
    const ScratchFolder dir("layscan-never-writes");
    const std::string image = dir.File("chain.img"), saved = dir.File("chain.sf"), resaved = dir.File("resaved.sf");
    const std::string sample = LAYSCAN_SOURCE_DIR "/samples/gpt-disk.sf";
    hostile::WriteChain(image, 8);
    const std::string runs[][3] = {  // arguments, input, new sector file
        {"-image \"" + image + "\"", image, ""},
        {"-file \"" + sample + "\"", sample, ""},
        {"-image \"" + image + "\" -save \"" + saved + "\"", image, saved},
        {"-file \"" + saved + "\" -save \"" + resaved + "\"", saved, resaved},  // a re-save reads what it is given
        {"-all", "", ""}};
    for (const auto& [arguments, input, written] : runs) ExpectOnlyReportWritten(dir, arguments, input, written);
}

TEST(SaveLinuxSlow, FullOrReadOnlyFileSystemLeavesNoFile) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root";
    const ScratchFolder dir("layscan-save-linux");
    const std::string image = dir.File("chain.img");
    hostile::WriteChain(image, 2000);  // its capture needs some 100 KB
    for (const std::string options : {"size=16k", "ro,size=1m"}) {
        SCOPED_TRACE(options);
        const std::string folder = dir.File("mount-" + options), saved = folder + "/chain.sf";
        if (!fs::create_directories(folder) || !Shell("mount -t tmpfs -o " + options + " tmpfs '" + folder + "'"))
            GTEST_SKIP() << "tmpfs cannot be mounted here";
        const ToolRun run = RunTool("-image \"" + image + "\" -save \"" + saved + "\" -out \"" + dir.File("r.txt") + "\"", dir);
        const bool empty = fs::is_empty(folder);
        Shell("umount '" + folder + "'");
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_NE(run.out.find("Error: unable to write sector file " + saved + "\n\t"), std::string::npos) << run.out;
        EXPECT_NE(run.out.find(options[0] == 's' ? "(No space left on device)" : "(Read-only file system)"),
                  std::string::npos) << run.out;
        EXPECT_TRUE(empty) << "a file or a temporary file was left";
    }
}

// The disk section of a report, with what comes from the drive and the
// operating system rather than from the disk's sectors taken out: the
// geometry line's cylinders, heads and sectors, the access-alignment lines,
// the disk's number, and the head and volume sections around it.
std::string DiskSection(const std::string& report) {
    std::string text = report.substr(std::min(report.find("\r\n="), report.size()));
    for (const char* end : {"Volumes Reported by OS", "No volumes reported by OS"}) text = text.substr(0, text.find(end));
    text = std::regex_replace(text, std::regex("\\(\\S+ Cylinders, \\d+ Heads, \\d+ Sectors/Track\\)"), "(C H S)");
    text = std::regex_replace(text, std::regex("(Sector Size  +Physical|Cache Line Size|Byte Alignment Factors)[^\n]*\n"), "");
    return std::regex_replace(text, std::regex("Disk \\d+"), "Disk N");
}

// An image partitioned by sfdisk (two primaries, an extended partition with
// two logicals, the first ext4) on a loop device attached read-write on
// purpose, so that only the tool's own open mode keeps the disk unwritten.
// Captures come first, while the kernel knows no partitions of it; then partx
// makes them known and the first logical is mounted read-only.
TEST(LoopDeviceLinuxSlow, CapturedNeverWrittenAndItsPartitionsListed) {
    if (::geteuid() != 0 || !fs::exists("/dev/loop-control")) GTEST_SKIP() << "needs root and loop devices";
    for (const char* tool : {"sfdisk", "losetup", "partx", "mkfs.ext4", "truncate", "strace"})
        if (!Shell(std::string("command -v ") + tool)) GTEST_SKIP() << tool << " is not installed";
    const ScratchFolder dir("layscan-loop");
    const std::string image = dir.File("disk.img"), fsImage = dir.File("fs.img"), mnt = dir.File("mnt");
    fs::create_directories(mnt);
    ASSERT_TRUE(Shell("truncate -s 50M " + image + " && printf 'label: dos\\nstart=2048, size=20480, type=83\\n"
                      "start=22528, size=10240, type=c\\nstart=32768, size=65536, type=5\\n"
                      "start=34816, size=16384, type=83\\nstart=53248, size=8192, type=83\\n' | sfdisk -q " + image +
                      " && truncate -s 8M " + fsImage + " && mkfs.ext4 -q " + fsImage + " && dd if=" + fsImage +
                      " of=" + image + " bs=512 seek=34816 conv=notrunc status=none"));
    if (std::system(("losetup -f --show " + image + " > " + dir.File("loop.txt") + " 2>/dev/null").c_str()) != 0)
        GTEST_SKIP() << "no loop device could be attached";
    struct Detach {
        std::string device, mnt;
        ~Detach() { Shell("umount " + mnt), Shell("partx -d " + device), Shell("losetup -d " + device); }
    } detach{golden::Lines(golden::ReadFile(dir.File("loop.txt"))).at(0), mnt};
    const std::string device = detach.device;
    int number = -1;
    for (const DriveSlot& drive : ListPhysicalDrives())
        if (Narrow(drive.path) == device) number = int(drive.number);
    ASSERT_GE(number, 0) << device << " is not among the listed drives";
    const std::string byNumber = "-device " + std::to_string(number);

    for (const std::string& mode : {"-image " + device, byNumber}) {
        SCOPED_TRACE(mode);
        const std::string saved = dir.File("saved.sf"), a = dir.File("a.txt"), b = dir.File("b.txt");
        fs::remove(saved);
        EXPECT_EQ(RunTool(mode + " -save \"" + saved + "\" -out \"" + a + "\"", dir).exitCode, 0);
        EXPECT_EQ(RunTool("-file \"" + saved + "\" -out \"" + b + "\"", dir).exitCode, 0);
        const std::string direct = golden::ReadFile(a), fromFile = golden::ReadFile(b);
        EXPECT_NE(DiskSection(direct).find("Extended Partition Boot Record"), std::string::npos);
        EXPECT_EQ(DiskSection(fromFile), DiskSection(direct));
        // A device is never a capture's target, not even the one being read.
        const ToolRun refused = RunTool(mode + " -save " + device, dir);
        EXPECT_EQ(refused.exitCode, 1);
        EXPECT_EQ(refused.out, "Error: -save names a device, and a disk is never written: " + device + "\n");
    }
    ExpectOnlyReportWritten(dir, byNumber, device);
    ExpectOnlyReportWritten(dir, byNumber + " -save \"" + dir.File("drive.sf") + "\"", device, dir.File("drive.sf"));
    ExpectOnlyReportWritten(dir, "-all", device);

    ASSERT_TRUE(Shell("partx -a " + device));
    const bool mounted = Shell("mount -o ro " + device + "p5 " + mnt);
    // The kernel's partitions are the volumes of the drive's report, but p3, the extended entry's 2-sector
    // stub; the partition list names the mount point of the one whose extent it matches.
    ASSERT_EQ(RunTool(byNumber + " -out report.txt", dir).exitCode, 0);
    const std::string report = golden::Replaced(golden::ReadFile(dir.File("report.txt")), "\r", "");
    for (const std::string volume : {"p1)", "p2)", "p3)", "p5)", "p6)"})
        EXPECT_EQ(report.find("(" + device + volume) != std::string::npos, volume != "p3)") << volume << report;
    if (!mounted) GTEST_SKIP() << "mounting the ext4 partition failed here; mount point not checked";
    EXPECT_TRUE(std::regex_search(report, std::regex("\n" + mnt + " [^\n]* 34,816 +16,384\n"))) << report;
}

}  // namespace
