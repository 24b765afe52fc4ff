#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <sstream>

#include "Utility/Layscan/Model/MbrChecks.h"
#include "support/Failure.h"
#include "support/GoldenFile.h"
#include "support/MbrImage.h"

using nsLayout::CheckMbrEntry;
using nsLayout::CheckLogicalEntries;
using nsLayout::LogicalOrderCheck;

using mbrimage::Disk;
using nsLayout::MbrDisk;

namespace {

Geometry Translation(SectorProvider& p) { return Geometry::Translation(p.GetBytesPerSector(), p.GetSectorCount()); }

struct Link {
    uint64_t lba;
    uint32_t start, count;
    uint8_t type = 0x07;
};

// A disk in one string of items: #SECTORS[/BYTES] its size (default 100000/512);
// R.S:TT:START+COUNT an entry of type TT (hex) in slot S of the record at LBA R,
// its CHS calculated from R, active when it ends in *;
// R.S<C,H,S and R.S>C,H,S its begin and end CHS; R!XXXX the record's signature.
// Any record written gets the boot signature. chain: an extended partition
// (MBR slot 0, 60000 sectors) starting at the first EPBR; each EPBR links to
// the next, the last one to loopTo.
Disk Build(const std::string& layout, const std::vector<Link>& chain = {}, uint64_t loopTo = 0) {
    unsigned long long r = 100000;
    unsigned bytes = 512, slot, type, start, count, c, h, s;
    char op;
    std::sscanf(layout.c_str() + std::min(layout.find('#'), layout.size()), "#%llu/%u", &r, &bytes);
    Disk d(r, bytes);
    if (!chain.empty()) d.Entry(0, 0, 0x05, static_cast<uint32_t>(chain[0].lba), 60000);
    for (size_t i = 0; i < chain.size(); ++i)
        d.ChainEpbr(chain[0].lba, chain[i].lba, chain[i].start, chain[i].count,
                    i + 1 < chain.size() ? chain[i + 1].lba : loopTo, chain[i].type);
    std::istringstream items(layout);
    for (std::string item; items >> item;) {
        const char* at = item.c_str();
        if (std::sscanf(at, "%llu.%u:%x:%u+%u", &r, &slot, &type, &start, &count) == 5)
            d.Entry(r, slot, type, start, count, r, item.back() == '*' ? 0x80 : 0);
        else if (std::sscanf(at, "%llu.%u%c%u,%u,%u", &r, &slot, &op, &c, &h, &s) == 6)
            op == '<' ? d.BeginChs(r, slot, {c, h, s}) : d.EndChs(r, slot, {c, h, s});
        else if (std::sscanf(at, "%llu!%x", &r, &type) == 2)
            d.Signature(r, type);
        else
            EXPECT_EQ(item[0], '#') << item;
    }
    return d;
}

// The model of the disk in a few lines and every warning its checks give,
// each under the record and slot it concerns. examine: an EPBR outside the
// chain to check against the disk as well.
std::string Describe(Disk& image, uint64_t examine = 0) {
    SparseSectorProvider& p = image.Provider();
    if (!nsLayout::IsMbr(p)) return "not an MBR: " + FailureOf([&] { MbrDisk(p, Translation(p)); }) + "\n";
    const MbrDisk disk(p, Translation(p));
    std::ostringstream out, line;
    line << std::uppercase;
    auto put = [&](const char* name) {  // a line of the model, left out when empty
        if (!line.str().empty()) out << name << ':' << line.str() << '\n';
        line.str("");
    };
    for (const auto& q : disk.GetPartitions())
        line << ' ' << (q->isLogical ? "L" : "P") << std::hex << +q->type << std::dec << (q->bootIndicator ? "*" : "")
             << ' ' << q->startLba << '+' << q->sectorCount;
    put("partitions");
    if (const auto& e = disk.GetExtendedPartition()) line << ' ' << std::hex << +e->type << std::dec << ' ' << e->startLba;
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
        const char* layout;
        std::vector<Link> chain = {};
        uint64_t loopTo = 0;
    } disks[] = {
        {"empty table", "0!AA55"},
        {"an empty entry says nothing whatever its CHS bytes", "0.0<1000,254,0 0.0>5,5,0"},
        {"consistent entries", "0.0:07:2048+1000 0.1:0C:3048+5000"},
        {"overlap names the other slot", "0.0:07:2048+1000 0.1:07:3047+10"},
        {"touching entries", "0.0:07:2048+1000 0.1:07:3048+10"},
        {"the first overlapping slot is named", "0.0:07:2048+1000 0.2:07:2000+100 0.3:05:2500+100"},
        {"beyond the end", "#3000 0.0:07:2048+1000 0.1:07:63+1985"},
        {"ending on the last sector", "#3048 0.0:07:2048+1000"},
        {"a 32-bit sum that wraps is not beyond the end", "#1000000 0.0:07:4294967040+512"},
        {"CHS out of geometry and elsewhere", "0.1:07:2048+1000 0.1<0,254,1 0.1>0,0,0"},
        {"CHS in geometry but elsewhere, overlapping, beyond", "#3000 0.0:07:2048+1000 0.3:07:2500+10 0.0>0,0,1"},
        {"CHS: the 1023 marker; in geometry elsewhere; head 254; sector 0",
         "0.0:07:2048+100 0.0<1023,5,9 0.0>1023,0,0 0.1:07:4096+100 0.1<0,0,1 0.2:07:8192+100 0.2<0,254,1 "
         "0.3:07:12288+100 0.3>0,32,0"},
        {"CHS: LBA types and 0x85 accept anything, 1022 with 0x3D and 0x65",
         "0.0:0C:2048+100 0.0<5,254,0 0.0>0,0,0 0.1:85:4096+100 0.1<5,254,0 0.2:3D:8192+100 0.2<1022,0,0 "
         "0.3:65:12288+100 0.3<1022,254,1"},
        {"CHS: 1022 with 0x69 and with 0x07, outside and inside the geometry",
         "0.0:69:2048+100 0.0<1022,254,1 0.1:07:4096+100 0.1<1022,254,1 0.2:07:8192+100 0.2<1022,0,1"},
        // Starts on cylinders 1030 (head 5, sector 8), 1025 and 100 sectors before 1024.
        {"CHS: wrapped cylinder, beyond reach any value, the end just inside reach must match",
         "#20000000 0.0:07:16482382+100 0.0<6,5,8 0.0>0,254,0 0.1:07:16402050+100 0.1<0,254,0 0.1>3,3,3 "
         "0.2:07:16385948+100 0.2>0,0,1"},
        {"GPT protective", "0.0:EE:63+100"}, {"unsigned", "0.0:07:63+100 0!0"},
        {"free extents keep gaps of 64 sectors, not 63", "0.0:07:2048+1000 0.1:07:3111+1000 0.2:07:4175+1000"},
        {"the alignment classifier counts bytes", "#100000/4096 0.0:07:256+256"},
        {"a primary and two logicals sorted by start", "#1000000 0.0:07:500000+100000* 0.1:05:2048+200000 "
         "2048.0:07:2048+50000 2048.1:05:57952+100 60000.0:83:2048+40000"},
        {"volume types", "", {{2048, 63, 1000, 0x01}, {12048, 63, 1000, 0x04}, {22048, 63, 1000, 0x06},
                              {32048, 63, 1000, 0x0B}, {42048, 63, 1000, 0x0E}, {52048, 63, 1000, 0xEF}}},
        {"chain loops back to the first", "", {{2048, 63, 100}, {3000, 63, 100}}, 2048},
        {"chain loops to itself", "", {{2048, 63, 100}}, 2048},
        {"chain loops back to the middle", "", {{2048, 63, 100}, {3000, 63, 100}, {4000, 63, 100}}, 3000},
        {"extended entry with start 0: recorded, not walked", "0.2:05:0+5000"},
        {"an empty extended entry has no space of its own", "0.0:0F:0+0"},
        {"0x85 is walked; the last extended entry is the one recorded", "0.0:05:10000+1000 0.1:85:20000+5000 "
         "10000.0:07:63+500 20000.0:07:63+1000 20000.1:05:2000+100 22000.0:07:63+1000"},
        {"without a link entry slot 1 is the link, even holding a logical",
         "0.0:05:10000+20000 10000.0:07:63+100 10000.1:07:5000+100 15000.0:07:63+100"},
        {"second logical contained in the first", "", {{10000, 63, 5000}, {12000, 63, 100}, {14000, 63, 100}}},
        {"chained overlaps begin in the one before, end in the one after", "",
         {{10000, 63, 2500}, {12000, 63, 2500}, {14000, 63, 100}}},
        {"identical ranges in two EPBRs", "", {{10000, 2063, 100}, {12000, 63, 100}, {14000, 63, 1}}},
        {"one step back in the chain", "", {{10000, 63, 100}, {14000, 63, 100}, {12000, 63, 100}, {16000, 63, 100}}},
        {"only EPBRs holding a logical set the order's reference", "",
         {{10000, 63, 100}, {14000, 63, 100, 0}, {12000, 63, 100}}},
        {"a back step to an EPBR without a logical is not reported", "",
         {{10000, 63, 100}, {14000, 63, 100}, {12000, 63, 100, 0}}},
        {"a second logical slot of the same EPBR is never out of order", "12000.2:07:500+10",
         {{10000, 63, 100}, {14000, 63, 100}, {12000, 63, 100}}},
    };
    // One EPBR (its LBA first) checked against an extended partition
    // 10000-19999 whose chain is one EPBR without logical entries.
    const std::pair<const char*, const char*> epbrs[] = {
        {"inside", "11000.0:07:63+1000"}, {"begins before", "6000.0:07:63+1000"},
        {"begins on the last sector", "19000.0:07:999+1"}, {"ends on the last sector", "19000.0:07:998+2"},
        {"ends outside", "19000.0:07:63+2000"}, {"wholly after", "19000.0:07:5000+10"},
        {"an empty range ends 0xFFFFFFFF on", "12000.0:07:0+0"}, {"a zero count ends before it starts", "12000.0:07:63+0"},
        {"logicals in slots 0 and 1: repeated for each slot after", "12000.0:07:63+100 12000.1:83:200+100"},
        {"logicals in slots 2 and 3", "12000.2:07:63+100 12000.3:83:200+100"},
        {"two links and a logical", "12000.0:05:3000+100 12000.1:0F:4000+100 12000.2:07:63+100"},
        {"0x85 is a logical partition in an EPBR", "12000.0:85:63+100 12000.1:07:200+100"},
        {"outside and doubled", "19000.0:07:5000+10 19000.1:07:63+10"},
    };
    std::string text;
    for (const auto& c : disks) {
        Disk image = Build(c.layout, c.chain, c.loopTo);
        text += std::string("== ") + c.what + "\n" + Describe(image) + "\n";
    }
    for (const auto& [what, layout] : epbrs) {
        Disk image = Build(std::string("0.0:07:2048+7000 0.1:05:10000+10000 10000!AA55 ") + layout);
        const std::string all = Describe(image, std::stoull(layout));
        text += std::string("== one EPBR: ") + what + "\n" + all.substr(all.find("EPBR " + std::to_string(std::stoull(layout)))) +
                "\n";
    }
    golden::ExpectMatches("mbr-disks.txt", text);
    Disk image = Build("#1000 0!AA55");
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

// The overlap rule over all pairs, worded as an EPBR's check words it: the
// reference the indexed check must equal.
std::wstring PlainOverlaps(const MbrDisk& disk, const Epbr& epbr) {
    auto isLogical = [](const Epbr& e, uint32_t slot) {
        const uint8_t type = e.GetEntry(slot).GetPartitionType();
        return type != 0 && type != 0x05 && type != 0x0F;
    };
    std::wstring text;
    for (const auto& other : disk.GetEpbrList())
        for (uint32_t k = 0; other.get() != &epbr && k < other->GetMaxEntries(); ++k)
            for (uint32_t j = 0; isLogical(*other, k) && j < epbr.GetMaxEntries(); ++j) {
                const uint64_t os = other->GetStartLba(k), oe = other->GetEndLba(k), s = epbr.GetStartLba(j),
                               e = epbr.GetEndLba(j);
                if (!isLogical(epbr, j)) continue;
                if (os <= s && s <= oe)
                    text += L"WARNING:  Logical partition above begins inside (overlaps) another logical partition.\n";
                if (os <= e && e <= oe)
                    text += L"WARNING: Logical partition above ends inside (overlaps) another logical partition.\n";
                if (s >= os && e <= oe)
                    text += L"WARNING: Logical partition contained in (overlaps) another logical partition.\n";
            }
    return text;
}

}  // namespace

TEST(CheckLogicalEntries, IndexedOverlapsEqualTheAllPairsRuleOnRandomChains) {
    size_t overlapLines = 0;
    for (unsigned seed = 1; seed <= 12; ++seed) {
        std::mt19937 rng(seed);
        auto pick = [&](uint32_t n) { return static_cast<uint32_t>(rng() % n); };
        const uint64_t ext = 10000;
        Disk image(10000000);
        image.Entry(0, 0, 0x07, 2048, 7000).Entry(0, 1 + pick(3), 0x05, ext, 30000 + pick(100000));
        // Distinct EPBR places, the first at the extended partition's start.
        std::vector<uint64_t> lbas{ext};
        for (size_t n = 20 + pick(120); lbas.size() < n;)
            if (const uint64_t lba = ext + 1 + pick(200000); std::find(lbas.begin(), lbas.end(), lba) == lbas.end())
                lbas.push_back(lba);
        for (size_t i = 0; i < lbas.size(); ++i) {
            // The last EPBR keeps its empty link in slot 1 and at most a logical in
            // slot 0: without a link entry, slot 1 is taken as the link whatever it holds.
            const bool last = i + 1 == lbas.size();
            const int linkSlot = last ? 1 : static_cast<int>(pick(4));
            for (int slot = 0; slot < (last ? 1 : 4); ++slot) {
                const uint32_t roll = pick(10);  // 0-2: empty; 3: count 0 (ending 0xFFFFFFFF on); 4: a 32-bit wrap
                if (slot == linkSlot && !last)
                    image.Entry(lbas[i], slot, 0x05, static_cast<uint32_t>(lbas[i + 1] - ext), 100, ext);
                else if (roll >= 3) {  // 5 after the link: a second link
                    const uint32_t count = roll == 3 ? 0 : roll == 4 ? 0xFFFFFF00u : 1 + pick(5000);
                    const uint8_t type = roll == 5 && slot > linkSlot ? 0x0F : "\x07\x83\x0C\x85"[pick(4)];
                    image.Entry(lbas[i], slot, type, pick(3000), count, lbas[i]);
                }
            }
            image.Signature(lbas[i], 0xAA55);
        }
        const MbrDisk disk(image.Provider(), Translation(image.Provider()));
        ASSERT_EQ(disk.GetEpbrList().size(), lbas.size()) << seed;
        for (const auto& epbr : disk.GetEpbrList()) {
            std::wistringstream checked(CheckLogicalEntries(disk, *epbr));
            std::wstring overlaps, plain = PlainOverlaps(disk, *epbr);
            for (std::wstring line; std::getline(checked, line);)
                if (line.find(L"another logical") != std::wstring::npos) overlaps += line + L"\n";
            ASSERT_EQ(overlaps, plain) << "seed " << seed << " EPBR " << epbr->GetMyLba();
            overlapLines += std::count(plain.begin(), plain.end(), L'\n');
        }
    }
    EXPECT_GT(overlapLines, 1000u) << "the random chains should overlap a lot";
}
