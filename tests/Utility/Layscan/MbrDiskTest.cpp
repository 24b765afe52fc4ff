#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>

#include "Utility/Layscan/DiskInfo.h"
#include "Utility/Layscan/MbrDisk.h"
#include "support/CapturedReport.h"
#include "support/GptTestImage.h"
#include "support/ScratchFolder.h"
#include "support/SparseSectorProvider.h"

using nsLayout::FreeExtent;

// sfdisk runs only on Linux; under Windows the test skips and needs none of this.
#ifndef _WIN32
namespace {

struct Range {
    uint64_t start, count;
    bool boot = false;
    bool operator<(const Range& o) const { return start != o.start ? start < o.start : count < o.count; }
    bool operator==(const Range& o) const { return start == o.start && count == o.count; }
};

// The gaps of at least 64 sectors that the ranges leave in [first, end).
std::vector<FreeExtent> GapsOf(std::vector<Range> used, uint64_t first, uint64_t end) {
    std::sort(used.begin(), used.end());
    std::vector<FreeExtent> gaps;
    auto gap = [&](uint64_t to) {
        if (to > first && to - first >= 64) gaps.push_back({first, to - first});
    };
    for (const auto& r : used) {
        gap(r.start);
        first = std::max(first, r.start + r.count);
    }
    gap(end);
    return gaps;
}

uint64_t Number(std::string text) {
    std::erase(text, ',');
    return std::stoull(text);
}

// The start and size of every row of the report's partition list that is not free space.
std::vector<Range> ReportedPartitions(const std::string& report) {
    std::istringstream in(report.substr(report.find("Partition Information for Disk")));
    std::vector<Range> found;
    std::string line;
    for (int rules = 0; std::getline(in, line) && rules < 3;) {
        if (line.starts_with("=====")) ++rules;
        std::istringstream words(line);
        std::vector<std::string> w{std::istream_iterator<std::string>(words), {}};
        if (rules == 2 && !line.starts_with("=") && line.find("Unallocated") == std::string::npos && w.size() >= 2)
            found.push_back({Number(w[w.size() - 2]), Number(w.back())});
    }
    std::sort(found.begin(), found.end());
    return found;
}

}  // namespace
#endif

// sfdisk writes the table; its own account of it is what the model and the
// report's partition list must show.
TEST(MbrDisk, ModelAndReportAgreeWithSfdisk) {
#ifdef _WIN32
    GTEST_SKIP() << "sfdisk runs on Linux only";
#else
    if (!gpttest::HaveTool("sfdisk")) GTEST_SKIP() << "sfdisk is not installed";
    const struct {
        uint64_t sectors;
        const char* script;
        const wchar_t* alignment;
    } cases[] = {
        {140000,
         "start=2048, size=20480, type=7, bootable\nstart=22528, size=10240, type=83\nstart=120000, size=10000, "
         "type=c\nstart=32768, size=80000, type=f\nsize=10000, type=7\nsize=15000, type=83\nsize=5000, type=c\n",
         L"1 MB"},
        {300000, "start=2048, size=20480, type=7\nstart=22528, type=5\nsize=10240, type=83\nsize=8192, type=7\n"
                 "size=30000, type=b\n", L"1 MB"},
        {400000, "start=63, size=16002, type=6\nstart=16065, size=300000, type=f\nstart=16128, size=16002, type=7\n"
                 "start=32193, size=64000, type=82\n", L"Cylinder"},
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
        std::vector<Range> all, primariesAndExtended, logicals;
        Range extended{};
        for (std::sregex_iterator it(json.begin(), json.end(), entry), end; it != end; ++it) {
            const Range r{std::stoull((*it)[1]), std::stoull((*it)[2]), (*it)[4].matched};
            all.push_back(r);
            if ((*it)[3] == "f" || (*it)[3] == "5") extended = r;
            const bool logical = r.start > extended.start && r.start < extended.start + extended.count;
            (logical ? logicals : primariesAndExtended).push_back(r);
        }
        ASSERT_GE(logicals.size(), 2u) << json;

        auto provider = SparseSectorProvider::FromImageFile(img);
        ASSERT_TRUE(nsLayout::IsMbr(*provider));
        const nsLayout::MbrDisk disk(*provider, Geometry::Translation(512, c.sectors));
        std::vector<Range> partitions = all;
        std::erase(partitions, extended);
        std::sort(partitions.begin(), partitions.end());
        ASSERT_EQ(disk.GetPartitions().size(), partitions.size()) << json;
        for (size_t i = 0; i < partitions.size(); ++i) {
            const auto& p = *disk.GetPartitions()[i];
            EXPECT_EQ(Range({p.startLba, p.sectorCount}), partitions[i]) << i << json;
            EXPECT_EQ(p.isLogical, std::count(logicals.begin(), logicals.end(), partitions[i]) == 1) << i;
            EXPECT_EQ(p.bootIndicator, partitions[i].boot ? 0x80 : 0) << i;
        }
        ASSERT_TRUE(disk.GetExtendedPartition());
        EXPECT_EQ(disk.GetExtendedPartition()->startLba, extended.start);
        ASSERT_EQ(disk.GetEpbrList().size(), logicals.size());
        EXPECT_EQ(disk.GetEpbrList()[0]->GetMyLba(), extended.start);
        for (size_t i = 0; i < logicals.size(); ++i) {
            EXPECT_LT(disk.GetEpbrList()[i]->GetMyLba(), logicals[i].start);
            EXPECT_TRUE(disk.GetEpbrList()[i]->IsValid(false));
        }
        EXPECT_EQ(disk.GetUnallocated().GetExtents(), GapsOf(primariesAndExtended, 0, c.sectors));
        EXPECT_EQ(disk.GetExtendedUnallocated().GetExtents(),
                  GapsOf(logicals, extended.start + 1, extended.start + extended.count));
        EXPECT_EQ(disk.DetectAlignment(), c.alignment);

        CapturedReport report;
        ReportDisk(*provider, DiskInfo::Make(0, 512, {}), report.Stream(), 63, 1023, 254);
        std::sort(all.begin(), all.end());
        EXPECT_EQ(ReportedPartitions(report.Narrow()), all) << report.Narrow();
    }
#endif
}
