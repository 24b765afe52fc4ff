#include "Utility/Layscan/ExtentInfoLinux.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "Base/Dev/Result.h"
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

struct Expected {
    uint32_t disk;
    uint64_t offset;
    uint64_t length;
    std::string device;
    std::wstring path;
};

void ExpectVolumes(const FakeSystem& sys, const ExtentList& actual, const std::vector<Expected>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE("record " + std::to_string(i));
        EXPECT_EQ(actual[i].diskNumber, expected[i].disk);
        EXPECT_EQ(actual[i].startingOffset, expected[i].offset);
        EXPECT_EQ(actual[i].extentLength, expected[i].length);
        EXPECT_EQ(actual[i].volumeGuidPath, sys.Dev(expected[i].device));
        EXPECT_EQ(actual[i].volumePath, expected[i].path);
        EXPECT_EQ(actual[i].sectorSize, 0u);
    }
}

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
    ExpectVolumes(sys, volumes,
                  {{0, 2048 * 512ull, 409600 * 512ull, "nvme0n1p1", L"/, /home/my data"},
                   {0, 411648 * 512ull, 500000 * 512ull, "nvme0n1p2", L""},
                   {1, 63 * 512ull, 1000 * 512ull, "sda1", L""},
                   {1, 4096 * 512ull, 8192 * 512ull, "sda5", L"/mnt/btr"},
                   {1, 20480 * 512ull, 3 * 512ull, "sda10", L""},
                   {3, 0, 5000 * 512ull, "sdc", L"/mnt/whole\tdisk\\x"}});
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
    ExpectVolumes(sys, volumes, {{0, 36028797018963967ull * 512, 7 * 512, "vda5", L""}});
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

bool HasTool(const char* name) {
    return std::system(("command -v " + std::string(name) + " >/dev/null 2>&1").c_str()) == 0;
}

std::string RunForLine(const std::string& command) {
    std::string line;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
        char text[256] = {};
        if (std::fgets(text, sizeof text, pipe)) line = text;
        ::pclose(pipe);
    }
    while (!line.empty() && (line.back() == '\n' || line.back() == ' ')) line.pop_back();
    return line;
}

// A partitioned image attached to a loop device, its partitions made known
// to the kernel with partx, the first logical partition (ext4) mounted read-only.
class LoopDisk {
public:
    LoopDisk() : mScratch("layscan_osviews_loop") {
        fs::create_directories(mScratch.Path() / "mnt");
        const std::string image = mScratch.File("disk.img");
        const std::string fsImage = mScratch.File("fs.img");
        const std::string layout =
            "label: dos\\nstart=2048, size=20480, type=83\\nstart=22528, size=10240, type=c\\n"
            "start=32768, size=65536, type=5\\nstart=34816, size=16384, type=83\\nstart=53248, size=8192, type=83\\n";
        if (!Run("truncate -s 50M " + image + " && printf '" + layout + "' | sfdisk -q " + image)) return;
        if (!Run("truncate -s 8M " + fsImage + " && mkfs.ext4 -q " + fsImage + " && dd if=" + fsImage + " of=" +
                 image + " bs=512 seek=34816 conv=notrunc status=none"))
            return;
        mDevice = RunForLine("losetup -f --show " + image + " 2>/dev/null");
        if (mDevice.rfind("/dev/loop", 0) != 0) {
            mDevice.clear();
            return;
        }
        mScanned = Run("partx -a " + mDevice);
        mMounted = mScanned && Run("mount -o ro " + mDevice + "p5 " + MountPoint());
    }
    ~LoopDisk() {
        if (mMounted) Run("umount " + MountPoint());
        if (mScanned) Run("partx -d " + mDevice);
        if (!mDevice.empty()) Run("losetup -d " + mDevice);
    }

    const std::string& Device() const { return mDevice; }
    bool Scanned() const { return mScanned; }
    bool Mounted() const { return mMounted; }
    std::string MountPoint() const { return mScratch.File("mnt"); }

private:
    static bool Run(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

    ScratchFolder mScratch;
    std::string mDevice;
    bool mScanned = false;
    bool mMounted = false;
};

TEST(ExtentInfoLinux, ListsTheKernelsPartitionsOfALoopDevice) {
    if (::geteuid() != 0 || !fs::exists("/dev/loop-control")) GTEST_SKIP() << "needs root and loop devices";
    for (const char* tool : {"sfdisk", "losetup", "partx", "mkfs.ext4", "truncate"})
        if (!HasTool(tool)) GTEST_SKIP() << tool << " is not installed";
    const LoopDisk disk;
    if (disk.Device().empty()) GTEST_SKIP() << "no loop device could be attached";
    ASSERT_TRUE(disk.Scanned()) << "partx -a " << disk.Device();

    ExtentList volumes;
    ASSERT_TRUE(BuildOsVolumeList(volumes));
    struct Row {
        std::string device;
        uint64_t start;
        uint64_t size;
    };
    std::vector<Row> rows;
    std::vector<uint32_t> diskNumbers;
    const ExtentInfo* mounted = nullptr;
    for (const ExtentInfo& e : volumes) {
        const std::string device = Narrow(e.volumeGuidPath);
        if (device.rfind(disk.Device() + "p", 0) != 0) continue;
        rows.push_back({device.substr(disk.Device().size()), e.startingOffset / 512, e.extentLength / 512});
        diskNumbers.push_back(e.diskNumber);
        if (rows.back().device == "p5") mounted = &e;
    }
    // p3, the extended entry, shows only as the kernel's 2-sector stub and is left out.
    const std::vector<std::pair<std::string, std::pair<uint64_t, uint64_t>>> expected = {
        {"p1", {2048, 20480}}, {"p2", {22528, 10240}}, {"p5", {34816, 16384}}, {"p6", {53248, 8192}}};
    ASSERT_EQ(rows.size(), expected.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].device, expected[i].first);
        EXPECT_EQ(rows[i].start, expected[i].second.first) << rows[i].device;
        EXPECT_EQ(rows[i].size, expected[i].second.second) << rows[i].device;
    }
    EXPECT_TRUE(std::all_of(diskNumbers.begin(), diskNumbers.end(), [&](uint32_t n) { return n == diskNumbers[0]; }));
    ASSERT_NE(mounted, nullptr);
    if (disk.Mounted()) {
        EXPECT_EQ(mounted->volumePath, Widen(disk.MountPoint()));
    } else {
        std::cout << "[          ] mounting the ext4 partition failed here; mount point not checked\n";
    }
}

}  // namespace
