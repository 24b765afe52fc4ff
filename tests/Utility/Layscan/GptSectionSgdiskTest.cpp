// The GPT listing of images that sgdisk made, read against what sgdisk itself
// says about them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>
#include <string>

#include "Utility/Layscan/GptDisk.h"
#include "Utility/Layscan/GptSection.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"
#include "support/CapturedReport.h"
#include "support/ScratchFolder.h"
#include "support/VolumeImages.h"

namespace {

std::string Upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

std::string WithoutCommas(std::string text) {
    std::erase(text, ',');
    return text;
}

// The first group of the first match of pattern in text, or "(missing)".
std::string Find(const std::string& text, const std::string& pattern) {
    std::smatch m;
    return std::regex_search(text, m, std::regex(pattern)) ? m[1].str() : "(missing)";
}

struct Row {
    std::string type, unique, first, last, attributes, name;
};

// The entry rows of the listing, by the number they are listed under.
std::map<int, Row> ListedRows(const std::string& listing) {
    std::map<int, Row> rows;
    const std::regex entryLine(R"(^(\d+) +([0-9a-f-]{36}) +\d+ +\d+  ([0-9A-F]{16}) +([\d,]+) +([\d,]+) .*)");
    const std::regex nameLine(R"(^    ([0-9a-f-]{36})(?:  (.*))?)");
    std::istringstream in(listing);
    int current = -1;
    for (std::string line; std::getline(in, line);) {
        std::smatch m;
        if (std::regex_match(line, m, entryLine)) {
            current = std::stoi(m[1]);
            rows[current] = {m[2], "", WithoutCommas(m[4]), WithoutCommas(m[5]), m[3], ""};
        } else if (current >= 0 && std::regex_match(line, m, nameLine)) {
            rows[current].unique = m[1];
            rows[current].name = m[2];
            current = -1;
        }
    }
    return rows;
}

// The listing of image (whose bytes are given) read against sgdisk's own
// account of it.
void ExpectListingAsSgdiskPrints(const std::string& image, const std::vector<uint8_t>& bytes, int partitions,
                                 const std::string& what) {
    const std::string printed = gpttest::Capture("sgdisk -p '" + image + "'");

    MemorySectorProvider sectors(bytes, 512);
    nsLayout::GptDisk disk(sectors);
    CapturedReport header;
    WriteGptHeaderData(disk, header.Stream());
    EXPECT_EQ(Upper(Find(header.Narrow(), R"(Disk GUID: +(\S+))")), Find(printed, R"(Disk identifier \(GUID\): (\S+))"));
    EXPECT_EQ(WithoutCommas(Find(header.Narrow(), R"(First Usable LBA: +(\S+))")),
              Find(printed, R"(First usable sector is (\d+))"));
    EXPECT_EQ(WithoutCommas(Find(header.Narrow(), R"(Last Usable LBA: +(\S+))")),
              Find(printed, R"(last usable sector is (\d+))"));
    EXPECT_EQ(Find(header.Narrow(), R"(Number of Entries: +(\S+))"), Find(printed, R"(table holds up to (\d+) entries)"));

    CapturedReport table;
    WriteGptPartitionTable(disk, 0, table.Stream());
    const std::map<int, Row> rows = ListedRows(table.Narrow());
    EXPECT_EQ(rows.size(), static_cast<size_t>(partitions)) << what;
    for (const auto& [index, row] : rows) {
        const std::string info = gpttest::Capture("sgdisk -i " + std::to_string(index + 1) + " '" + image + "'");
        const std::string entry = what + " / entry " + std::to_string(index);
        EXPECT_EQ(Upper(row.type), Find(info, R"(Partition GUID code: (\S+))")) << entry;
        EXPECT_EQ(Upper(row.unique), Find(info, R"(Partition unique GUID: (\S+))")) << entry;
        EXPECT_EQ(row.first, Find(info, R"(First sector: (\d+))")) << entry;
        EXPECT_EQ(row.last, Find(info, R"(Last sector: (\d+))")) << entry;
        EXPECT_EQ(row.attributes, Find(info, R"(Attribute flags: ([0-9A-F]+))")) << entry;
        EXPECT_EQ(row.name, Find(info, R"(Partition name: '([^']*)')")) << entry;
    }
}

}  // namespace

TEST(GptSectionSgdisk, HeaderAndEntriesAgreeWithSgdisk) {
#ifdef _WIN32
    GTEST_SKIP() << "sgdisk does not run under Windows";
#endif
    if (!gpttest::HaveTool("sgdisk")) GTEST_SKIP() << "sgdisk is not installed";
    const struct {
        uint64_t sectors;
        std::string args;
        int partitions;
    } cases[] = {
        {20000,
         "-o -n 1:2048:+1M -t 1:ef00 -c 1:'EFI system' -n 2:0:+2M -t 2:0700 -c 2:'Basic data' -A 2:set:63 "
         "-n 3:0:0 -t 3:8300",
         3},
        // Slots left empty between used ones.
        {40960, "-o -n 5:4096:+3M -c 5:'far slot' -n 2:2048:+1M -t 2:ef02 -A 2:set:0 -A 2:set:2", 2},
    };
    for (const auto& c : cases) {
        ScratchFolder folder("layscan-sgdisk");
        const std::string image = folder.File("disk.img");
        std::vector<uint8_t> bytes = gpttest::SgdiskImage(image, c.sectors, c.args);
        ASSERT_FALSE(bytes.empty()) << c.args;
        ExpectListingAsSgdiskPrints(image, bytes, c.partitions, c.args);
    }
}

// A GPT disk that another partitioning program made.
TEST(GptSectionSgdisk, CorpusDiskAgreesWithSgdisk) {
#ifdef _WIN32
    GTEST_SKIP() << "sgdisk does not run under Windows";
#endif
    if (!gpttest::HaveTool("sgdisk")) GTEST_SKIP() << "sgdisk is not installed";
    const testimages::ScratchFile image("corpus-gpt.img");
    if (!testimages::UnpackCorpus("gpt", image)) GTEST_SKIP() << "the image corpus is not there";
    std::ifstream in(image.Path(), std::ios::binary);
    const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in), {}};
    ExpectListingAsSgdiskPrints(image.Path().string(), bytes, 5, "corpus gpt.img");
}
