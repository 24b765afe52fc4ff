#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <sstream>

#include "Utility/Layscan/MbrChecks.h"
#include "support/Failure.h"
#include "support/GoldenFile.h"
#include "support/MbrImage.h"

using mbrimage::Disk;
using nsLayout::MbrDisk;

namespace {

Geometry Translation(SectorProvider& p) { return Geometry::Translation(p.GetBytesPerSector(), p.GetSectorCount()); }

struct Entry {
    int slot;
    uint8_t type;
    uint32_t start, count;
};
struct Link {
    uint64_t lba;
    uint32_t start, count;
    uint8_t type = 0x07;
};

// An extended partition (MBR slot 0, 60000 sectors) starting at the first
// EPBR; each EPBR links to the next, the last one to loopTo.
Disk& Chain(Disk& d, std::vector<Link> links, uint64_t loopTo = 0) {
    const uint64_t ext = links[0].lba;
    d.Entry(0, 0, 0x05, static_cast<uint32_t>(ext), 60000);
    for (size_t i = 0; i < links.size(); ++i)
        d.ChainEpbr(ext, links[i].lba, links[i].start, links[i].count, i + 1 < links.size() ? links[i + 1].lba : loopTo,
                    links[i].type);
    return d;
}

std::string Hex(unsigned v) {
    std::ostringstream s;
    s << std::hex << std::uppercase << v;
    return s.str();
}

// The model of the disk in a few lines and every warning its checks give,
// each under the record and slot it concerns. examine: an EPBR outside the
// chain to check against the disk as well.
std::string Describe(Disk& image, uint64_t examine = 0) {
    SparseSectorProvider& p = image.Provider();
    if (!nsLayout::IsMbr(p)) return "not an MBR: " + FailureOf([&] { MbrDisk(p, Translation(p)); }) + "\n";
    const MbrDisk disk(p, Translation(p));
    std::ostringstream out, line;
    auto put = [&](const char* name) {  // a line of the model, left out when empty
        if (!line.str().empty()) out << name << ':' << line.str() << '\n';
        line.str("");
    };
    for (const auto& q : disk.GetPartitions())
        line << ' ' << (q->isLogical ? "L" : "P") << Hex(q->type) << (q->bootIndicator ? "*" : "") << ' '
             << q->startLba << '+' << q->sectorCount;
    put("partitions");
    if (const auto& e = disk.GetExtendedPartition()) line << ' ' << Hex(e->type) << ' ' << e->startLba;
    put("extended");
    for (const auto& e : disk.GetEpbrList()) {
        line << ' ' << e->GetMyLba();
        EXPECT_EQ(p.ReadCounts().at(e->GetMyLba()), 1u) << "EPBR " << e->GetMyLba() << " read again";
    }
    put("EPBRs");
    for (const auto& f : disk.GetUnallocated().GetExtents()) line << ' ' << f.start << '+' << f.count;
    put("free");
    for (const auto& f : disk.GetExtendedUnallocated().GetExtents()) line << ' ' << f.start << '+' << f.count;
    put("extended free");
    for (const auto& v : disk.GetVolumePartitions())
        line << ' '
             << (v.typeGuid == Guid::BasicData() ? "basic" : v.typeGuid == Guid::EfiSystemPartition() ? "esp" : "-")
             << ' ' << v.firstLba << '-' << v.lastLba;
    put("volumes");
    line << ' ' << Narrow(disk.DetectAlignment());
    put("alignment");
    for (uint32_t i = 0; i < 4; ++i) {
        const std::wstring text = CheckMbrEntry(disk, i);
        // A primary entry is valid exactly when its check finds nothing.
        EXPECT_EQ(disk.GetMbr()->IsEntryValid(i), text.empty()) << "slot " << i;
        if (!text.empty()) out << "MBR slot " << i << ":\n" << Narrow(text);
    }
    LogicalOrderCheck order;
    for (const auto& e : disk.GetEpbrList()) {
        const std::wstring text = CheckLogicalEntries(disk, *e);
        if (!text.empty()) out << "EPBR " << e->GetMyLba() << ":\n" << Narrow(text);
        LogicalOrderCheck whole = order;
        std::wstring slots;
        for (uint32_t j = 0; j < e->GetMaxEntries(); ++j) {
            const std::wstring slot = order.CheckSlot(*e, j);
            if (!slot.empty()) out << "EPBR " << e->GetMyLba() << " order, slot " << j << ":\n" << Narrow(slot);
            slots += slot;
        }
        EXPECT_EQ(whole.CheckEpbr(*e), slots);
    }
    if (examine) {
        const Epbr epbr(p, std::make_shared<const Geometry>(Translation(p)), examine, examine, true);
        out << "EPBR " << examine << " outside the chain:\n" << Narrow(CheckLogicalEntries(disk, epbr));
    }
    return out.str();
}

}  // namespace

TEST(MbrChecks, WarningsAndModelsOfBuiltDisks) {
    const struct {
        const char* what;
        std::function<void(Disk&)> build;
        uint64_t sectors = 100000;
        uint32_t bytesPerSector = 512;
    } disks[] = {
        {"empty table", [](Disk& d) { d.Signature(0, 0xAA55); }},
        {"an empty entry says nothing whatever its CHS bytes",
         [](Disk& d) { d.BeginChs(0, 0, {1000, 254, 0}).EndChs(0, 0, {5, 5, 0}); }},
        {"consistent entries", [](Disk& d) { d.Entry(0, 0, 0x07, 2048, 1000).Entry(0, 1, 0x0C, 3048, 5000); }},
        {"overlap names the other slot", [](Disk& d) { d.Entry(0, 0, 0x07, 2048, 1000).Entry(0, 1, 0x07, 3047, 10); }},
        {"touching entries", [](Disk& d) { d.Entry(0, 0, 0x07, 2048, 1000).Entry(0, 1, 0x07, 3048, 10); }},
        {"the first overlapping slot is named", [](Disk& d) {
             d.Entry(0, 0, 0x07, 2048, 1000).Entry(0, 2, 0x07, 2000, 100).Entry(0, 3, 0x05, 2500, 100);
         }},
        {"beyond the end", [](Disk& d) { d.Entry(0, 0, 0x07, 2048, 1000).Entry(0, 1, 0x07, 63, 1985); }, 3000},
        {"ending on the last sector", [](Disk& d) { d.Entry(0, 0, 0x07, 2048, 1000); }, 3048},
        {"a 32-bit sum that wraps is not beyond the end", [](Disk& d) { d.Entry(0, 0, 0x07, 4294967040u, 512); },
         1000000},
        {"CHS out of geometry and elsewhere",
         [](Disk& d) { d.Entry(0, 1, 0x07, 2048, 1000).BeginChs(0, 1, {0, 254, 1}).EndChs(0, 1, {0, 0, 0}); }},
        {"CHS in geometry but elsewhere, overlapping, beyond",
         [](Disk& d) { d.Entry(0, 0, 0x07, 2048, 1000).Entry(0, 3, 0x07, 2500, 10).EndChs(0, 0, {0, 0, 1}); }, 3000},
        {"CHS: the 1023 marker; in geometry elsewhere; head 254; sector 0", [](Disk& d) {
             d.Entry(0, 0, 0x07, 2048, 100).BeginChs(0, 0, {1023, 5, 9}).EndChs(0, 0, {1023, 0, 0});
             d.Entry(0, 1, 0x07, 4096, 100).BeginChs(0, 1, {0, 0, 1}).Entry(0, 2, 0x07, 8192, 100);
             d.BeginChs(0, 2, {0, 254, 1}).Entry(0, 3, 0x07, 12288, 100).EndChs(0, 3, {0, 32, 0});
         }},
        {"CHS: LBA types and 0x85 accept anything, 1022 with 0x3D and 0x65", [](Disk& d) {
             d.Entry(0, 0, 0x0C, 2048, 100).BeginChs(0, 0, {5, 254, 0}).EndChs(0, 0, {0, 0, 0});
             d.Entry(0, 1, 0x85, 4096, 100).BeginChs(0, 1, {5, 254, 0}).Entry(0, 2, 0x3D, 8192, 100);
             d.BeginChs(0, 2, {1022, 0, 0}).Entry(0, 3, 0x65, 12288, 100).BeginChs(0, 3, {1022, 254, 1});
         }},
        {"CHS: 1022 with 0x69 and with 0x07, outside and inside the geometry", [](Disk& d) {
             d.Entry(0, 0, 0x69, 2048, 100).BeginChs(0, 0, {1022, 254, 1}).Entry(0, 1, 0x07, 4096, 100);
             d.BeginChs(0, 1, {1022, 254, 1}).Entry(0, 2, 0x07, 8192, 100).BeginChs(0, 2, {1022, 0, 1});
         }},
        {"CHS: wrapped cylinder, beyond reach any value, the end just inside reach must match", [](Disk& d) {
             d.Entry(0, 0, 0x07, 1030u * 16002 + 5 * 63 + 7, 100).BeginChs(0, 0, {1030 & 0x3FF, 5, 8});
             d.EndChs(0, 0, {0, 254, 0}).Entry(0, 1, 0x07, 1025u * 16002, 100).BeginChs(0, 1, {0, 254, 0});
             d.EndChs(0, 1, {3, 3, 3}).Entry(0, 2, 0x07, 1024u * 16002 - 100, 100).EndChs(0, 2, {0, 0, 1});
         }, 20000000},
        {"GPT protective", [](Disk& d) { d.Entry(0, 0, 0xEE, 63, 100); }},
        {"unsigned", [](Disk& d) { d.Entry(0, 0, 0x07, 63, 100).Signature(0, 0); }},
        {"free extents keep gaps of 64 sectors, not 63", [](Disk& d) {
             d.Entry(0, 0, 0x07, 2048, 1000).Entry(0, 1, 0x07, 3048 + 63, 1000).Entry(0, 2, 0x07, 4111 + 64, 1000);
         }},
        {"the alignment classifier counts bytes", [](Disk& d) { d.Entry(0, 0, 0x07, 256, 256); }, 100000, 4096},
        {"a primary and two logicals sorted by start", [](Disk& d) {
             d.Entry(0, 0, 0x07, 500000, 100000, 0, 0x80).Entry(0, 1, 0x05, 2048, 200000);
             d.ChainEpbr(2048, 2048, 2048, 50000, 60000).ChainEpbr(2048, 60000, 2048, 40000, 0, 0x83);
         }, 1000000},
        {"volume types", [](Disk& d) {
             Chain(d, {{2048, 63, 1000, 0x01}, {12048, 63, 1000, 0x04}, {22048, 63, 1000, 0x06},
                       {32048, 63, 1000, 0x0B}, {42048, 63, 1000, 0x0E}, {52048, 63, 1000, 0xEF}});
         }},
        {"chain loops back to the first", [](Disk& d) { Chain(d, {{2048, 63, 100}, {3000, 63, 100}}, 2048); }},
        {"chain loops to itself", [](Disk& d) { Chain(d, {{2048, 63, 100}}, 2048); }},
        {"chain loops back to the middle",
         [](Disk& d) { Chain(d, {{2048, 63, 100}, {3000, 63, 100}, {4000, 63, 100}}, 3000); }},
        {"extended entry with start 0: recorded, not walked", [](Disk& d) { d.Entry(0, 2, 0x05, 0, 5000); }},
        {"an empty extended entry has no space of its own", [](Disk& d) { d.Entry(0, 0, 0x0F, 0, 0); }},
        {"0x85 is walked; the last extended entry is the one recorded", [](Disk& d) {
             d.Entry(0, 0, 0x05, 10000, 1000).Entry(0, 1, 0x85, 20000, 5000).ChainEpbr(10000, 10000, 63, 500, 0);
             d.ChainEpbr(20000, 20000, 63, 1000, 22000).ChainEpbr(20000, 22000, 63, 1000, 0);
         }},
        {"without a link entry slot 1 is the link, even holding a logical", [](Disk& d) {
             d.Entry(0, 0, 0x05, 10000, 20000).Entry(10000, 0, 0x07, 63, 100, 10000);
             d.Entry(10000, 1, 0x07, 5000, 100, 10000).ChainEpbr(10000, 15000, 63, 100, 0);
         }},
        {"second logical contained in the first",
         [](Disk& d) { Chain(d, {{10000, 63, 5000}, {12000, 63, 100}, {14000, 63, 100}}); }},
        {"chained overlaps begin in the one before, end in the one after",
         [](Disk& d) { Chain(d, {{10000, 63, 2500}, {12000, 63, 2500}, {14000, 63, 100}}); }},
        {"identical ranges in two EPBRs",
         [](Disk& d) { Chain(d, {{10000, 2063, 100}, {12000, 63, 100}, {14000, 63, 1}}); }},
        {"one step back in the chain",
         [](Disk& d) { Chain(d, {{10000, 63, 100}, {14000, 63, 100}, {12000, 63, 100}, {16000, 63, 100}}); }},
        {"only EPBRs holding a logical set the order's reference",
         [](Disk& d) { Chain(d, {{10000, 63, 100}, {14000, 63, 100, 0}, {12000, 63, 100}}); }},
        {"a back step to an EPBR without a logical is not reported",
         [](Disk& d) { Chain(d, {{10000, 63, 100}, {14000, 63, 100}, {12000, 63, 100, 0}}); }},
        {"a second logical slot of the same EPBR is never out of order", [](Disk& d) {
             Chain(d, {{10000, 63, 100}, {14000, 63, 100}, {12000, 63, 100}}).Entry(12000, 2, 0x07, 500, 10, 12000);
         }},
    };
    // One EPBR checked against an extended partition 10000-19999 whose chain
    // is one EPBR without logical entries; entries count from the EPBR.
    const struct {
        const char* what;
        uint64_t lba;
        std::vector<Entry> entries;
    } epbrs[] = {
        {"inside", 11000, {{0, 0x07, 63, 1000}}},
        {"begins before", 6000, {{0, 0x07, 63, 1000}}},
        {"begins on the last sector", 19000, {{0, 0x07, 999, 1}}},
        {"ends on the last sector", 19000, {{0, 0x07, 998, 2}}},
        {"ends outside", 19000, {{0, 0x07, 63, 2000}}},
        {"wholly after", 19000, {{0, 0x07, 5000, 10}}},
        {"an empty range ends 0xFFFFFFFF on", 12000, {{0, 0x07, 0, 0}}},
        {"a zero count ends before it starts", 12000, {{0, 0x07, 63, 0}}},
        {"logicals in slots 0 and 1: repeated for each slot after", 12000, {{0, 0x07, 63, 100}, {1, 0x83, 200, 100}}},
        {"logicals in slots 2 and 3", 12000, {{2, 0x07, 63, 100}, {3, 0x83, 200, 100}}},
        {"two links and a logical", 12000, {{0, 0x05, 3000, 100}, {1, 0x0F, 4000, 100}, {2, 0x07, 63, 100}}},
        {"0x85 is a logical partition in an EPBR", 12000, {{0, 0x85, 63, 100}, {1, 0x07, 200, 100}}},
        {"outside and doubled", 19000, {{0, 0x07, 5000, 10}, {1, 0x07, 63, 10}}},
    };
    std::string text;
    for (const auto& c : disks) {
        Disk image(c.sectors, c.bytesPerSector);
        c.build(image);
        text += std::string("== ") + c.what + "\n" + Describe(image) + "\n";
    }
    for (const auto& c : epbrs) {
        Disk image(100000);
        image.Entry(0, 0, 0x07, 2048, 7000).Entry(0, 1, 0x05, 10000, 10000).Signature(10000, 0xAA55);
        for (const auto& e : c.entries) image.Entry(c.lba, e.slot, e.type, e.start, e.count, c.lba);
        const std::string all = Describe(image, c.lba);
        text += std::string("== one EPBR: ") + c.what + "\n" + all.substr(all.find("EPBR " + std::to_string(c.lba))) + "\n";
    }
    golden::ExpectMatches("mbr-disks.txt", text);
    Disk image(1000);
    image.Signature(0, 0xAA55);
    EXPECT_EQ(FailureOf([&] { CheckMbrEntry(MbrDisk(image.Provider(), Translation(image.Provider())), 4); }),
              "PRECONDITION `anonymous-namespace'::CheckMbrEntry: index < 4");
}

TEST(MbrDisk, KeepsTheReportedGeometryAndJudgesChsByTheTranslationOne) {
    Disk image(1000000);
    image.Entry(0, 0, 0x07, 2048, 600000);  // CHS values written for 254 heads
    const MbrDisk disk(image.Provider(), Geometry(512, 63, 0, 255, 1000000));
    EXPECT_EQ(disk.GetGeometry().GetHeadCount(), 255u);
    EXPECT_EQ(disk.GetMbr()->GetGeometry().GetHeadCount(), 254u);
    EXPECT_TRUE(disk.GetMbr()->IsEntryValid(0));
}

namespace {

// The overlap rule over all pairs, as the overlap lines of an EPBR's check:
// the reference the indexed check must equal.
std::wstring PlainOverlaps(const MbrDisk& disk, const Epbr& epbr) {
    auto isLogical = [](const Epbr& e, uint32_t slot) {
        const uint8_t type = e.GetEntry(slot).GetPartitionType();
        return type != 0 && type != 0x05 && type != 0x0F;
    };
    std::wstring text;
    for (const auto& other : disk.GetEpbrList()) {
        for (uint32_t k = 0; other.get() != &epbr && k < other->GetMaxEntries(); ++k) {
            for (uint32_t j = 0; isLogical(*other, k) && j < epbr.GetMaxEntries(); ++j) {
                const uint64_t os = other->GetStartLba(k), oe = other->GetEndLba(k);
                const uint64_t s = epbr.GetStartLba(j), e = epbr.GetEndLba(j);
                if (!isLogical(epbr, j)) continue;
                if (os <= s && s <= oe)
                    text += L"WARNING:  Logical partition above begins inside (overlaps) another logical partition.\n";
                if (os <= e && e <= oe)
                    text += L"WARNING: Logical partition above ends inside (overlaps) another logical partition.\n";
                if (s >= os && e <= oe)
                    text += L"WARNING: Logical partition contained in (overlaps) another logical partition.\n";
            }
        }
    }
    return text;
}

std::wstring OverlapLines(const std::wstring& text) {
    std::wstring lines;
    for (size_t at = 0, end; (end = text.find(L'\n', at)) != std::wstring::npos; at = end + 1)
        if (text.find(L"another logical", at) < end) lines += text.substr(at, end + 1 - at);
    return lines;
}

}  // namespace

TEST(CheckLogicalEntries, IndexedOverlapsEqualTheAllPairsRuleOnRandomChains) {
    const uint8_t dataTypes[] = {0x07, 0x83, 0x0C, 0x85};
    size_t overlapLines = 0;
    for (unsigned seed = 1; seed <= 12; ++seed) {
        std::mt19937 rng(seed);
        auto pick = [&](uint32_t n) { return static_cast<uint32_t>(rng() % n); };
        const uint64_t ext = 10000;
        Disk image(10000000);
        image.Entry(0, 0, 0x07, 2048, 7000).Entry(0, 1 + pick(3), 0x05, 10000, 30000 + pick(100000));
        // Distinct EPBR places, the first at the extended partition's start.
        std::vector<uint64_t> lbas{ext};
        for (size_t n = 20 + pick(120); lbas.size() < n;) {
            const uint64_t lba = ext + 1 + pick(200000);
            if (std::find(lbas.begin(), lbas.end(), lba) == lbas.end()) lbas.push_back(lba);
        }
        for (size_t i = 0; i < lbas.size(); ++i) {
            // The last EPBR keeps its empty link in slot 1 and at most a logical in
            // slot 0: without a link entry, slot 1 is taken as the link whatever it holds.
            const bool last = i + 1 == lbas.size();
            const int linkSlot = last ? 1 : static_cast<int>(pick(4));
            for (int slot = 0; slot < (last ? 1 : 4); ++slot) {
                const uint32_t roll = pick(10);
                if (slot == linkSlot && !last)
                    image.Entry(lbas[i], slot, 0x05, static_cast<uint32_t>(lbas[i + 1] - ext), 100, ext);
                if (slot == linkSlot || roll < 3) continue;  // roll < 3: empty
                // Counts of 0 (ending 0xFFFFFFFF past the EPBR) and wrapping in 32 bits; second links.
                const uint32_t count = roll == 3 ? 0 : roll == 4 ? 0xFFFFFF00u : 1 + pick(5000);
                const uint8_t type = roll == 5 && slot > linkSlot ? 0x0F : dataTypes[pick(4)];
                image.Entry(lbas[i], slot, type, pick(3000), count, lbas[i]);
            }
            image.Signature(lbas[i], 0xAA55);
        }
        const MbrDisk disk(image.Provider(), Translation(image.Provider()));
        ASSERT_EQ(disk.GetEpbrList().size(), lbas.size()) << seed;
        for (const auto& epbr : disk.GetEpbrList()) {
            const std::wstring plain = PlainOverlaps(disk, *epbr);
            ASSERT_EQ(OverlapLines(CheckLogicalEntries(disk, *epbr)), plain)
                << "seed " << seed << " EPBR " << epbr->GetMyLba();
            for (size_t at = 0; (at = plain.find(L"another logical", at)) != std::wstring::npos; ++at) ++overlapLines;
        }
    }
    EXPECT_GT(overlapLines, 1000u) << "the random chains should overlap a lot";
}
