#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>

#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Model/MbrDisk.h"
#include "support/CapturedReport.h"
#include "support/GptTestImage.h"
#include "support/ScratchFolder.h"
#include "support/SparseSectorProvider.h"

using nsLayout::DiskInfo;

// sfdisk runs only on Linux; under Windows the test skips and needs none of this.
#ifndef _WIN32
namespace {

struct Range {
    uint64_t start, count;
    bool operator<(const Range& o) const { return start != o.start ? start < o.start : count < o.count; }
};

// A row as "STATUS START+COUNT" for each gap of at least 64 sectors that the ranges leave in [first, end).
void AddGaps(std::vector<std::string>& rows, const char* status, std::vector<Range> used, uint64_t first, uint64_t end) {
    std::sort(used.begin(), used.end());
    auto gap = [&](uint64_t to) {
        if (to > first && to - first >= 64) rows.push_back(status + std::to_string(first) + "+" + std::to_string(to - first));
    };
    for (const auto& r : used) {
        gap(r.start);
        first = std::max(first, r.start + r.count);
    }
    gap(end);
}

uint64_t Number(std::string text) {
    std::erase(text, ',');
    return std::stoull(text);
}

// Every row of the report's partition list as "STATUS START+COUNT"; a logical
// row's table LBA (its EPBR) must lie in [extendedStart, start).
std::vector<std::string> ReportedRows(const std::string& report, uint64_t extendedStart) {
    std::istringstream in(report.substr(report.find("Partition Information for Disk")));
    std::vector<std::string> rows;
    std::string line;
    for (int rules = 0; std::getline(in, line) && rules < 3;) {
        if (line.starts_with("=====")) ++rules;
        std::istringstream words(line);
        std::vector<std::string> w{std::istream_iterator<std::string>(words), {}};
        if (rules != 2 || line.starts_with("=") || w.size() < 4) continue;
        const uint64_t start = Number(w[w.size() - 2]);
        std::string status = line.substr(38, 15);
        status.erase(status.find_last_not_of(' ') + 1);
        rows.push_back(status + " " + std::to_string(start) + "+" + std::to_string(Number(w.back())));
        if (const uint64_t table = Number(w[w.size() - 4]); status.ends_with("Logical")) {
            EXPECT_TRUE(table >= extendedStart && table < start) << line;
        }
    }
    std::sort(rows.begin(), rows.end());
    return rows;
}

}  // namespace
#endif

// sfdisk writes the table; its own account of it, with the gaps it leaves, is
// what the report's partition list must show.
TEST(MbrDisk, ReportAgreesWithSfdisk) {
#ifdef _WIN32
    GTEST_SKIP() << "sfdisk runs on Linux only";
#else
    if (!gpttest::HaveTool("sfdisk")) GTEST_SKIP() << "sfdisk is not installed";
    const struct {
        uint64_t sectors;
        const char* script;
        const char* alignment;
    } cases[] = {
        {140000,
         "start=2048, size=20480, type=7, bootable\nstart=22528, size=10240, type=83\nstart=120000, size=10000, "
         "type=c\nstart=32768, size=80000, type=f\nsize=10000, type=7\nsize=15000, type=83\nsize=5000, type=c\n",
         "1 MB"},
        {300000, "start=2048, size=20480, type=7\nstart=22528, type=5\nsize=10240, type=83\nsize=8192, type=7\n"
                 "size=30000, type=b\n", "1 MB"},
        {400000, "start=63, size=16002, type=6\nstart=16065, size=300000, type=f\nstart=16128, size=16002, type=7\n"
                 "start=32193, size=64000, type=82\n", "Cylinder"},
    };
    for (const auto& c : cases) {
        const ScratchFolder folder("MbrDiskSfdisk");
        const std::string img = folder.File("disk.img");
        std::ofstream(img, std::ios::binary).seekp(static_cast<std::streamoff>(c.sectors * 512 - 1)).put('\0');
        const std::string script = folder.Write("script.txt", std::string("label: dos\n") + c.script);
        ASSERT_EQ(std::system(("sfdisk --no-reread --no-tell-kernel '" + img + "' < '" + script + "' >/dev/null 2>&1")
                                  .c_str()),
                  0)
            << c.script;
        const std::string json = gpttest::Capture("sfdisk --json '" + img + "'");
        const std::regex entry(R"re("start":\s*(\d+),\s*"size":\s*(\d+),\s*"type":\s*"([0-9a-f]+)"(,\s*"bootable":\s*true)?)re");
        std::vector<Range> primariesAndExtended, logicals;
        Range extended{};
        std::vector<std::string> rows;
        for (std::sregex_iterator it(json.begin(), json.end(), entry), end; it != end; ++it) {
            const Range r{std::stoull((*it)[1]), std::stoull((*it)[2])};
            if ((*it)[3] == "f" || (*it)[3] == "5") extended = r;
            const bool logical = r.start > extended.start && r.start < extended.start + extended.count;
            (logical ? logicals : primariesAndExtended).push_back(r);
            rows.push_back(std::string((*it)[4].matched ? "Active " : "") + (logical ? "Logical " : "Primary ") +
                           std::to_string(r.start) + "+" + std::to_string(r.count));
        }
        ASSERT_GE(logicals.size(), 2u) << json;
        AddGaps(rows, " ", primariesAndExtended, 0, c.sectors);
        AddGaps(rows, "In Extended ", logicals, extended.start + 1, extended.start + extended.count);
        std::sort(rows.begin(), rows.end());

        auto provider = SparseSectorProvider::FromImageFile(img);
        CapturedReport report;
        Layscan::ReportDisk(*provider, DiskInfo::Make(0, 512, {}), report.Stream());
        const std::string text = report.Narrow();
        EXPECT_EQ(ReportedRows(text, extended.start), rows) << text;
        EXPECT_NE(text.find(std::string("Detected Alignment:     ") + c.alignment + "\n"), std::string::npos) << text;
        // sfdisk writes CHS values for a geometry of its own; nothing else is wrong.
        const std::string rest = std::regex_replace(text, std::regex("WARNING: (Invalid )?(Begin|End) CHS"), "");
        EXPECT_EQ(rest.find("WARNING"), std::string::npos) << text;
    }
#endif
}
