#include "Utility/Layscan/Os/DriveList.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/ScratchFolder.h"

TEST(DriveList, WholeDisksSortedByNameWithoutRamAndUnbackedLoops) {
    const std::pair<std::vector<std::string>, std::wstring> cases[] = {
        {{"vda", "zram0", "ram0", "ram15", "loop0", "loop1", "sda"}, L"0 /dev/sda, 1 /dev/vda, "},
        {{"loop3+", "loop0", "nvme0n1", "sdb"}, L"0 /dev/loop3, 1 /dev/nvme0n1, 2 /dev/sdb, "},  // + has a backing file
        {{"sdb", "sdaa", "sda", "sr0"}, L"0 /dev/sda, 1 /dev/sdaa, 2 /dev/sdb, 3 /dev/sr0, "},
        {{}, L""},
    };
    for (const auto& [entries, expected] : cases) {
        ScratchFolder folder("layscan_sysblock");
        const auto root = folder.Path() / "block";
        for (std::string name : entries) {
            const bool backed = name.back() == '+';
            if (backed) name.pop_back();
            std::filesystem::create_directories(root / name / (name.starts_with("loop") ? "loop" : ""));
            if (backed) std::ofstream(root / name / "loop" / "backing_file") << "/images/disk.img\n";
        }
        std::wstring listed;
        for (const DriveSlot& d : ListBlockDrives(root)) listed += std::to_wstring(d.number) + L" " + d.path + L", ";
        EXPECT_EQ(listed, expected);
    }
    EXPECT_TRUE(ListBlockDrives("/no-such-folder/block").empty());
}

TEST(DriveList, TypedNumberPicksFromTheListOrFailsToOpen) {
    const std::vector<DriveSlot> drives = {{0, L"/dev/sda"}, {1, L"/dev/vda"}};
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"0", L"/dev/sda"},
        {L"01", L"/dev/vda"},
        {L"2", L"/dev/layscan-drive-2-not-found"},
        {L"99999999999999999999", L"/dev/layscan-drive-99999999999999999999-not-found"},
        {L"x1", L"/dev/layscan-drive-x1-not-found"},
        {L"", L"/dev/layscan-drive--not-found"},
    };
    for (const auto& [typed, path] : cases) EXPECT_EQ(DrivePathFromList(drives, typed), path) << typed;
}
