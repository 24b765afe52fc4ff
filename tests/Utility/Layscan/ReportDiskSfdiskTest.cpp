#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "Utility/Layscan/DiskInfo.h"
#include "Utility/Layscan/ReportDisk.h"
#include "support/CapturedReport.h"
#include "support/GptTestImage.h"
#include "support/ScratchFolder.h"
#include "support/SparseSectorProvider.h"

// sfdisk runs only on Linux; under Windows the test skips and needs none of this.
#ifndef _WIN32
namespace {

struct Extent {
    uint64_t start, size;
    bool operator<(const Extent& o) const { return start != o.start ? start < o.start : size < o.size; }
    bool operator==(const Extent& o) const { return start == o.start && size == o.size; }
};

uint64_t Number(std::string text) {
    std::erase(text, ',');
    return std::stoull(text);
}

// The partitions of the report's partition list: every row that is not free space.
std::vector<Extent> ReportedPartitions(const std::string& report) {
    const size_t heading = report.find("Partition Information for Disk");
    EXPECT_NE(heading, std::string::npos);
    std::istringstream in(report.substr(heading));
    std::vector<Extent> found;
    std::string line;
    for (int rules = 0; std::getline(in, line) && rules < 3;) {
        if (line.starts_with("=====")) {
            ++rules;
            continue;
        }
        if (rules != 2 || line.find("Unallocated") != std::string::npos) continue;
        std::istringstream words(line);
        std::vector<std::string> tokens{std::istream_iterator<std::string>(words), {}};
        if (tokens.size() >= 2) found.push_back({Number(tokens[tokens.size() - 2]), Number(tokens.back())});
    }
    return found;
}

// sfdisk's own account of the same image.
std::vector<Extent> SfdiskPartitions(const std::string& image) {
    const std::string json = gpttest::Capture("sfdisk --json '" + image + "'");
    const std::regex entry(R"re("start":\s*(\d+),\s*"size":\s*(\d+))re");
    std::vector<Extent> found;
    for (auto it = std::sregex_iterator(json.begin(), json.end(), entry); it != std::sregex_iterator(); ++it)
        found.push_back({std::stoull((*it)[1]), std::stoull((*it)[2])});
    return found;
}

}  // namespace
#endif

TEST(ReportDiskSfdisk, PartitionStartsAndSizesAgreeWithSfdisk) {
#ifdef _WIN32
    GTEST_SKIP() << "sfdisk is a Linux tool";
#else
    if (!gpttest::HaveTool("sfdisk")) GTEST_SKIP() << "sfdisk is missing";
    const struct {
        const char* what;
        uint64_t sectors;
        const char* script;
    } cases[] = {
        {"extended with logicals", 300000,
         "label: dos\nstart=2048, size=20480, type=7\nstart=22528, type=5\nsize=10240, type=83\nsize=8192, type=7\n"
         "size=30000, type=b\n"},
        {"cylinder-aligned chain", 400000,
         "label: dos\nstart=63, size=16002, type=6\nstart=16065, size=300000, type=f\nstart=16128, size=16002, type=7\n"
         "start=32193, size=64000, type=82\n"},
    };
    for (const auto& c : cases) {
        const ScratchFolder folder("ReportDiskSfdisk");
        const std::string image = folder.File("disk.img");
        std::ofstream(image, std::ios::binary).seekp(static_cast<std::streamoff>(c.sectors * 512 - 1)).put('\0');
        const std::string script = folder.Write("layout.txt", c.script);
        const std::string command =
            "sfdisk --no-reread --no-tell-kernel '" + image + "' < '" + script + "' >/dev/null 2>&1";
        ASSERT_EQ(std::system(command.c_str()), 0) << c.what;

        std::vector<Extent> expected = SfdiskPartitions(image);
        ASSERT_FALSE(expected.empty()) << c.what;
        auto disk = SparseSectorProvider::FromImageFile(image);
        CapturedReport report;
        ReportDisk(*disk, DiskInfo::Make(0, 512, {}), report.Stream(), 63, 1023, 254);
        std::vector<Extent> reported = ReportedPartitions(report.Narrow());
        std::sort(expected.begin(), expected.end());
        std::sort(reported.begin(), reported.end());
        EXPECT_EQ(reported, expected) << c.what << "\n" << report.Narrow();
    }
#endif
}
