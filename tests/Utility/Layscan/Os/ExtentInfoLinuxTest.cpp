#include "Utility/Layscan/Os/ExtentInfoLinux.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "Base/Dev/Result.h"
#include "support/RunTool.h"

using nsLayout::ExtentInfo;
using nsLayout::ExtentList;

namespace {

namespace fs = std::filesystem;

// A case of tests/golden/os-volumes-linux.txt: a sysfs tree, a /dev folder and
// a mount table made up in a scratch folder; a line "NAME DEV SIZE REMOVABLE" is
// a drive, "DISK/NAME NUMBER DEV START SIZE" a partition ("-" writes an empty
// value); "drives:" lists the drives as numbered. Returns what BuildOsVolumeList
// finds there, as "=> " lines.
std::string VolumesOf(const std::vector<std::string>& lines) {
    const ScratchFolder dir("layscan_osviews");
    fs::create_directories(dir.Path() / "dev");
    std::vector<DriveSlot> drives;
    std::string mountInfo;
    for (const std::string& line : lines) {
        std::istringstream in(line);
        std::string name, values[4];
        in >> name;
        if (name == "mountinfo:") mountInfo += line.substr(11) + "\n";
        for (std::string drive; name == "drives:" && in >> drive;)
            drives.push_back({unsigned(drives.size()), Widen("/dev/" + drive)});
        if (name.ends_with(':')) continue;
        for (std::string& value : values) in >> value;
        const bool drive = values[3].empty();
        const fs::path folder = dir.Path() / "sys/block" / name;
        for (const char* sub : {"queue", "holders"}) fs::create_directories(folder / (drive ? sub : ""));  // no partitions
        const std::vector<const char*> files = drive ? std::vector<const char*>{"dev", "size", "removable"}
                                                     : std::vector<const char*>{"partition", "dev", "start", "size"};
        for (size_t i = 0; i < files.size(); ++i) std::ofstream(folder / files[i]) << (values[i] == "-" ? "" : values[i]) << "\n";
    }
    if (!mountInfo.empty()) std::ofstream(dir.Path() / "mountinfo") << mountInfo;
    const OsVolumeSources sources{(dir.Path() / "sys").string(), (dir.Path() / "dev").string(),
                                  (dir.Path() / "mountinfo").string()};
    ExtentList volumes{ExtentInfo{}};  // replaced, not appended to
    std::string found = BuildOsVolumeList(drives, sources, volumes) ? "=> found\n" : "=> none\n";
    for (const ExtentInfo& e : volumes)
        found += "=> " + std::to_string(e.diskNumber) + " " + std::to_string(e.startingOffset / 512) + "+" +
                 std::to_string(e.extentLength / 512) + " " +
                 golden::Replaced(Narrow(e.volumeGuidPath), sources.devRoot + "/", "") + " " + Narrow(e.volumePath) +
                 (e.sectorSize ? " sector size set" : "") + "\n";
    return found;
}

TEST(ExtentInfoLinux, VolumesOfMadeUpSystems) {
    std::string text;
    std::vector<std::string> lines;
    for (const std::string& line : golden::Lines(golden::ReadFile(LAYSCAN_SOURCE_DIR "/tests/golden/os-volumes-linux.txt"))) {
        if (line.starts_with("=> ")) continue;
        if (!line.empty()) text += line + "\n", lines.push_back(line);
        else if (!lines.empty()) text += VolumesOf(lines) + "\n", lines.clear();
    }
    golden::ExpectMatches("os-volumes-linux.txt", text);
}

}  // namespace
