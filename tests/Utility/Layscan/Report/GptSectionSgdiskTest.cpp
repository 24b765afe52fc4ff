// GPT disks that sgdisk made (and one another program made): the model, the
// warnings and the listing read against what sgdisk itself says about them.

#include <gtest/gtest.h>

#include <map>
#include <regex>

#include "Utility/Layscan/Model/GptChecks.h"
#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Report/GptSection.h"
#include "support/CapturedReport.h"
#include "support/GoldenFile.h"
#include "support/GptTestImage.h"
#include "support/SparseSectorProvider.h"

using nsLayout::CheckGptHeaders;
using nsLayout::CheckGptEntry;

namespace {

std::string Upper(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

// The first group of the first match of pattern in text (commas dropped), or "(missing)".
std::string Find(const std::string& text, const std::string& pattern) {
    std::smatch m;
    std::string found = std::regex_search(text, m, std::regex(pattern)) ? m[1].str() : "(missing)";
    std::erase(found, ',');
    return found;
}

void ExpectAsSgdiskSays(const std::string& image, const std::vector<uint8_t>& bytes, size_t partitions) {
    SparseSectorProvider sectors(bytes, 512);
    ASSERT_TRUE(nsLayout::IsGpt(sectors));
    nsLayout::GptDisk disk(sectors);
    EXPECT_EQ(CheckGptHeaders(disk), L"");
    EXPECT_EQ(disk.GetBackupTable().GetHeaderLba(), sectors.GetSectorCount() - 1);

    // The header data against "sgdisk -p", and each listing row against "sgdisk -i N".
    const std::string printed = testimages::Capture("sgdisk -p '" + image + "'");
    CapturedReport header, table;
    WriteGptHeaderData(disk, header.Stream());
    const auto rows = golden::Rows("gpt-sgdisk.txt");
    for (const auto& v : rows)
        if (v[0] == "header") {
            EXPECT_EQ(Upper(Find(header.Narrow(), v[1] + ": +(\\S+)")), Find(printed, v[2]));
        }

    // Each of the model's partitions against "sgdisk -i N": one sgdisk does not know shows as missing fields.
    ASSERT_EQ(disk.GetPartitions().size(), partitions);
    WriteGptPartitionTable(disk, 0, table.Stream());
    const std::string listing = table.Narrow();
    for (const auto& partition : disk.GetPartitions()) {
        const uint64_t index = partition->GetEntryIndex();
        const std::string info = testimages::Capture("sgdisk -i " + std::to_string(index + 1) + " '" + image + "'");
        SCOPED_TRACE(image + " / entry " + std::to_string(index));
        EXPECT_EQ(CheckGptEntry(disk, index), L"");
        std::smatch m;
        const std::regex row("\n" + std::to_string(index) + R"( +([0-9a-f-]{36}) +\d+ +\d+  ([0-9A-F]{16}) +([\d,]+) +([\d,]+) [^\n]*\n    ([0-9a-f-]{36})(?:  ([^\n]*))?\n)");
        ASSERT_TRUE(std::regex_search(listing, m, row)) << listing;
        for (const auto& v : rows) {
            if (v[0] != "field") continue;
            const int group = std::stoi(v[1]);
            const std::string ours = m[group].matched ? Find(m[group].str(), "(.*)") : "";
            EXPECT_EQ(v[3] == "upper" ? Upper(ours) : ours, Find(info, v[2])) << v[2];
        }
    }
}

}  // namespace

// The disks of tests/golden/gpt-sgdisk.txt.
TEST(GptSectionSgdiskSlow, DisksAgreeWithSgdisk) {
#ifdef _WIN32
    GTEST_SKIP() << "sgdisk does not run under Windows";
#endif
    if (!testimages::HaveTool("sgdisk")) GTEST_SKIP() << "sgdisk is not installed";
    for (const auto& v : golden::Rows("gpt-sgdisk.txt")) {
        if (v[0] != "disk") continue;
        const uint64_t sectors = std::stoull(v[1]);
        const std::string& args = v[3];
        const size_t partitions = std::stoul(v[2]);
        const testimages::ScratchFile image("sgdisk.img");
        const std::string path = image.Path().string();
        if (!sectors && !testimages::UnpackCorpus(args, image)) continue;  // no corpus here
        const std::vector<uint8_t> bytes = sectors ? gpttest::SgdiskImage(path, sectors, args) : testimages::ReadHead(path);
        ASSERT_TRUE(!bytes.empty() && (!sectors || bytes.size() == sectors * 512)) << args;
        ExpectAsSgdiskSays(path, bytes, partitions);
    }
}
