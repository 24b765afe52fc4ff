// -save as a user runs it: a disk captured with -save and reported again with
// -file gives the same report. The refused and failed captures are rows of
// tests/golden/layscan-console.txt.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "SectorBuffer/Dev/SectorFile.h"
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

}  // namespace
