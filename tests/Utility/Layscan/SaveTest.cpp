// -save as a user runs it: a disk captured with -save and reported again with
// -file gives the same report, and a capture that cannot be written, or that
// would be written over its input, fails cleanly and leaves nothing behind.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "SectorBuffer/Dev/SectorFile.h"
#include "support/FileBytes.h"
#include "support/HostileDisks.h"
#include "support/RunTool.h"
#include "support/SuiteDisks.h"

namespace {

namespace fs = std::filesystem;

TEST(Save, RoundTripGivesTheSameReport) {
    ScratchFolder dir("layscan-save-roundtrip");
    int captured = 0;
    for (const suitedisks::Disk& disk : suitedisks::All()) {
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
        if (disk.name.starts_with("sample")) {
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

    // The input, and the capture's path: refused when it names the input (a
    // hard link, where the file system has them, is the input as well); when
    // it cannot be written, the disk is read and the capture fails.
    const std::pair<std::string, std::string> cases[] = {
        {"-image disk.img", "disk.img"}, {"-file disk.sf", "disk.sf"}, {"-image disk.img", "./disk.img"},
        {"-image disk.img", linked ? "disk.img" : "link.img"}, {"-image disk.img", "absent/new.sf"},
        {"-image disk.img", "plain.txt/new.sf"}};
    for (const auto& [input, save] : cases) {
        SCOPED_TRACE(input + " -save " + save);
        fs::remove(dir.File("layscan.txt"));
        const size_t blank = input.find(' ');
        const ToolRun run = RunTool(input.substr(0, blank) + " \"" + dir.File(input.substr(blank + 1)) + "\" -save \"" +
                                        dir.File(save) + "\"", dir);
        EXPECT_EQ(run.exitCode, 1) << run.out;
        if (!save.ends_with("new.sf")) {
            EXPECT_EQ(run.out, "Error: -save names the disk being read, which is never written over: " + dir.File(save) + "\n");
            EXPECT_FALSE(fs::exists(dir.File("layscan.txt"))) << "refused, yet the report was started";
        } else {
            EXPECT_EQ(run.out.rfind("Getting partition information from image " + dir.File("disk.img") + "\n", 0), 0u);
            EXPECT_NE(run.out.find("Error: unable to write sector file " + dir.File(save) + "\n\t"), std::string::npos);
            EXPECT_FALSE(fs::exists(dir.File(save)));
        }
    }
    EXPECT_EQ(ReadFileBytes(image), imageBytes);
    EXPECT_EQ(ReadFileBytes(sf), sfBytes);
}

}  // namespace
