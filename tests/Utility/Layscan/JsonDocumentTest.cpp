// The -json document as users get it from the built tool: every document the
// suite writes here (the samples, images made by sfdisk and sgdisk, the hostile
// disks, the image corpus when ../shared holds it, and one -all run) validates
// against docs/layscan.schema.json under an independent validator (Debian's
// python3-jsonschema, through scripts/check-json.py), and its warnings are the
// WARNING and ERROR lines of the text report of the same run. Partition
// starts and sizes are checked against sfdisk -J, GUIDs and names against
// sgdisk -i.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <string>
#include <tuple>

#include <nlohmann/json.hpp>

#include "support/GoldenFile.h"
#include "support/HostileDisks.h"
#include "support/RunTool.h"
#include "support/VolumeImages.h"

namespace {

using Json = nlohmann::json;

#ifndef _WIN32
// Runs the tool on one input, its report and document side by side in the folder.
Json RunWithJson(const ScratchFolder& dir, const std::string& name, const std::string& input) {
    const std::string report = dir.File(name + ".txt"), document = dir.File(name + ".json");
    const ToolRun run = RunTool(input + " -out \"" + report + "\" -json \"" + document + "\"", dir);
    EXPECT_EQ(run.err, "") << name;
    Json json = Json::parse(golden::ReadFile(document), nullptr, false);
    EXPECT_FALSE(json.is_discarded()) << name << ": not JSON";
    if (json.is_discarded()) return json;
    EXPECT_EQ(json["exitCode"], run.exitCode) << name;
    // A disk's report that ended on a failure says so on the console, with
    // the text the document gives.
    const std::string told = "Error getting partition info:  ";
    const size_t at = run.out.find(told);
    for (const Json& disk : json["disks"]) {
        if (at == std::string::npos) {
            EXPECT_TRUE(disk["failure"].is_null()) << name << ": " << disk["failure"].dump();
        } else if (!disk["failure"].is_null()) {
            const std::string text = disk["failure"]["text"];
            EXPECT_EQ(run.out.compare(at + told.size(), text.size() + 1, text + "\n"), 0) << name << ": " << text;
        }
    }
    return json;
}

// A sparse image of `sectors` 512-byte sectors, partitioned by `command`
// (which gets the image's quoted path at its end); false when the tool is missing.
bool MakeImage(const std::string& path, uint64_t sectors, const std::string& command) {
    std::ofstream(path, std::ios::binary).seekp(static_cast<std::streamoff>(sectors * 512 - 1)).put('\0');
    return testimages::Run(command + " '" + path + "' >/dev/null");
}

const char* const kSfdiskScript =
    "printf 'label: dos\\nstart=2048, size=20480, type=7, bootable\\nstart=22528, size=10240, type=83\\n"
    "start=32768, size=80000, type=f\\nsize=10000, type=7\\nsize=15000, type=83\\nsize=5000, type=c\\n' | "
    "sfdisk --no-reread --no-tell-kernel";
const char* const kSgdiskCommand =
    "sgdisk -n 1:2048:+8M -t 1:ef00 -c 1:'EFI system' -n 2:0:+8M -t 2:0700 -c 2:'Données ✓' -n 3:0:0 -t 3:8300 "
    "-c 3:root";

// The real-tool images, made in dir; empty names where a tool is missing.
std::pair<std::string, std::string> RealToolImages(const ScratchFolder& dir) {
    const std::string mbr = dir.File("sfdisk.img"), gpt = dir.File("sgdisk.img");
    return {MakeImage(mbr, 140000, kSfdiskScript) ? mbr : "", MakeImage(gpt, 81920, kSgdiskCommand) ? gpt : ""};
}
#endif

TEST(JsonDocumentSlow, EveryDocumentValidatesAndHoldsTheReportsWarnings) {
#ifdef _WIN32
    GTEST_SKIP() << "the validator is a Linux package; the Windows build is held to the Linux bytes by the samples";
#else
    if (!testimages::Run("python3 -c 'import jsonschema'")) GTEST_SKIP() << "python3-jsonschema is not installed";
    const ScratchFolder dir("layscan-json");
    for (const std::string kind : {"mbr", "gpt"})
        RunWithJson(dir, "sample-" + kind, "-file \"" LAYSCAN_SOURCE_DIR "/samples/" + kind + "-disk.sf\"");
    const auto [mbr, gpt] = RealToolImages(dir);
    for (const std::string& image : {mbr, gpt}) {
        if (image.empty()) continue;
        const std::string name = std::filesystem::path(image).stem().string();
        RunWithJson(dir, name, "-image '" + image + "'");
        RunWithJson(dir, name + "-verify", "-verify -image '" + image + "'");
    }
    int number = 0;
    for (const hostile::Case& c : hostile::Cases()) {
        if (c.largeFile) continue;
        const std::string name = "hostile-" + std::to_string(number++), input = dir.File(name + ".in");
        c.make(input);
        const std::string size = c.sectorSize ? " -sectorsize " + std::to_string(c.sectorSize) : "";
        // -verify: the consistency checks' lines are in the report too.
        RunWithJson(dir, name, (c.kind == hostile::Kind::SectorFile ? "-file '" : "-image '") + input + "'" + size +
                                   (number % 2 ? " -verify" : ""));
        std::filesystem::remove(input);
    }
    for (const char* name : {"gpt", "dos+bsd", "fat", "exfat", "ntfs", "small-fat32", "fat32_xp_label1",
                             "fat32_xp_none", "fat16_noheads", "bitlocker-win7"}) {
        const testimages::ScratchFile image(std::string(name) + ".img");
        if (testimages::UnpackCorpus(name, image))
            RunWithJson(dir, std::string("corpus-") + name, "-image " + image.Quoted());
    }
    RunWithJson(dir, "all", "-all");

    const std::string check = "python3 '" LAYSCAN_SOURCE_DIR "/scripts/check-json.py' '" LAYSCAN_SOURCE_DIR
                              "/docs/layscan.schema.json' '" + dir.Path().string() + "' > '" + dir.File("check.log") +
                              "' 2>&1";
    EXPECT_EQ(std::system(check.c_str()), 0) << golden::ReadFile(dir.File("check.log"));
#endif
}

// "-json -": the document alone on standard output, the console lines on the
// error stream; the same document as written to a file.
TEST(JsonDocument, StandardOutputCarriesOnlyTheDocument) {
    const ScratchFolder dir("layscan-json-stdout");
    const std::string sample = LAYSCAN_SOURCE_DIR "/samples/gpt-disk.sf";
    const ToolRun toFile = RunTool("-file \"" + sample + "\" -out r.txt -json r.json", dir);
    const ToolRun toOut = RunTool("-file \"" + sample + "\" -out r.txt -json -", dir);
    EXPECT_EQ(toOut.exitCode, 0);
    EXPECT_EQ(toOut.err, toFile.out);
    EXPECT_EQ(toFile.err, "");
    EXPECT_EQ(toOut.out, golden::ReadFile(dir.File("r.json")));
}

// Partition starts and sizes against sfdisk's own account of its table, and
// GUIDs, names and extents against sgdisk's account of each GPT entry.
TEST(JsonDocumentSlow, RealToolImagesAgreeWithSfdiskAndSgdisk) {
#ifdef _WIN32
    GTEST_SKIP() << "sfdisk and sgdisk run on Linux only";
#else
    const ScratchFolder dir("layscan-json-tools");
    const auto [mbr, gpt] = RealToolImages(dir);
    if (mbr.empty() || gpt.empty()) GTEST_SKIP() << "sfdisk or sgdisk is not installed";

    const Json sfdisk = Json::parse(testimages::Capture("sfdisk -J '" + mbr + "'"));
    std::set<std::pair<uint64_t, uint64_t>> theirs, ours;
    for (const Json& p : sfdisk["partitiontable"]["partitions"]) theirs.emplace(p["start"], p["size"]);
    const Json mbrDisk = RunWithJson(dir, "mbr", "-image '" + mbr + "'")["disks"][0];
    for (const Json& row : mbrDisk["mbr"]["partitions"])
        if (row["kind"] != "free") ours.emplace(row["start"], row["count"]);
    const Json& extended = mbrDisk["mbr"]["extendedPartition"];
    ours.emplace(extended["start"], extended["count"]);
    EXPECT_EQ(ours, theirs) << sfdisk.dump(1);
    EXPECT_EQ(theirs.size(), 6u);

    const Json entries = RunWithJson(dir, "gpt", "-image '" + gpt + "'")["disks"][0]["gpt"]["entries"];
    ASSERT_EQ(entries.size(), 3u);
    for (const Json& entry : entries) {
        const std::string info = testimages::Capture("sgdisk -i " + std::to_string(entry["index"].get<int>() + 1) +
                                                     " '" + gpt + "'");
        auto upper = [](std::string text) {
            for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
            return text;
        };
        for (const auto& [line, value] :
             {std::pair<std::string, std::string>{"Partition GUID code: ", upper(entry["typeGuid"])},
              {"Partition unique GUID: ", upper(entry["uniqueGuid"])},
              {"First sector: ", std::to_string(entry["firstLba"].get<uint64_t>()) + " "},
              {"Last sector: ", std::to_string(entry["lastLba"].get<uint64_t>()) + " "},
              {"Partition name: '", entry["name"].get<std::string>() + "'\n"}})
            EXPECT_NE(info.find(line + value), std::string::npos) << line << value << "\n" << info;
    }
#endif
}

}  // namespace
