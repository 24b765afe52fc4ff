#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Utility/Layscan/DriveList.h"
#include "support/ScratchFolder.h"

namespace {

// Lays out a fake /sys/block: each entry a folder; "loopN+" gets a backing file.
std::filesystem::path FakeSysBlock(const ScratchFolder& folder, const std::vector<std::string>& entries) {
    const auto root = folder.Path() / "block";
    for (std::string name : entries) {
        const bool backed = !name.empty() && name.back() == '+';
        if (backed) name.pop_back();
        std::filesystem::create_directories(root / name);
        if (name.rfind("loop", 0) == 0) std::filesystem::create_directories(root / name / "loop");
        if (backed) std::ofstream(root / name / "loop" / "backing_file") << "/images/disk.img\n";
    }
    return root;
}

std::vector<std::wstring> Paths(const std::vector<DriveSlot>& drives) {
    std::vector<std::wstring> paths;
    for (const auto& d : drives) paths.push_back(std::to_wstring(d.number) + L" " + d.path);
    return paths;
}

}  // namespace

TEST(DriveList, WholeDisksSortedWithoutRamAndUnbackedLoops) {
    const struct {
        const char* name;
        std::vector<std::string> entries;
        std::vector<std::wstring> expected;
    } cases[] = {
        {"typical", {"vda", "zram0", "ram0", "ram15", "loop0", "loop1", "sda"}, {L"0 /dev/sda", L"1 /dev/vda"}},
        {"backed loop", {"loop3+", "loop0", "nvme0n1", "sdb"},
         {L"0 /dev/loop3", L"1 /dev/nvme0n1", L"2 /dev/sdb"}},
        {"by name, not by number", {"sdb", "sdaa", "sda", "sr0"},
         {L"0 /dev/sda", L"1 /dev/sdaa", L"2 /dev/sdb", L"3 /dev/sr0"}},
        {"nothing", {}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ScratchFolder folder("layscan_sysblock");
        EXPECT_EQ(Paths(ListBlockDrives(FakeSysBlock(folder, c.entries))), c.expected);
    }
    ScratchFolder folder("layscan_sysblock_absent");
    EXPECT_TRUE(ListBlockDrives(folder.Path() / "no-such-folder").empty());
}

TEST(DriveList, TypedNumberPicksFromTheListOrFailsToOpen) {
    const std::vector<DriveSlot> drives = {{0, L"/dev/sda"}, {1, L"/dev/vda"}};
    const struct {
        const wchar_t* typed;
        const wchar_t* path;
    } cases[] = {
        {L"0", L"/dev/sda"},
        {L"1", L"/dev/vda"},
        {L"01", L"/dev/vda"},
        {L"2", L"/dev/layscan-drive-2-not-found"},
        {L"99999999999999999999", L"/dev/layscan-drive-99999999999999999999-not-found"},
        {L"x1", L"/dev/layscan-drive-x1-not-found"},
        {L"", L"/dev/layscan-drive--not-found"},
    };
    for (const auto& c : cases) EXPECT_EQ(DrivePathFromList(drives, c.typed), c.path) << c.typed;
}
