// The -json document as users get it from the built tool: every document the
// suite writes here (the samples, the hostile disks, the image corpus when
// ../shared holds it, images made by sfdisk, and one -all run) validates
// against docs/layscan.schema.json under an independent validator (Debian's
// python3-jsonschema, through scripts/check-json.py). tests/golden/json-sfdisk.txt
// holds, per sfdisk layout, the document's partition rows, extended partition,
// alignment and warnings; they were checked against sfdisk -J (every partition,
// and each gap of at least 64 sectors it leaves) and are only the CHS values
// sfdisk writes for a geometry of its own.

#include <gtest/gtest.h>

#include <fstream>
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
    const Json json = Json::parse(golden::ReadFile(document));  // a document that is not JSON fails the test
    EXPECT_EQ(json["exitCode"], run.exitCode) << name;
    for (const Json& disk : json["disks"])
        if (!disk["failure"].is_null()) {
            EXPECT_NE(run.out.find("Error getting partition info:  " + disk["failure"]["text"].get<std::string>() + "\n"),
                      std::string::npos) << name;
        }
    return json;
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
    // Each "== SECTORS | SCRIPT" of json-sfdisk.txt: a sparse image partitioned by sfdisk.
    const bool sfdisk = testimages::HaveTool("sfdisk");
    std::string text;
    for (const std::string& line : golden::Lines(golden::ReadFile(LAYSCAN_SOURCE_DIR "/tests/golden/json-sfdisk.txt"))) {
        if (!sfdisk || !line.starts_with("== ")) continue;
        const std::string image = dir.File("sfdisk.img"), sectors = line.substr(3, line.find(" |") - 3);
        std::ofstream(image, std::ios::binary).seekp(std::stoll(sectors) * 512 - 1).put('\0');
        EXPECT_TRUE(testimages::Run("printf 'label: dos\\n" + line.substr(line.find("| ") + 2) +
                                    "' | sfdisk --no-reread --no-tell-kernel '" + image + "' >/dev/null")) << line;
        RunWithJson(dir, sectors + "-verify", "-verify -image '" + image + "'");
        const Json disk = RunWithJson(dir, sectors, "-image '" + image + "'")["disks"][0];
        text += line + "\n";
        for (const Json& row : disk["mbr"]["partitions"]) text += row.dump() + "\n";
        text += "extended " + disk["mbr"]["extendedPartition"].dump() + ", alignment " + disk["alignment"].dump() + "\n";
        for (const Json& warning : disk["warnings"]) text += warning["text"].get<std::string>() + "\n";
    }
    if (sfdisk) golden::ExpectMatches("json-sfdisk.txt", text);
    if (!testimages::Run("python3 -c 'import jsonschema'")) GTEST_SKIP() << "python3-jsonschema is not installed";
    const std::string check = "python3 '" LAYSCAN_SOURCE_DIR "/scripts/check-json.py' '" LAYSCAN_SOURCE_DIR
                              "/docs/layscan.schema.json' '" + dir.Path().string() + "' > '" + dir.File("log") + "' 2>&1";
    EXPECT_EQ(std::system(check.c_str()), 0) << golden::ReadFile(dir.File("log"));
}
#endif

}  // namespace
