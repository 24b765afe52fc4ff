// GPT disks that sgdisk made (and one another program made): the model, the
// warnings and the listing read against what sgdisk itself says about them.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <sstream>

#include "Utility/Layscan/GptChecks.h"
#include "Utility/Layscan/GptDisk.h"
#include "Utility/Layscan/GptSection.h"
#include "support/CapturedReport.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"

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
    MemorySectorProvider sectors(bytes, 512);
    ASSERT_TRUE(nsLayout::IsGpt(sectors));
    nsLayout::GptDisk disk(sectors);
    EXPECT_EQ(CheckGptHeaders(disk), L"");
    EXPECT_EQ(disk.GetBackupTable().GetHeaderLba(), sectors.GetSectorCount() - 1);

    const std::string printed = testimages::Capture("sgdisk -p '" + image + "'");
    CapturedReport header;
    WriteGptHeaderData(disk, header.Stream());
    const std::string data = header.Narrow();
    EXPECT_EQ(Upper(Find(data, R"(Disk GUID: +(\S+))")), Find(printed, R"(Disk identifier \(GUID\): (\S+))"));
    EXPECT_EQ(Find(data, R"(First Usable LBA: +(\S+))"), Find(printed, R"(First usable sector is (\d+))"));
    EXPECT_EQ(Find(data, R"(Last Usable LBA: +(\S+))"), Find(printed, R"(last usable sector is (\d+))"));
    EXPECT_EQ(Find(data, R"(Number of Entries: +(\S+))"), Find(printed, R"(table holds up to (\d+) entries)"));

    // The model's partitions are the rows of "sgdisk -p": "   1   2048   4095   1024.0 KiB  EF00  EFI".
    std::vector<std::tuple<uint64_t, uint64_t, uint64_t>> listed, model, volumes;
    std::istringstream rows(printed);
    for (std::string line; std::getline(rows, line);) {
        std::istringstream row(line);
        uint64_t number, first, last;
        if (row >> number >> first >> last) listed.emplace_back(number - 1, first, last);
    }
    std::sort(listed.begin(), listed.end());
    for (const auto& p : disk.GetPartitions()) model.emplace_back(p->GetEntryIndex(), p->GetFirstLba(), p->GetLastLba());
    EXPECT_EQ(model, listed);
    ASSERT_EQ(listed.size(), partitions);

    // Each row of the listing and each volume against "sgdisk -i N".
    CapturedReport table;
    WriteGptPartitionTable(disk, 0, table.Stream());
    const std::string listing = table.Narrow();
    const VolumePartitionList volumeList = disk.GetVolumePartitions();
    ASSERT_EQ(volumeList.size(), partitions);
    for (size_t i = 0; i < partitions; ++i) {
        const uint64_t index = std::get<0>(listed[i]);
        const std::string info = testimages::Capture("sgdisk -i " + std::to_string(index + 1) + " '" + image + "'");
        const std::string type = Find(info, R"(Partition GUID code: (\S+))");
        const std::string unique = Find(info, R"(Partition unique GUID: (\S+))");
        SCOPED_TRACE(image + " / entry " + std::to_string(index));
        EXPECT_EQ(Upper(Narrow(volumeList[i].typeGuid.ToText())), type);
        EXPECT_EQ(std::make_pair(volumeList[i].firstLba, volumeList[i].lastLba),
                  std::make_pair(std::get<1>(listed[i]), std::get<2>(listed[i])));
        EXPECT_EQ(CheckGptEntry(disk, index), L"");
        std::smatch m;
        const std::regex row("\n" + std::to_string(index) + R"( +([0-9a-f-]{36}) +\d+ +\d+  ([0-9A-F]{16}) +([\d,]+) +([\d,]+) [^\n]*\n    ([0-9a-f-]{36})(?:  ([^\n]*))?\n)");
        ASSERT_TRUE(std::regex_search(listing, m, row)) << listing;
        EXPECT_EQ(Upper(m[1]), type);
        EXPECT_EQ(m[2], Find(info, R"(Attribute flags: ([0-9A-F]+))"));
        EXPECT_EQ(Find(m[3], "(.+)"), Find(info, R"(First sector: (\d+))"));
        EXPECT_EQ(Find(m[4], "(.+)"), Find(info, R"(Last sector: (\d+))"));
        EXPECT_EQ(Upper(m[5]), unique);
        EXPECT_EQ(m[6].str(), Find(info, R"(Partition name: '([^']*)')"));
    }
}

}  // namespace

TEST(GptSectionSgdisk, DisksAgreeWithSgdisk) {
#ifdef _WIN32
    GTEST_SKIP() << "sgdisk does not run under Windows";
#endif
    if (!testimages::HaveTool("sgdisk")) GTEST_SKIP() << "sgdisk is not installed";
    const struct {
        uint64_t sectors;
        std::string args;
        size_t partitions;
    } cases[] = {
        {20000, "-o -n 1:2048:+1M -t 1:ef00 -c 1:'EFI system' -n 2:0:+2M -t 2:0700 -c 2:'Basic data' -A 2:set:63 "
                "-n 3:0:0 -t 3:8300", 3},
        // Slots left empty between used ones, and slots out of start order.
        {40960, "-o -n 5:4096:+3M -c 5:'far slot' -n 2:2048:+1M -t 2:ef02 -A 2:set:0 -A 2:set:2", 2},
        {40960, "-o -n 2:2048:+4M -t 2:ef00 -n 1:0:+3M -n 4:0:+1M -t 4:0700 -n 7:30000:+2M", 4},
    };
    for (const auto& c : cases) {
        const testimages::ScratchFile image("sgdisk.img");
        const std::vector<uint8_t> bytes = gpttest::SgdiskImage(image.Path().string(), c.sectors, c.args);
        ASSERT_EQ(bytes.size(), c.sectors * 512) << c.args;
        ExpectAsSgdiskSays(image.Path().string(), bytes, c.partitions);
    }
}

TEST(GptSectionSgdisk, CorpusDiskAgreesWithSgdisk) {
#ifdef _WIN32
    GTEST_SKIP() << "sgdisk does not run under Windows";
#endif
    const testimages::ScratchFile image("corpus-gpt.img");
    if (!testimages::HaveTool("sgdisk") || !testimages::UnpackCorpus("gpt", image))
        GTEST_SKIP() << "sgdisk or the image corpus is not there";
    ExpectAsSgdiskSays(image.Path().string(), testimages::ReadHead(image.Path()), 5);
}
