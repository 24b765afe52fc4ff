// The -json document as users get it from the built tool: every document the
// suite writes here (the samples, images made by sfdisk and sgdisk, the hostile
// disks, the image corpus when ../shared holds it, and one -all run) validates
// against docs/layscan.schema.json under an independent validator (Debian's
// python3-jsonschema, through scripts/check-json.py). Partition starts and
// sizes are checked against sfdisk -J, GUIDs and names against sgdisk -i.

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <string>

#include <nlohmann/json.hpp>

#include "support/RunTool.h"
#include "support/SuiteDisks.h"

namespace {

using Json = nlohmann::json;

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

#ifndef _WIN32
// Runs the tool on one input with its document in the folder; a disk's failure
// is told on the console with the text the document gives.
Json RunWithJson(const ScratchFolder& dir, const std::string& name, const std::string& input) {
    const std::string document = dir.File(name + ".json");
    const ToolRun run = RunTool(input + " -out \"" + dir.File(name + ".txt") + "\" -json \"" + document + "\"", dir);
    EXPECT_EQ(run.err, "") << name;
    const Json json = Json::parse(golden::ReadFile(document), nullptr, false);
    EXPECT_FALSE(json.is_discarded()) << name << ": not JSON";
    if (json.is_discarded()) return json;
    EXPECT_EQ(json["exitCode"], run.exitCode) << name;
    const std::string told = "Error getting partition info:  ";
    for (const Json& disk : json["disks"])
        if (!disk["failure"].is_null()) {
            EXPECT_NE(run.out.find(told + disk["failure"]["text"].get<std::string>() + "\n"), std::string::npos) << name;
        }
    return json;
}

// Every document in the folder validates against the schema; skips without the validator.
bool ExpectValid(const ScratchFolder& dir) {
    if (!testimages::Run("python3 -c 'import jsonschema'")) return false;
    const std::string check = "python3 '" LAYSCAN_SOURCE_DIR "/scripts/check-json.py' '" LAYSCAN_SOURCE_DIR
                              "/docs/layscan.schema.json' '" + dir.Path().string() + "' > '" + dir.File("log") + "' 2>&1";
    EXPECT_EQ(std::system(check.c_str()), 0) << golden::ReadFile(dir.File("log"));
    return true;
}

// A sparse image of `sectors` 512-byte sectors, partitioned by `command`
// (which gets the image's quoted path at its end); false when the tool is missing.
bool MakeImage(const std::string& path, uint64_t sectors, const std::string& command) {
    std::ofstream(path, std::ios::binary).seekp(static_cast<std::streamoff>(sectors * 512 - 1)).put('\0');
    return testimages::Run(command + " '" + path + "' >/dev/null");
}

TEST(JsonDocumentSlow, EveryDocumentValidates) {
    const ScratchFolder dir("layscan-json");
    int number = 0;
    for (const suitedisks::Disk& disk : suitedisks::All()) {
        const std::string name = "disk-" + std::to_string(number++), input = dir.File(name + ".in");
        if (!disk.make(input)) continue;
        const std::string size = disk.sectorSize ? " -sectorsize " + std::to_string(disk.sectorSize) : "";
        // -verify: the consistency checks' lines are in the document too.
        RunWithJson(dir, name, disk.mode + " '" + input + "'" + size + (number % 2 ? " -verify" : ""));
        std::filesystem::remove(input);
    }
    RunWithJson(dir, "all", "-all");
    if (!ExpectValid(dir)) GTEST_SKIP() << "python3-jsonschema is not installed";
}

// The GUIDs, names and extents of each entry as sgdisk -i gives them.
TEST(JsonDocumentSlow, SgdiskImageAgreesWithSgdisk) {
    const ScratchFolder dir("layscan-json-sgdisk");
    const std::string gpt = dir.File("sgdisk.img");
    if (!MakeImage(gpt, 81920, "sgdisk -n 1:2048:+8M -t 1:ef00 -c 1:'EFI system' -n 2:0:+8M -t 2:0700 "
                               "-c 2:'Données ✓' -n 3:0:0 -t 3:8300 -c 3:root"))
        GTEST_SKIP() << "sgdisk is not installed";
    RunWithJson(dir, "verify", "-verify -image '" + gpt + "'");
    const Json entries = RunWithJson(dir, "sgdisk", "-image '" + gpt + "'")["disks"][0]["gpt"]["entries"];
    ASSERT_EQ(entries.size(), 3u);
    for (const Json& e : entries) {
        const std::string info = testimages::Capture("sgdisk -i " + std::to_string(e["index"].get<int>() + 1) + " '" +
                                                     gpt + "'");
        auto upper = [](std::string text) {
            for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
            return text;
        };
        for (const std::string& line : {"Partition GUID code: " + upper(e["typeGuid"]) + " ",
                                        "Partition unique GUID: " + upper(e["uniqueGuid"]) + "\n",
                                        "First sector: " + e["firstLba"].dump() + " ", "Last sector: " + e["lastLba"].dump() + " ",
                                        "Partition name: '" + e["name"].get<std::string>() + "'\n"})
            EXPECT_NE(info.find(line), std::string::npos) << line << "\n" << info;
    }
    ExpectValid(dir);
}

// sfdisk's own account of its table, with the gaps of at least 64 sectors it
// leaves, is what the document's partition rows show; sfdisk writes CHS values
// for a geometry of its own, and nothing else is wrong.
TEST(JsonDocumentSlow, SfdiskImagesAgreeWithSfdisk) {
    const ScratchFolder dir("layscan-json-sfdisk");
    const std::pair<uint64_t, const char*> cases[] = {
        {140000, "start=2048, size=20480, type=7, bootable\\nstart=22528, size=10240, type=83\\nstart=120000, "
                 "size=10000, type=c\\nstart=32768, size=80000, type=f\\nsize=10000, type=7\\nsize=15000, type=83\\n"
                 "size=5000, type=c\\n1 MB"},
        {300000, "start=2048, size=20480, type=7\\nstart=22528, type=5\\nsize=10240, type=83\\nsize=8192, type=7\\n"
                 "size=30000, type=b\\n1 MB"},
        {400000, "start=63, size=16002, type=6\\nstart=16065, size=300000, type=f\\nstart=16128, size=16002, "
                 "type=7\\nstart=32193, size=64000, type=82\\nCylinder"},
    };
    for (const auto& [sectors, text] : cases) {
        const std::string script = text, image = dir.File(std::to_string(sectors) + ".img");
        const size_t cut = script.rfind("\\n") + 2;
        if (!MakeImage(image, sectors, "printf 'label: dos\\n" + script.substr(0, cut) + "' | sfdisk --no-reread --no-tell-kernel"))
            GTEST_SKIP() << "sfdisk is not installed";
        std::vector<std::string> theirs, ours;
        std::vector<std::pair<uint64_t, uint64_t>> used[2];  // outside and inside the extended partition
        uint64_t extStart = 0, extEnd = 0;
        Json extended;
        const Json table = Json::parse(testimages::Capture("sfdisk -J '" + image + "'"));  // outlives the loop
        for (const Json& p : table["partitiontable"]["partitions"]) {
            const uint64_t start = p["start"], size = p["size"];
            const bool logical = start > extStart && start < extEnd;
            if (p["type"] == "f" || p["type"] == "5")
                extended = {{"type", std::stoi(p["type"].get<std::string>(), nullptr, 16)}, {"start", start}, {"count", size}},
                extStart = start, extEnd = start + size;
            used[logical].emplace_back(start, size);
            theirs.push_back(std::string(p.value("bootable", false) ? "Active " : "") + (logical ? "Logical " : "Primary ") +
                             std::to_string(start) + "+" + std::to_string(size));
        }
        used[0].emplace_back(sectors, 0), used[1].emplace_back(extEnd, 0);
        for (uint64_t inside = 0; inside < 2; ++inside) {
            std::sort(used[inside].begin(), used[inside].end());
            for (uint64_t first = inside * (extStart + 1); const auto& [start, size] : used[inside]) {
                if (start > first && start - first >= 64)
                    theirs.push_back((inside ? "In Extended " : " ") + std::to_string(first) + "+" + std::to_string(start - first));
                first = std::max(first, start + size);
            }
        }
        RunWithJson(dir, std::to_string(sectors) + "-verify", "-verify -image '" + image + "'");
        const Json disk = RunWithJson(dir, std::to_string(sectors), "-image '" + image + "'")["disks"][0];
        for (const Json& row : disk["mbr"]["partitions"]) {
            ours.push_back(row["status"].get<std::string>() + " " + row["start"].dump() + "+" + row["count"].dump());
            if (row["kind"] == "logical") {
                EXPECT_TRUE(row["tableLba"] >= extStart && row["tableLba"] < row["start"]) << row.dump();
            }
        }
        std::sort(theirs.begin(), theirs.end()), std::sort(ours.begin(), ours.end());
        EXPECT_EQ(ours, theirs);
        EXPECT_EQ(disk["mbr"]["extendedPartition"], extended);
        EXPECT_EQ(disk["alignment"], script.substr(cut));
        for (const Json& warning : disk["warnings"])
            EXPECT_TRUE(std::regex_search(warning["text"].get<std::string>(),
                                          std::regex("^WARNING: (Invalid )?(Begin|End) CHS"))) << warning.dump();
    }
    ExpectValid(dir);
}
#endif

}  // namespace
