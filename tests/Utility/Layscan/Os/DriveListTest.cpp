#include "Utility/Layscan/Os/DriveList.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "Base/Dev/Result.h"
#include "support/GoldenFile.h"
#include "support/ScratchFolder.h"

// Each line of tests/golden/block-drives.txt: the entries of a fake
// /sys/block (+: a loop device with a backing file), then the drives listed.
TEST(DriveList, WholeDisksSortedByNameWithoutRamAndUnbackedLoops) {
    std::string text;
    for (const std::string& line : golden::Lines(golden::ReadFile(LAYSCAN_SOURCE_DIR "/tests/golden/block-drives.txt"))) {
        ScratchFolder folder("layscan_sysblock");
        const auto root = folder.Path() / "block";
        std::istringstream in(line.substr(0, line.find("=>")));
        for (std::string name; in >> name;) {
            const bool backed = name.back() == '+';
            if (backed) name.pop_back();
            std::filesystem::create_directories(root / name / (name.starts_with("loop") ? "loop" : ""));
            if (backed) std::ofstream(root / name / "loop" / "backing_file") << "/images/disk.img\n";
        }
        text += line.substr(0, line.find("=>") + 2);
        for (const DriveSlot& d : ListBlockDrives(root)) text += " " + std::to_string(d.number) + " " + Narrow(d.path);
        text += "\n";
    }
    golden::ExpectMatches("block-drives.txt", text);
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
