// GPT disks that sgdisk made (and one another program made): the model, the
// warnings and the listing read against what sgdisk itself says about them.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <sstream>

#include "Utility/Layscan/Model/GptChecks.h"
#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Report/GptSection.h"
#include "support/CapturedReport.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"

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
    MemorySectorProvider sectors(bytes, 512);
    ASSERT_TRUE(nsLayout::IsGpt(sectors));
    nsLayout::GptDisk disk(sectors);
    EXPECT_EQ(CheckGptHeaders(disk), L"");
    EXPECT_EQ(disk.GetBackupTable().GetHeaderLba(), sectors.GetSectorCount() - 1);

    // The header data against "sgdisk -p", (our label, its pattern).
    const std::string printed = testimages::Capture("sgdisk -p '" + image + "'");
    CapturedReport header, table;
    WriteGptHeaderData(disk, header.Stream());
    const std::pair<std::string, const char*> data[] = {{"Disk GUID", R"(Disk identifier \(GUID\): (\S+))"},
        {"First Usable LBA", R"(First usable sector is (\d+))"}, {"Last Usable LBA", R"(last usable sector is (\d+))"},
        {"Number of Entries", R"(table holds up to (\d+) entries)"}};
    for (const auto& [ours, theirs] : data)
        EXPECT_EQ(Upper(Find(header.Narrow(), ours + ": +(\\S+)")), Find(printed, theirs));

    // The model's partitions are the rows of "sgdisk -p": "   1   2048   4095   1024.0 KiB  EF00  EFI".
    std::vector<std::tuple<uint64_t, uint64_t, uint64_t>> listed, model;
    std::istringstream rows(printed);
    uint64_t number, first, last;
    for (std::string line; std::getline(rows, line);)
        if (std::istringstream(line) >> number >> first >> last) listed.emplace_back(number - 1, first, last);
    std::sort(listed.begin(), listed.end());
    for (const auto& p : disk.GetPartitions()) model.emplace_back(p->GetEntryIndex(), p->GetFirstLba(), p->GetLastLba());
    EXPECT_EQ(model, listed);
    ASSERT_EQ(listed.size(), partitions);

    // Each listing row against "sgdisk -i N": (its group, the pattern, compared in upper case).
    WriteGptPartitionTable(disk, 0, table.Stream());
    const std::string listing = table.Narrow();
    const std::tuple<int, const char*, bool> fields[] = {{1, R"(Partition GUID code: (\S+))", true},
        {2, R"(Attribute flags: ([0-9A-F]+))", false}, {3, R"(First sector: (\d+))", false},
        {4, R"(Last sector: (\d+))", false}, {5, R"(Partition unique GUID: (\S+))", true},
        {6, R"(Partition name: '([^']*)')", false}};
    for (size_t i = 0; i < partitions; ++i) {
        const uint64_t index = std::get<0>(listed[i]);
        const std::string info = testimages::Capture("sgdisk -i " + std::to_string(index + 1) + " '" + image + "'");
        SCOPED_TRACE(image + " / entry " + std::to_string(index));
        EXPECT_EQ(CheckGptEntry(disk, index), L"");
        std::smatch m;
        const std::regex row("\n" + std::to_string(index) + R"( +([0-9a-f-]{36}) +\d+ +\d+  ([0-9A-F]{16}) +([\d,]+) +([\d,]+) [^\n]*\n    ([0-9a-f-]{36})(?:  ([^\n]*))?\n)");
        ASSERT_TRUE(std::regex_search(listing, m, row)) << listing;
        for (const auto& [group, pattern, upper] : fields) {
            const std::string ours = m[group].matched ? Find(m[group].str(), "(.*)") : "";
            EXPECT_EQ(upper ? Upper(ours) : ours, Find(info, pattern)) << pattern;
        }
    }
}

}  // namespace

// Disks of sgdisk, and (with no size) the corpus disk another program made.
TEST(GptSectionSgdisk, DisksAgreeWithSgdisk) {
#ifdef _WIN32
    GTEST_SKIP() << "sgdisk does not run under Windows";
#endif
    if (!testimages::HaveTool("sgdisk")) GTEST_SKIP() << "sgdisk is not installed";
    const std::tuple<uint64_t, std::string, size_t> cases[] = {
        {20000, "-o -n 1:2048:+1M -t 1:ef00 -c 1:'EFI system' -n 2:0:+2M -t 2:0700 -c 2:'Basic data' -A 2:set:63 "
                "-n 3:0:0 -t 3:8300", 3},
        // Slots left empty between used ones, and slots out of start order.
        {40960, "-o -n 5:4096:+3M -c 5:'far slot' -n 2:2048:+1M -t 2:ef02 -A 2:set:0 -A 2:set:2", 2},
        {40960, "-o -n 2:2048:+4M -t 2:ef00 -n 1:0:+3M -n 4:0:+1M -t 4:0700 -n 7:30000:+2M", 4},
        {0, "gpt", 5},
    };
    for (const auto& [sectors, args, partitions] : cases) {
        const testimages::ScratchFile image("sgdisk.img");
        const std::string path = image.Path().string();
        if (!sectors && !testimages::UnpackCorpus(args, image)) continue;  // no corpus here
        const std::vector<uint8_t> bytes = sectors ? gpttest::SgdiskImage(path, sectors, args) : testimages::ReadHead(path);
        ASSERT_TRUE(!bytes.empty() && (!sectors || bytes.size() == sectors * 512)) << args;
        ExpectAsSgdiskSays(path, bytes, partitions);
    }
}
