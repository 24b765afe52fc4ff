#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <regex>

#include "Utility/Layscan/MbrDisk.h"
#include "support/GptTestImage.h"
#include "support/MbrImage.h"
#include "support/ScratchFolder.h"

using mbrimage::Disk;
using nsLayout::FreeExtent;
using nsLayout::MbrDisk;

namespace {

struct Range {
    uint64_t start, count;
};

// The gaps of at least 64 sectors that the ranges leave in [first, end).
std::vector<FreeExtent> GapsOf(std::vector<Range> used, uint64_t first, uint64_t end) {
    std::sort(used.begin(), used.end(), [](const Range& a, const Range& b) { return a.start < b.start; });
    std::vector<FreeExtent> gaps;
    uint64_t at = first;
    auto gap = [&](uint64_t to) {
        if (to > at && to - at >= 64) gaps.push_back({at, to - at});
    };
    for (const auto& r : used) {
        gap(r.start);
        at = std::max(at, r.start + r.count);
    }
    gap(end);
    return gaps;
}

std::vector<uint64_t> EpbrLbas(const MbrDisk& disk) {
    std::vector<uint64_t> lbas;
    for (const auto& e : disk.GetEpbrList()) lbas.push_back(e->GetMyLba());
    return lbas;
}

Geometry Translation(SectorProvider& p) { return Geometry::Translation(p.GetBytesPerSector(), p.GetSectorCount()); }

}  // namespace

TEST(MbrDisk, MatchesTheTableSfdiskWrote) {
#ifdef _WIN32
    GTEST_SKIP() << "sfdisk runs on Linux only";
#endif
    if (!gpttest::HaveTool("sfdisk")) GTEST_SKIP() << "sfdisk is not installed";
    ScratchFolder scratch("mbrdisk");
    const std::string img = scratch.File("disk.img");
    const uint64_t sectors = 140000;
    {
        std::ofstream out(img, std::ios::binary);
        out.seekp(static_cast<std::streamoff>(sectors * 512 - 1));
        out.put('\0');
    }
    const std::string script =
        "label: dos\n"
        "start=2048, size=20480, type=7, bootable\n"
        "start=22528, size=10240, type=83\n"
        "start=120000, size=10000, type=c\n"
        "start=32768, size=80000, type=f\n"
        "size=10000, type=7\n"
        "size=15000, type=83\n"
        "size=5000, type=c\n";
    const std::string scriptFile = scratch.Write("script.txt", script);
    ASSERT_EQ(std::system(("sfdisk --no-reread --no-tell-kernel '" + img + "' < '" + scriptFile +
                           "' >/dev/null 2>&1")
                              .c_str()),
              0);
    const std::string json = gpttest::Capture("sfdisk --json '" + img + "'");
    const std::regex entry(R"re("start":\s*(\d+),\s*"size":\s*(\d+),\s*"type":\s*"([0-9a-f]+)")re");
    std::vector<Range> reported, primariesAndExtended, logicals;
    Range extended{};
    for (std::sregex_iterator it(json.begin(), json.end(), entry), end; it != end; ++it) {
        const Range r{std::stoull((*it)[1]), std::stoull((*it)[2])};
        const std::string type = (*it)[3];
        if (type == "f" || type == "5") {
            extended = r;
            primariesAndExtended.push_back(r);
            continue;
        }
        reported.push_back(r);
        if (r.start > extended.start && extended.count && r.start < extended.start + extended.count)
            logicals.push_back(r);
        else
            primariesAndExtended.push_back(r);
    }
    ASSERT_EQ(reported.size(), 6u) << json;
    ASSERT_EQ(logicals.size(), 3u) << json;

    auto provider = SparseSectorProvider::FromImageFile(img);
    ASSERT_TRUE(nsLayout::IsMbr(*provider));
    MbrDisk disk(*provider, Translation(*provider));
    std::sort(reported.begin(), reported.end(), [](const Range& a, const Range& b) { return a.start < b.start; });
    ASSERT_EQ(disk.GetPartitions().size(), reported.size());
    for (size_t i = 0; i < reported.size(); ++i) {
        EXPECT_EQ(disk.GetPartitions()[i]->startLba, reported[i].start) << i;
        EXPECT_EQ(disk.GetPartitions()[i]->sectorCount, reported[i].count) << i;
        EXPECT_EQ(disk.GetPartitions()[i]->isLogical,
                  reported[i].start > extended.start && reported[i].start < extended.start + extended.count)
            << i;
    }
    EXPECT_EQ(disk.GetPartitions()[0]->bootIndicator, 0x80);
    ASSERT_TRUE(disk.GetExtendedPartition());
    EXPECT_EQ(disk.GetExtendedPartition()->startLba, extended.start);
    EXPECT_EQ(disk.GetExtendedPartition()->type, 0x0F);

    const auto lbas = EpbrLbas(disk);
    ASSERT_EQ(lbas.size(), 3u);
    EXPECT_EQ(lbas[0], extended.start);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_LT(lbas[i], logicals[i].start);
        EXPECT_TRUE(disk.GetEpbrList()[i]->IsValid(false));
    }

    EXPECT_EQ(disk.GetUnallocated().GetExtents(), GapsOf(primariesAndExtended, 0, sectors));
    EXPECT_EQ(disk.GetExtendedUnallocated().GetExtents(),
              GapsOf(logicals, extended.start + 1, extended.start + extended.count));
    EXPECT_EQ(disk.DetectAlignment(), L"1 MB");
}

TEST(MbrDisk, PrimaryAndTwoLogicalsSortedByStart) {
    Disk image(1000000);
    image.Entry(0, 0, 0x07, 500000, 100000).Entry(0, 1, 0x05, 2048, 200000);
    image.ChainEpbr(2048, 2048, 2048, 50000, 60000);
    image.ChainEpbr(2048, 60000, 2048, 40000, 0, 0x83);
    MbrDisk disk(image.Provider(), Translation(image.Provider()));
    const auto& parts = disk.GetPartitions();
    ASSERT_EQ(parts.size(), 3u);
    EXPECT_EQ(parts[0]->startLba, 4096u);
    EXPECT_TRUE(parts[0]->isLogical);
    EXPECT_EQ(parts[1]->startLba, 62048u);
    EXPECT_EQ(parts[1]->type, 0x83);
    EXPECT_EQ(parts[2]->startLba, 500000u);
    EXPECT_FALSE(parts[2]->isLogical);
    EXPECT_EQ(EpbrLbas(disk), (std::vector<uint64_t>{2048, 60000}));
    EXPECT_EQ(disk.GetUnallocated().GetExtents(), (std::vector<FreeExtent>{{0, 2048}, {202048, 297952}, {600000, 400000}}));
    EXPECT_EQ(disk.GetExtendedUnallocated().GetExtents(),
              (std::vector<FreeExtent>{{2049, 2047}, {54096, 7952}, {102048, 100000}}));

    const auto volumes = disk.GetVolumePartitions();
    ASSERT_EQ(volumes.size(), 3u);
    EXPECT_EQ(volumes[0].typeGuid, Guid::BasicData());
    EXPECT_EQ(volumes[0].firstLba, 4096u);
    EXPECT_EQ(volumes[0].lastLba, 54095u);
    EXPECT_TRUE(volumes[1].typeGuid.IsNull());  // 0x83
}

TEST(MbrDisk, ChainsThatLoopEndWithoutReadingAnEpbrTwice) {
    const struct {
        const char* what;
        std::vector<uint64_t> links;  // next EPBR of each EPBR, in chain order
        std::vector<uint64_t> expected;
    } cases[] = {
        {"back to the first", {3000, 2048}, {2048, 3000}},
        {"to itself", {2048}, {2048}},
        {"back to the middle", {3000, 4000, 3000}, {2048, 3000, 4000}},
        {"ends normally", {3000, 4000, 0}, {2048, 3000, 4000}},
    };
    for (const auto& c : cases) {
        Disk image(100000);
        image.Entry(0, 0, 0x05, 2048, 50000);
        uint64_t lba = 2048;
        for (uint64_t next : c.links) {
            image.ChainEpbr(2048, lba, 63, 100, next);
            lba = next;
        }
        MbrDisk disk(image.Provider(), Translation(image.Provider()));
        EXPECT_EQ(EpbrLbas(disk), c.expected) << c.what;
        for (uint64_t e : c.expected) EXPECT_EQ(image.Provider().ReadCounts().at(e), 1u) << c.what << " " << e;
        EXPECT_EQ(disk.GetPartitions().size(), c.expected.size()) << c.what;
    }
}

TEST(MbrDisk, ExtendedEntries) {
    {  // start 0: recorded, not walked
        Disk image(100000);
        image.Entry(0, 2, 0x05, 0, 5000);
        MbrDisk disk(image.Provider(), Translation(image.Provider()));
        ASSERT_TRUE(disk.GetExtendedPartition());
        EXPECT_EQ(disk.GetExtendedPartition()->startLba, 0u);
        EXPECT_TRUE(disk.GetEpbrList().empty());
        EXPECT_EQ(disk.GetExtendedUnallocated().GetExtents(), (std::vector<FreeExtent>{{1, 4999}}));
        EXPECT_EQ(disk.GetUnallocated().GetExtents(), (std::vector<FreeExtent>{{5000, 95000}}));
        EXPECT_TRUE(disk.GetPartitions().empty());
    }
    {  // 0x85 is walked; the last extended entry is the one recorded
        Disk image(100000);
        image.Entry(0, 0, 0x05, 10000, 1000).Entry(0, 1, 0x85, 20000, 5000);
        image.ChainEpbr(10000, 10000, 63, 500, 0);
        image.ChainEpbr(20000, 20000, 63, 1000, 22000);
        image.ChainEpbr(20000, 22000, 63, 1000, 0);
        MbrDisk disk(image.Provider(), Translation(image.Provider()));
        EXPECT_EQ(EpbrLbas(disk), (std::vector<uint64_t>{10000, 20000, 22000}));
        EXPECT_EQ(disk.GetExtendedPartition()->type, 0x85);
        EXPECT_EQ(disk.GetExtendedPartition()->startLba, 20000u);
        EXPECT_EQ(disk.GetPartitions().size(), 3u);
        EXPECT_EQ(disk.GetExtendedUnallocated().GetExtents(),
                  (std::vector<FreeExtent>{{10563, 437}, {21063, 1000}, {23063, 1937}}));
    }
    {  // without a link entry slot 1 is taken as the link, even when it holds a logical partition
        Disk image(100000);
        image.Entry(0, 0, 0x05, 10000, 20000);
        image.Entry(10000, 0, 0x07, 63, 100, 10000).Entry(10000, 1, 0x07, 5000, 100, 10000);
        image.ChainEpbr(10000, 15000, 63, 100, 0);
        MbrDisk disk(image.Provider(), Translation(image.Provider()));
        EXPECT_EQ(EpbrLbas(disk), (std::vector<uint64_t>{10000, 15000}));
        EXPECT_EQ(disk.GetPartitions().size(), 3u);
    }
    {  // an empty extended entry has no space of its own
        Disk image(100000);
        image.Entry(0, 0, 0x0F, 0, 0);
        MbrDisk disk(image.Provider(), Translation(image.Provider()));
        EXPECT_TRUE(disk.GetExtendedUnallocated().IsEmpty());
    }
}

TEST(MbrDisk, KeepsTheReportedGeometryAndJudgesChsByTheTranslationOne) {
    Disk image(1000000);
    image.Entry(0, 0, 0x07, 2048, 600000);  // CHS values written for 254 heads
    MbrDisk disk(image.Provider(), Geometry(512, 63, 0, 255, 1000000));
    EXPECT_EQ(disk.GetGeometry().GetHeadCount(), 255u);
    EXPECT_EQ(disk.GetMbr()->GetGeometry().GetHeadCount(), 254u);
    EXPECT_TRUE(disk.GetMbr()->IsEntryValid(0));
}

TEST(MbrDisk, FreeExtentsKeepGapsOf64SectorsOrMore) {
    Disk image(100000);
    image.Entry(0, 0, 0x07, 2048, 1000).Entry(0, 1, 0x07, 3048 + 63, 1000).Entry(0, 2, 0x07, 4111 + 64, 1000);
    MbrDisk disk(image.Provider(), Translation(image.Provider()));
    EXPECT_EQ(disk.GetUnallocated().GetExtents(), (std::vector<FreeExtent>{{0, 2048}, {4111, 64}, {5175, 94825}}));
}

TEST(MbrDisk, RecognisesOnlySignedNonProtectiveMbrs) {
    const struct {
        const char* what;
        uint16_t signature;
        uint8_t type0;
        bool isMbr;
    } cases[] = {
        {"plain", 0xAA55, 0x07, true},
        {"empty table", 0xAA55, 0x00, true},
        {"GPT protective", 0xAA55, 0xEE, false},
        {"unsigned", 0x0000, 0x07, false},
    };
    for (const auto& c : cases) {
        Disk image(10000);
        image.Entry(0, 0, c.type0, 63, 100).Signature(0, c.signature);
        EXPECT_EQ(nsLayout::IsMbr(image.Provider()), c.isMbr) << c.what;
        try {
            MbrDisk disk(image.Provider(), Translation(image.Provider()));
            EXPECT_TRUE(c.isMbr) << c.what;
        } catch (const PreconditionFailure& f) {
            EXPECT_FALSE(c.isMbr) << c.what;
            EXPECT_EQ(f.Function(), "nsLayout::MbrDisk::MbrDisk");
            EXPECT_EQ(f.Expression(), "IsMbr(sb)");
        }
    }
}

TEST(MbrDisk, AlignmentAndVolumeTypes) {
    // The classifier gets each entry's start and count with the disk's sector size.
    Disk large(100000, 4096);
    large.Entry(0, 0, 0x07, 256, 256);
    EXPECT_EQ(MbrDisk(large.Provider(), Translation(large.Provider())).DetectAlignment(), L"1 MB");

    Disk image(1000000);
    const uint8_t types[] = {0x01, 0x04, 0x06, 0x0B, 0x0E, 0xEF, 0x83, 0x0C};
    image.Entry(0, 0, 0x05, 2048, 500000);
    uint64_t lba = 2048;
    for (size_t i = 0; i < std::size(types); ++i) {
        const uint64_t next = i + 1 < std::size(types) ? lba + 10000 : 0;
        image.ChainEpbr(2048, lba, 63, 1000, next, types[i]);
        lba = next;
    }
    MbrDisk disk(image.Provider(), Translation(image.Provider()));
    const auto volumes = disk.GetVolumePartitions();
    ASSERT_EQ(volumes.size(), std::size(types));
    for (size_t i = 0; i < std::size(types); ++i) {
        const Guid expected = types[i] == 0xEF ? Guid::EfiSystemPartition() : types[i] == 0x83 ? Guid() : Guid::BasicData();
        EXPECT_EQ(volumes[i].typeGuid, expected) << int(types[i]);
        EXPECT_EQ(volumes[i].firstLba, 2048 + 10000 * i + 63);
        EXPECT_EQ(volumes[i].lastLba, 2048 + 10000 * i + 63 + 999);
    }
}
