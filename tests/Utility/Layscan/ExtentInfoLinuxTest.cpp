#include "Utility/Layscan/ExtentInfoLinux.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <regex>
#include <string>
#include <vector>

#include "Base/Dev/Result.h"
#include "support/RunTool.h"
#include "support/ScratchFolder.h"

namespace {

namespace fs = std::filesystem;

// A sysfs tree, a /dev folder and a mount table made up in a scratch folder.
class FakeSystem {
public:
    FakeSystem() : mScratch("layscan_osviews") {
        fs::create_directories(mScratch.Path() / "sys/block");
        fs::create_directories(mScratch.Path() / "dev");
    }

    void Disk(const std::string& name, const std::string& dev, uint64_t size, bool removable = false) {
        const fs::path dir = mScratch.Path() / "sys/block" / name;
        fs::create_directories(dir / "queue");  // folders that are no partitions
        fs::create_directories(dir / "holders");
        Write(dir / "dev", dev);
        Write(dir / "size", std::to_string(size));
        Write(dir / "removable", removable ? "1" : "0");
    }
    void Partition(const std::string& disk, const std::string& name, const std::string& number,
                   const std::string& dev, const std::string& start, const std::string& size) {
        const fs::path dir = mScratch.Path() / "sys/block" / disk / name;
        fs::create_directories(dir);
        Write(dir / "partition", number);
        Write(dir / "dev", dev);
        Write(dir / "start", start);
        Write(dir / "size", size);
    }
    void MountInfo(const std::string& text) { Write(mScratch.Path() / "mountinfo", text); }

    OsVolumeSources Sources() const {
        return {(mScratch.Path() / "sys").string(), (mScratch.Path() / "dev").string(), (mScratch.Path() / "mountinfo").string()};
    }
    std::wstring Dev(const std::string& name) const { return Widen((mScratch.Path() / "dev").string() + "/" + name); }

private:
    static void Write(const fs::path& file, const std::string& text) { std::ofstream(file) << text << "\n"; }
    ScratchFolder mScratch;
};

std::vector<DriveSlot> Drives(const std::vector<std::wstring>& names) {
    std::vector<DriveSlot> drives;
    for (const std::wstring& name : names) drives.push_back({static_cast<unsigned>(drives.size()), L"/dev/" + name});
    return drives;
}

// One line per record: disk, offset and length in sectors, device, mount points.
std::vector<std::string> Lines(const ExtentList& volumes, const std::string& devPrefix) {
    std::vector<std::string> lines;
    for (const ExtentInfo& e : volumes) {
        std::string device = Narrow(e.volumeGuidPath);
        if (device.rfind(devPrefix, 0) == 0) device.erase(0, devPrefix.size());
        lines.push_back(std::to_string(e.diskNumber) + " " + std::to_string(e.startingOffset / 512) + "+" +
                        std::to_string(e.extentLength / 512) + " " + device + " " + Narrow(e.volumePath) +
                        (e.sectorSize ? " sector size set" : ""));
    }
    return lines;
}

using Expected = std::vector<std::string>;

TEST(ExtentInfoLinux, ListsPartitionsOfEveryFixedDriveWithTheirMountPoints) {
    FakeSystem sys;
    sys.Disk("nvme0n1", "259:0", 1000000);
    sys.Partition("nvme0n1", "nvme0n1p1", "1", "259:1", "2048", "409600");
    sys.Partition("nvme0n1", "nvme0n1p2", "2", "259:2", "411648", "500000");
    sys.Disk("sda", "8:0", 4000000);
    sys.Partition("sda", "sda1", "1", "8:1", "63", "1000");
    sys.Partition("sda", "sda2", "2", "8:2", "2048", "2");  // the extended entry's stub
    sys.Partition("sda", "sda5", "5", "8:5", "4096", "8192");
    sys.Partition("sda", "sda10", "10", "8:10", "20480", "3");  // after sda5, though named before it
    sys.Disk("sdb", "8:16", 30000, true);  // removable
    sys.Partition("sdb", "sdb1", "1", "8:17", "2048", "20000");
    sys.Disk("sdc", "8:32", 5000);  // file system on the whole drive
    sys.Disk("sdd", "8:48", 6000);  // nothing on it, not mounted
    sys.MountInfo(
        "26 1 259:1 / / rw,relatime shared:1 - ext4 /dev/nvme0n1p1 rw\n"
        "27 26 259:1 / /home/my\\040data rw,relatime - ext4 /dev/nvme0n1p1 rw\n"
        "28 26 259:1 /var/lib /srv/bind rw,relatime - ext4 /dev/nvme0n1p1 rw\n"  // folder bind mount
        "29 26 259:1 / / rw,relatime - ext4 /dev/nvme0n1p1 rw\n"                 // same point again
        "30 26 0:45 / /mnt/btr rw - btrfs /dev/sda5 rw\n"                        // matched by source
        "31 26 8:32 / /mnt/whole\\011disk\\134x rw shared:4 master:2 - vfat /dev/sdc rw\n"
        "32 26 8:17 / /media/stick rw - vfat /dev/sdb1 rw\n"
        "33 26 0:22 / /dev/shm rw - tmpfs tmpfs rw\n"
        "garbage line\n");

    ExtentList volumes{ExtentInfo{}};  // replaced, not appended to
    ASSERT_TRUE(BuildOsVolumeList(Drives({L"nvme0n1", L"sda", L"sdb", L"sdc", L"sdd"}), sys.Sources(), volumes));
    EXPECT_EQ(Lines(volumes, Narrow(sys.Dev(""))),
              (Expected{"0 2048+409600 nvme0n1p1 /, /home/my data", "0 411648+500000 nvme0n1p2 ", "1 63+1000 sda1 ",
                        "1 4096+8192 sda5 /mnt/btr", "1 20480+3 sda10 ", "3 0+5000 sdc /mnt/whole\tdisk\\x"}));
}

TEST(ExtentInfoLinux, UnreadableOrOversizedValuesDropOnlyThatPartition) {
    FakeSystem sys;
    sys.Disk("vda", "254:0", 100000);
    sys.Partition("vda", "vda1", "1", "254:1", "abc", "100");
    sys.Partition("vda", "vda2", "2", "254:2", "36028797018963968", "100");  // start * 512 overflows
    sys.Partition("vda", "vda3", "3", "254:3", "100", "18446744073709551615");
    sys.Partition("vda", "vda4", "4", "254:4", "", "100");
    sys.Partition("vda", "vda5", "5", "254:5", "36028797018963967", "7");  // largest start that fits
    // No mount table at all: partitions are still listed, without mount points.
    ExtentList volumes;
    ASSERT_TRUE(BuildOsVolumeList(Drives({L"vda"}), sys.Sources(), volumes));
    ASSERT_EQ(volumes.size(), 1u);
    EXPECT_EQ(volumes[0].startingOffset, 36028797018963967ull * 512);
    EXPECT_EQ(Lines(volumes, Narrow(sys.Dev(""))), Expected{"0 36028797018963967+7 vda5 "});
}

TEST(ExtentInfoLinux, NothingFoundIsFalse) {
    FakeSystem sys;
    sys.Disk("sda", "8:0", 1000);  // unpartitioned, unmounted
    sys.Disk("sdb", "8:16", 1000, true);
    sys.Partition("sdb", "sdb1", "1", "8:17", "0", "1000");
    sys.MountInfo("31 26 8:17 / /media/stick rw - vfat /dev/sdb1 rw\n");
    ExtentList volumes;
    EXPECT_FALSE(BuildOsVolumeList(Drives({L"sda", L"sdb", L"missing"}), sys.Sources(), volumes));
    EXPECT_TRUE(volumes.empty());
    EXPECT_FALSE(BuildOsVolumeList({}, sys.Sources(), volumes));
}

TEST(ExtentInfoLinux, NoAlignmentSettingsOutsideWindows) { EXPECT_TRUE(GetVdsAlignmentText().empty()); }

// Whatever this machine has, the live list is well formed.
TEST(ExtentInfoLinux, ListsThisMachinesVolumes) {
    ExtentList volumes;
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
    std::string device(64, '\0');
    if (FILE* pipe = ::popen(("losetup -f --show " + image + " 2>/dev/null").c_str(), "r")) {
        device.resize(std::fread(device.data(), 1, device.size(), pipe));
        ::pclose(pipe);
    }
    while (!device.empty() && std::isspace(static_cast<unsigned char>(device.back()))) device.pop_back();
    if (device.rfind("/dev/loop", 0) != 0) GTEST_SKIP() << "no loop device could be attached";
    const bool scanned = run("partx -a " + device);
    const bool mounted = scanned && run("mount -o ro " + device + "p5 " + mnt);

    ExtentList volumes;
    const bool found = BuildOsVolumeList(volumes);
    // The tool's own report of the drive, whose partition list names the mount point.
    ToolRun tool;
    for (const ExtentInfo& e : volumes)
        if (Narrow(e.volumeGuidPath) == device + "p1")
            tool = RunTool("-device " + std::to_string(e.diskNumber) + " -out report.txt", scratch);
    const std::string report = WithoutCarriageReturns(ReadWholeFile(scratch.File("report.txt")));
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
