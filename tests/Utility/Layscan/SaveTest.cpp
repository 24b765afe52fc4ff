// -save as a user runs it: a disk captured with -save and reported again with
// -file gives the same report, and a capture that cannot be written, or that
// would be written over its input, fails cleanly and leaves nothing behind.

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "SectorBuffer/Dev/SectorFile.h"
#include "support/FileBytes.h"
#include "support/HostileDisks.h"
#include "support/RunTool.h"
#include "support/VolumeImages.h"

namespace {

namespace fs = std::filesystem;

struct Disk {
    std::string name;
    std::function<bool(const std::string& path)> make;  // false: not on this machine
    std::string mode = "-image";                          // or -file: a re-save
    uint32_t sectorSize = 0;
    bool sample = false;
};

// A sector file written out as the raw image of its whole disk.
bool ExpandSample(const std::string& name, const std::string& path) {
    SectorFile file(Widen(LAYSCAN_SOURCE_DIR "/samples/" + name), true);
    std::vector<uint8_t> bytes(file.GetSectorCount() * file.GetBytesPerSector());
    file.Read(0, file.GetSectorCount(), bytes.data());
    WriteFileBytes(path, bytes);
    return true;
}

std::vector<Disk> SuiteDisks() {
    std::vector<Disk> disks;
    for (const char* sample : {"mbr-disk.sf", "gpt-disk.sf"})
        disks.push_back({std::string("sample ") + sample, [=](const std::string& p) { return ExpandSample(sample, p); },
                         "-image", 0, true});
    for (const char* sample : {"mbr-disk.sf", "gpt-disk.sf"})
        disks.push_back({std::string("re-saved sample ") + sample, [=](const std::string& p) {
                             fs::copy_file(LAYSCAN_SOURCE_DIR "/samples/" + std::string(sample), p);
                             return true;
                         },
                         "-file"});
    for (const hostile::Case& c : hostile::Cases()) {
        if (c.largeFile) continue;
        disks.push_back({"hostile " + c.name, [make = c.make](const std::string& p) { return make(p), true; },
                         c.kind == hostile::Kind::SectorFile ? "-file" : "-image", c.sectorSize});
    }
    for (const char* name : {"gpt", "dos+bsd", "fat", "small-fat32", "exfat", "ntfs", "fat32_xp_label1",
                             "fat32_xp_none", "fat16_noheads", "bitlocker-win7"}) {
        disks.push_back({std::string("corpus ") + name, [=](const std::string& p) {
                             testimages::ScratchFile unpacked(std::string(name) + ".img");
                             return testimages::UnpackCorpus(name, unpacked) && (fs::copy_file(unpacked.Path(), p), true);
                         }});
    }
    return disks;
}

TEST(Save, RoundTripGivesTheSameReport) {
    ScratchFolder dir("layscan-save-roundtrip");
    int captured = 0;
    for (const Disk& disk : SuiteDisks()) {
        SCOPED_TRACE(disk.name);
        const std::string input = dir.File("input"), saved = dir.File("saved.sf");
        const std::string direct = dir.File("direct.txt"), fromFile = dir.File("from-file.txt");
        for (const std::string& f : {input, saved, direct, fromFile}) fs::remove(f);
        if (!disk.make(input)) continue;
        const std::string size = disk.sectorSize ? " -sectorsize " + std::to_string(disk.sectorSize) : "";
        const ToolRun first = RunTool(disk.mode + " \"" + input + "\"" + size + " -save \"" + saved + "\" -out \"" +
                                          direct + "\"", dir);
        if (!fs::exists(saved)) {
            // Only a source that cannot be opened is not captured: nothing was read.
            EXPECT_EQ(first.exitCode, 1) << first.out;
            EXPECT_EQ(first.out.find("Error: unable to open"), 0u) << first.out;
            continue;
        }
        ++captured;
        const ToolRun second = RunTool("-file \"" + saved + "\" -out \"" + fromFile + "\"", dir);
        EXPECT_EQ(second.exitCode, first.exitCode) << first.out << second.out;
        EXPECT_EQ(golden::ReadFile(fromFile), golden::ReadFile(direct));
        // A re-save brings an old file to the current version.
        EXPECT_EQ(SectorFile(Widen(saved), true).GetHeader().GetVersion(), SectorFile::kCurrentVersion);
        if (disk.sample) {
            EXPECT_LT(fs::file_size(saved), 64u * 1024);
        }
        EXPECT_EQ(std::distance(fs::directory_iterator(dir.Path()), {}), 6) << "a temporary file was left";
    }
    EXPECT_GT(captured, 40);
}

// Each run must fail before anything is written, and leave the input as it was.
TEST(Save, RefusedOrFailedCaptureLeavesNoFile) {
    ScratchFolder dir("layscan-save-failures");
    const std::string image = dir.File("disk.img"), sf = dir.File("disk.sf");
    hostile::WriteChain(image, 4);
    fs::copy_file(LAYSCAN_SOURCE_DIR "/samples/mbr-disk.sf", sf);
    dir.Write("plain.txt", "not a folder");
    const std::vector<uint8_t> imageBytes = ReadFileBytes(image), sfBytes = ReadFileBytes(sf);
    std::error_code linked;
    fs::create_hard_link(image, dir.File("link.img"), linked);

    const struct {
        std::string arguments;
        std::string console;  // the console's first line
        std::string absent;   // a path that must not exist afterwards
    } cases[] = {
        {"-image \"DIR/disk.img\" -save \"DIR/disk.img\"", "Error: -save names the disk being read, which is never written over: DIR/disk.img", ""},
        {"-file \"DIR/disk.sf\" -save \"DIR/disk.sf\"", "Error: -save names the disk being read, which is never written over: DIR/disk.sf", ""},
        {"-image \"DIR/disk.img\" -save \"DIR/./disk.img\"", "Error: -save names the disk being read, which is never written over: DIR/./disk.img", ""},
        {"-image \"DIR/disk.img\" -save \"DIR/absent/new.sf\"", "Getting partition information from image DIR/disk.img", "DIR/absent/new.sf"},
        {"-image \"DIR/disk.img\" -save \"DIR/plain.txt/new.sf\"", "Getting partition information from image DIR/disk.img", "DIR/plain.txt/new.sf"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.arguments);
        fs::remove(dir.File("layscan.txt"));
        const ToolRun run = RunTool(golden::Replaced(c.arguments, "DIR/", dir.File("")), dir);
        const std::string out = golden::Replaced(run.out, dir.File(""), "DIR/");
        EXPECT_EQ(run.exitCode, 1) << out;
        EXPECT_EQ(out.substr(0, out.find('\n')), c.console);
        if (c.absent.empty()) {
            EXPECT_FALSE(fs::exists(dir.File("layscan.txt"))) << "refused, yet the report was started";
        } else {
            const std::string path = golden::Replaced(c.absent, "DIR/", "");
            EXPECT_NE(out.find("Error: unable to write sector file DIR/" + path + "\n\t"), std::string::npos) << out;
            EXPECT_FALSE(fs::exists(dir.File(path)));
        }
    }
    if (!linked) {
        const ToolRun run = RunTool("-image \"" + dir.File("disk.img") + "\" -save \"" + dir.File("link.img") + "\"", dir);
        EXPECT_EQ(run.exitCode, 1) << run.out;
        EXPECT_EQ(run.out.find("Error: -save names the disk being read"), 0u) << run.out;
    }
    EXPECT_EQ(ReadFileBytes(image), imageBytes);
    EXPECT_EQ(ReadFileBytes(sf), sfBytes);
}

}  // namespace
