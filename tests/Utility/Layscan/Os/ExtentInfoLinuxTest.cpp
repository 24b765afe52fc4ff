#include "Utility/Layscan/Os/ExtentInfoLinux.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <regex>
#include <sstream>

#include "Base/Dev/Result.h"
#include "support/RunTool.h"

using nsLayout::ExtentInfo;
using nsLayout::ExtentList;

namespace {

namespace fs = std::filesystem;
using Expected = std::vector<std::string>;

// A sysfs tree, a /dev folder and a mount table made up in a scratch folder.
// An entry "NAME DEV SIZE REMOVABLE" is a drive, "DISK/NAME NUMBER DEV START
// SIZE" a partition ("-" writes an empty value).
OsVolumeSources FakeSystem(const ScratchFolder& dir, const std::vector<std::string>& entries,
                           const std::string& mountInfo = "") {
    const fs::path block = dir.Path() / "sys/block";
    fs::create_directories(dir.Path() / "dev");
    auto write = [](const fs::path& file, const std::string& text) {
        std::ofstream(file) << (text == "-" ? "" : text) << "\n";
    };
    for (const std::string& entry : entries) {
        std::istringstream in(entry);
        std::string name, values[4];
        in >> name >> values[0] >> values[1] >> values[2] >> values[3];
        const bool drive = values[3].empty();
        const fs::path folder = block / name;
        for (const char* sub : {"queue", "holders"}) fs::create_directories(folder / (drive ? sub : ""));  // no partitions
        const std::vector<const char*> files = drive ? std::vector<const char*>{"dev", "size", "removable"}
                                                     : std::vector<const char*>{"partition", "dev", "start", "size"};
        for (size_t i = 0; i < files.size(); ++i) write(folder / files[i], values[i]);
    }
    if (!mountInfo.empty()) write(dir.Path() / "mountinfo", mountInfo);
    return {(dir.Path() / "sys").string(), (dir.Path() / "dev").string(), (dir.Path() / "mountinfo").string()};
}

std::vector<DriveSlot> Drives(const std::vector<std::wstring>& names) {
    std::vector<DriveSlot> drives;
    for (const std::wstring& name : names) drives.push_back({unsigned(drives.size()), L"/dev/" + name});
    return drives;
}

// One line per record: disk, offset and length in sectors, device, mount points.
Expected Lines(const ExtentList& volumes, const std::string& devPrefix) {
    Expected lines;
    for (const ExtentInfo& e : volumes)
        lines.push_back(std::to_string(e.diskNumber) + " " + std::to_string(e.startingOffset / 512) + "+" +
                        std::to_string(e.extentLength / 512) + " " +
                        golden::Replaced(Narrow(e.volumeGuidPath), devPrefix, "") + " " + Narrow(e.volumePath) +
                        (e.sectorSize ? " sector size set" : ""));
    return lines;
}

TEST(ExtentInfoLinux, ListsPartitionsOfEveryFixedDriveWithTheirMountPoints) {
    ScratchFolder dir("layscan_osviews");
    const OsVolumeSources sources = FakeSystem(
        dir,
        {"nvme0n1 259:0 1000000 0", "nvme0n1/nvme0n1p1 1 259:1 2048 409600", "nvme0n1/nvme0n1p2 2 259:2 411648 500000",
         "sda 8:0 4000000 0", "sda/sda1 1 8:1 63 1000", "sda/sda2 2 8:2 2048 2",  // the extended entry's stub
         "sda/sda5 5 8:5 4096 8192", "sda/sda10 10 8:10 20480 3",                  // after sda5, though named before
         "sdb 8:16 30000 1", "sdb/sdb1 1 8:17 2048 20000",                         // removable
         "sdc 8:32 5000 0",                                                        // file system on the whole drive
         "sdd 8:48 6000 0"},                                                       // nothing on it, not mounted
        "26 1 259:1 / / rw,relatime shared:1 - ext4 /dev/nvme0n1p1 rw\n"
        "27 26 259:1 / /home/my\\040data rw,relatime - ext4 /dev/nvme0n1p1 rw\n"
        "28 26 259:1 /var/lib /srv/bind rw,relatime - ext4 /dev/nvme0n1p1 rw\n"  // folder bind mount
        "29 26 259:1 / / rw,relatime - ext4 /dev/nvme0n1p1 rw\n"                 // same point again
        "30 26 0:45 / /mnt/btr rw - btrfs /dev/sda5 rw\n"                        // matched by source
        "31 26 8:32 / /mnt/whole\\011disk\\134x rw shared:4 master:2 - vfat /dev/sdc rw\n"
        "32 26 8:17 / /media/stick rw - vfat /dev/sdb1 rw\n"
        "33 26 0:22 / /dev/shm rw - tmpfs tmpfs rw\n"
        "garbage line");
    ExtentList volumes{ExtentInfo{}};  // replaced, not appended to
    ASSERT_TRUE(BuildOsVolumeList(Drives({L"nvme0n1", L"sda", L"sdb", L"sdc", L"sdd"}), sources, volumes));
    EXPECT_EQ(Lines(volumes, sources.devRoot + "/"),
              (Expected{"0 2048+409600 nvme0n1p1 /, /home/my data", "0 411648+500000 nvme0n1p2 ", "1 63+1000 sda1 ",
                        "1 4096+8192 sda5 /mnt/btr", "1 20480+3 sda10 ", "3 0+5000 sdc /mnt/whole\tdisk\\x"}));
}

TEST(ExtentInfoLinux, UnreadableOrOversizedValuesDropOnlyThatPartition) {
    ScratchFolder dir("layscan_osviews");
    // No mount table at all: partitions are still listed, without mount points.
    const OsVolumeSources sources = FakeSystem(
        dir, {"vda 254:0 100000 0", "vda/vda1 1 254:1 abc 100",
              "vda/vda2 2 254:2 36028797018963968 100",  // start * 512 overflows
              "vda/vda3 3 254:3 100 18446744073709551615", "vda/vda4 4 254:4 - 100",
              "vda/vda5 5 254:5 36028797018963967 7"});  // the largest start that fits
    ExtentList volumes;
    ASSERT_TRUE(BuildOsVolumeList(Drives({L"vda"}), sources, volumes));
    EXPECT_EQ(Lines(volumes, sources.devRoot + "/"), Expected{"0 36028797018963967+7 vda5 "});
}

TEST(ExtentInfoLinux, NothingFoundIsFalse) {
    ScratchFolder dir("layscan_osviews");
    const OsVolumeSources sources = FakeSystem(dir, {"sda 8:0 1000 0", "sdb 8:16 1000 1", "sdb/sdb1 1 8:17 0 1000"},
                                               "31 26 8:17 / /media/stick rw - vfat /dev/sdb1 rw");
    ExtentList volumes;
    EXPECT_FALSE(BuildOsVolumeList(Drives({L"sda", L"sdb", L"missing"}), sources, volumes));
    EXPECT_TRUE(volumes.empty());
    EXPECT_FALSE(BuildOsVolumeList({}, sources, volumes));
    EXPECT_TRUE(GetVdsAlignmentText().empty());  // no alignment settings outside Windows
    // Whatever this machine has, the live list is well formed.
    const bool found = BuildOsVolumeList(volumes);
    EXPECT_EQ(found, !volumes.empty());
    for (const ExtentInfo& e : volumes) {
        EXPECT_EQ(e.volumeGuidPath.rfind(L"/dev/", 0), 0u) << Narrow(e.volumeGuidPath);
        EXPECT_GT(e.extentLength, 0u);
    }
}

// A partitioned image attached to a loop device, its partitions made known to
// the kernel with partx, the first logical partition (ext4) mounted read-only.
TEST(ExtentInfoLinux, ListsTheKernelsPartitionsOfALoopDevice) {
    if (::geteuid() != 0 || !fs::exists("/dev/loop-control")) GTEST_SKIP() << "needs root and loop devices";
    auto run = [](const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; };
    for (const char* tool : {"sfdisk", "losetup", "partx", "mkfs.ext4", "truncate"})
        if (!run(std::string("command -v ") + tool)) GTEST_SKIP() << tool << " is not installed";
    ScratchFolder scratch("layscan_osviews_loop");
    const std::string image = scratch.File("disk.img"), fsImage = scratch.File("fs.img"), mnt = scratch.File("mnt");
    fs::create_directories(mnt);
    ASSERT_TRUE(run("truncate -s 50M " + image + " && printf 'label: dos\\nstart=2048, size=20480, type=83\\n"
                    "start=22528, size=10240, type=c\\nstart=32768, size=65536, type=5\\n"
                    "start=34816, size=16384, type=83\\nstart=53248, size=8192, type=83\\n' | sfdisk -q " + image +
                    " && truncate -s 8M " + fsImage + " && mkfs.ext4 -q " + fsImage + " && dd if=" + fsImage +
                    " of=" + image + " bs=512 seek=34816 conv=notrunc status=none"));
    const std::string attach = "losetup -f --show " + image + " > " + scratch.File("loop.txt") + " 2>/dev/null";
    if (std::system(attach.c_str()) != 0) GTEST_SKIP() << "no loop device could be attached";
    const std::string device = golden::Lines(golden::ReadFile(scratch.File("loop.txt"))).at(0);
    const bool scanned = run("partx -a " + device);
    const bool mounted = scanned && run("mount -o ro " + device + "p5 " + mnt);

    ExtentList volumes;
    const bool found = BuildOsVolumeList(volumes);
    // The tool's own report of the drive, whose partition list names the mount point.
    ToolRun tool;
    for (const ExtentInfo& e : volumes)
        if (Narrow(e.volumeGuidPath) == device + "p1")
            tool = RunTool("-device " + std::to_string(e.diskNumber) + " -out report.txt", scratch);
    const std::string report = golden::Replaced(golden::ReadFile(scratch.File("report.txt")), "\r", "");
    if (mounted) run("umount " + mnt);
    if (scanned) run("partx -d " + device);
    run("losetup -d " + device);
    ASSERT_TRUE(scanned) << "partx -a " << device;
    ASSERT_TRUE(found);
    std::erase_if(volumes, [&](const ExtentInfo& e) { return Narrow(e.volumeGuidPath).rfind(device + "p", 0) != 0; });
    ASSERT_EQ(volumes.size(), 4u);
    // p3, the extended entry, shows only as the kernel's 2-sector stub and is left out.
    const std::string disk = std::to_string(volumes[0].diskNumber);
    EXPECT_EQ(Lines(volumes, device),
              (Expected{disk + " 2048+20480 p1 ", disk + " 22528+10240 p2 ",
                        disk + " 34816+16384 p5 " + (mounted ? mnt : Narrow(volumes[2].volumePath)),
                        disk + " 53248+8192 p6 "}));
    EXPECT_EQ(tool.exitCode, 0) << tool.out;
    EXPECT_NE(report.find("Partition Information for Disk " + disk), std::string::npos) << report;
    if (mounted) {
        const std::string row = report.substr(report.find("\n" + mnt + " ") + 1);
        EXPECT_TRUE(std::regex_match(row.substr(0, row.find('\n')), std::regex(".* 34,816 +16,384"))) << report;
    } else {
        std::cout << "[          ] mounting the ext4 partition failed here; mount point not checked\n";
    }
}

}  // namespace
