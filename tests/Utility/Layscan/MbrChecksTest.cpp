#include <gtest/gtest.h>

#include <random>

#include "Utility/Layscan/MbrChecks.h"
#include "support/MbrImage.h"

using mbrimage::Chs;
using mbrimage::Disk;
using nsLayout::MbrDisk;

namespace {

const std::wstring kBeginChs = L"WARNING: Invalid Begin CHS values in partition above.\n";
const std::wstring kEndChs = L"WARNING: Invalid End CHS values in partition above.\n";
const std::wstring kBeginMatch = L"WARNING: Begin CHS does not match start sector LBA in partition above.\n";
const std::wstring kEndMatch = L"WARNING: End CHS does not match calculated end LBA in partition above.\n";
const std::wstring kBeyond = L"WARNING: Partition above extends beyond the end of disk.\n";
const std::wstring kBeginsOutside = L"WARNING:  Logical partition above begins outside of extended partition.\n";
const std::wstring kEndsOutside = L"WARNING: Logical partition above ends outside of extended partition.\n";
const std::wstring kTwoLogicals = L"WARNING:  Non-Windows logical chain, multiple logical partitions in EPBR.\n";
const std::wstring kTwoLinks = L"WARNING:  Non-Windows logical chain, multiple link entries in EPBR.\n";
const std::wstring kBeginsInside =
    L"WARNING:  Logical partition above begins inside (overlaps) another logical partition.\n";
const std::wstring kEndsInside = L"WARNING: Logical partition above ends inside (overlaps) another logical partition.\n";
const std::wstring kContained = L"WARNING: Logical partition contained in (overlaps) another logical partition.\n";
const std::wstring kNotSequential = L"WARNING: Logical partition entries are not in sequential order.\n";

std::wstring Overlaps(int slot) {
    return L"WARNING: Partition above overlaps with primary partition # " + std::to_wstring(slot) + L".\n";
}

std::shared_ptr<const Geometry> Translation(SectorProvider& p) {
    return std::make_shared<const Geometry>(Geometry::Translation(p.GetBytesPerSector(), p.GetSectorCount()));
}

MbrDisk Model(Disk& image) {
    return MbrDisk(image.Provider(), Geometry::Translation(512, image.Provider().GetSectorCount()));
}

struct Entry {
    int slot;
    uint8_t type;
    uint32_t start, count;
};

}  // namespace

TEST(CheckMbrEntry, WarningsInOrderWithATrailingBlankLine) {
    const struct {
        const char* what;
        uint64_t sectors;
        std::vector<Entry> entries;
        std::function<void(Disk&)> damage;
        std::vector<std::wstring> expected;  // per slot 0-3
    } cases[] = {
        {"empty table", 100000, {}, nullptr, {L"", L"", L"", L""}},
        {"an empty entry says nothing whatever its bytes", 100000, {}, [](Disk& d) {
             d.BeginChs(0, 0, {1000, 254, 0}).EndChs(0, 0, {5, 5, 0});
         }, {L"", L"", L"", L""}},
        {"consistent entries", 100000, {{0, 0x07, 2048, 1000}, {1, 0x0C, 3048, 5000}}, nullptr, {L"", L"", L"", L""}},
        {"overlap names the other slot", 100000, {{0, 0x07, 2048, 1000}, {1, 0x07, 3047, 10}}, nullptr,
         {Overlaps(1) + L"\n", Overlaps(0) + L"\n", L"", L""}},
        {"touching entries", 100000, {{0, 0x07, 2048, 1000}, {1, 0x07, 3048, 10}}, nullptr, {L"", L"", L"", L""}},
        {"the first overlapping slot is named", 100000,
         {{0, 0x07, 2048, 1000}, {2, 0x07, 2000, 100}, {3, 0x05, 2500, 100}}, nullptr,
         {Overlaps(2) + L"\n", L"", Overlaps(0) + L"\n", Overlaps(0) + L"\n"}},
        {"beyond the end", 3000, {{0, 0x07, 2048, 1000}, {1, 0x07, 63, 1985}}, nullptr,
         {kBeyond + L"\n", L"", L"", L""}},
        {"ending on the last sector", 3048, {{0, 0x07, 2048, 1000}}, nullptr, {L"", L"", L"", L""}},
        {"a 32-bit sum that wraps is not beyond the end", 1000000, {{0, 0x07, 4294967040u, 512}}, nullptr,
         {L"", L"", L"", L""}},
        {"CHS out of geometry and elsewhere", 100000, {{1, 0x07, 2048, 1000}}, [](Disk& d) {
             d.BeginChs(0, 1, {0, 254, 1}).EndChs(0, 1, {0, 0, 0});
         }, {L"", kBeginChs + kEndChs + kBeginMatch + kEndMatch + L"\n", L"", L""}},
        {"CHS in geometry but elsewhere, overlapping, beyond", 3000,
         {{0, 0x07, 2048, 1000}, {3, 0x07, 2500, 10}}, [](Disk& d) { d.EndChs(0, 0, {0, 0, 1}); },
         {kEndMatch + Overlaps(3) + kBeyond + L"\n", L"", L"", Overlaps(0) + L"\n"}},
    };
    for (const auto& c : cases) {
        Disk image(c.sectors);
        image.Signature(0, 0xAA55);
        for (const auto& e : c.entries) image.Entry(0, e.slot, e.type, e.start, e.count);
        if (c.damage) c.damage(image);
        const MbrDisk disk = Model(image);
        for (uint32_t i = 0; i < 4; ++i) {
            EXPECT_EQ(CheckMbrEntry(disk, i), c.expected[i]) << c.what << " slot " << i;
            // A primary entry is valid exactly when its check finds nothing.
            EXPECT_EQ(disk.GetMbr()->IsEntryValid(i), c.expected[i].empty()) << c.what << " slot " << i;
        }
    }
}

TEST(CheckMbrEntry, SlotFourIsAProgrammingError) {
    Disk image(1000);
    image.Signature(0, 0xAA55);
    const MbrDisk disk = Model(image);
    try {
        CheckMbrEntry(disk, 4);
        FAIL();
    } catch (const PreconditionFailure& f) {
        EXPECT_EQ(f.Function(), "`anonymous-namespace'::CheckMbrEntry");
        EXPECT_EQ(f.Expression(), "index < 4");
    }
}

TEST(CheckLogicalEntries, OneEpbrAgainstTheExtendedPartition) {
    // The MBR's extended partition covers 10000-19999.
    const struct {
        const char* what;
        uint64_t lba;
        std::vector<Entry> entries;
        std::wstring expected;
    } cases[] = {
        {"inside", 11000, {{0, 0x07, 63, 1000}}, L""},
        {"begins before", 6000, {{0, 0x07, 63, 1000}}, kBeginsOutside + L"\n"},
        {"begins on the last sector", 19000, {{0, 0x07, 999, 1}}, kBeginsOutside + L"\n"},
        {"ends on the last sector", 19000, {{0, 0x07, 998, 2}}, L""},
        {"ends outside", 19000, {{0, 0x07, 63, 2000}}, kEndsOutside + L"\n"},
        {"wholly after", 19000, {{0, 0x07, 5000, 10}}, kBeginsOutside + kEndsOutside + L"\n"},
        {"an empty range ends 0xFFFFFFFF on", 12000, {{0, 0x07, 0, 0}}, kEndsOutside + L"\n"},
        {"a zero count ends before it starts", 12000, {{0, 0x07, 63, 0}}, L""},
        {"logicals in slots 0 and 1: repeated for each slot after", 12000,
         {{0, 0x07, 63, 100}, {1, 0x83, 200, 100}}, kTwoLogicals + kTwoLogicals + kTwoLogicals + L"\n"},
        {"logicals in slots 2 and 3", 12000, {{2, 0x07, 63, 100}, {3, 0x83, 200, 100}}, kTwoLogicals + L"\n"},
        {"two links and a logical", 12000, {{0, 0x05, 3000, 100}, {1, 0x0F, 4000, 100}, {2, 0x07, 63, 100}},
         kTwoLinks + kTwoLinks + kTwoLinks + L"\n"},
        {"0x85 is a logical partition in an EPBR", 12000, {{0, 0x85, 63, 100}, {1, 0x07, 200, 100}},
         kTwoLogicals + kTwoLogicals + kTwoLogicals + L"\n"},
        {"outside and doubled", 19000, {{0, 0x07, 5000, 10}, {1, 0x07, 63, 10}},
         kBeginsOutside + kEndsOutside + kTwoLogicals + kTwoLogicals + kTwoLogicals + L"\n"},
    };
    for (const auto& c : cases) {
        Disk image(100000);
        // The chain itself is one EPBR without logical entries.
        image.Entry(0, 0, 0x07, 2048, 7000).Entry(0, 1, 0x05, 10000, 10000).Signature(10000, 0xAA55);
        for (const auto& e : c.entries) image.Entry(c.lba, e.slot, e.type, e.start, e.count, c.lba);
        image.Signature(c.lba, 0xAA55);
        const MbrDisk disk = Model(image);
        // The EPBR under examination need not be one of the chain's.
        const Epbr epbr(image.Provider(), Translation(image.Provider()), c.lba, c.lba, true);
        EXPECT_EQ(CheckLogicalEntries(disk, epbr), c.expected) << c.what;
    }
}

TEST(CheckLogicalEntries, OverlapsWithOtherEpbrsLogicals) {
    // A chain of EPBRs at 10000, 12000 and 14000; each logical as given.
    const struct {
        const char* what;
        Entry logicals[3];
        std::wstring expected[3];
    } cases[] = {
        {"apart", {{0, 7, 63, 1000}, {0, 7, 63, 1000}, {0, 7, 63, 1000}}, {L"", L"", L""}},
        {"second contained in first",
         {{0, 7, 63, 5000}, {0, 7, 63, 100}, {0, 7, 63, 100}},
         {L"", kBeginsInside + kEndsInside + kContained + L"\n", kBeginsInside + kEndsInside + kContained + L"\n"}},
        {"chained overlaps begin in the one before, end in the one after",
         {{0, 7, 63, 2500}, {0, 7, 63, 2500}, {0, 7, 63, 100}},
         {kEndsInside + L"\n", kBeginsInside + L"\n", kBeginsInside + kEndsInside + kContained + L"\n"}},
        {"identical ranges in two EPBRs",
         {{0, 7, 2063, 100}, {0, 7, 63, 100}, {0, 7, 63, 1}},
         {kBeginsInside + kEndsInside + kContained + L"\n", kBeginsInside + kEndsInside + kContained + L"\n", L""}},
    };
    for (const auto& c : cases) {
        Disk image(100000);
        image.Entry(0, 1, 0x05, 10000, 10000);
        const uint64_t lbas[3] = {10000, 12000, 14000};
        for (int i = 0; i < 3; ++i) {
            const auto& l = c.logicals[i];
            image.ChainEpbr(10000, lbas[i], l.start, l.count, i < 2 ? lbas[i + 1] : 0, l.type);
        }
        const MbrDisk disk = Model(image);
        ASSERT_EQ(disk.GetEpbrList().size(), 3u);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(CheckLogicalEntries(disk, *disk.GetEpbrList()[i]), c.expected[i]) << c.what << " EPBR " << i;
    }
}

TEST(LogicalOrderCheck, AnEpbrBeforeTheOneOfThePreviousLogical) {
    const struct {
        const char* what;
        std::vector<uint64_t> chain;
        std::vector<bool> hasLogical;
        std::vector<bool> warned;
    } cases[] = {
        {"ascending", {10000, 12000, 14000}, {true, true, true}, {false, false, false}},
        {"one step back", {10000, 14000, 12000, 16000}, {true, true, true, true}, {false, false, true, false}},
        {"only EPBRs holding a logical set the reference", {10000, 14000, 12000}, {true, false, true},
         {false, false, false}},
        {"a back step to an EPBR without a logical is not reported", {10000, 14000, 12000}, {true, true, false},
         {false, false, false}},
    };
    for (const auto& c : cases) {
        Disk image(100000);
        image.Entry(0, 0, 0x05, 10000, 20000);
        for (size_t i = 0; i < c.chain.size(); ++i) {
            const uint64_t next = i + 1 < c.chain.size() ? c.chain[i + 1] : 0;
            image.ChainEpbr(10000, c.chain[i], 63, 100, next, c.hasLogical[i] ? 0x07 : 0x00);
        }
        const MbrDisk disk = Model(image);
        ASSERT_EQ(disk.GetEpbrList().size(), c.chain.size()) << c.what;
        LogicalOrderCheck order;
        for (size_t i = 0; i < c.chain.size(); ++i)
            EXPECT_EQ(order.CheckEpbr(*disk.GetEpbrList()[i]), c.warned[i] ? kNotSequential : L"") << c.what << i;
    }
    // Per slot: the second logical slot of the same EPBR is never out of order.
    Disk image(100000);
    image.Entry(0, 0, 0x05, 10000, 20000);
    image.ChainEpbr(10000, 10000, 63, 100, 14000).ChainEpbr(10000, 14000, 63, 100, 12000);
    image.ChainEpbr(10000, 12000, 63, 100, 0).Entry(12000, 2, 0x07, 500, 10, 12000);
    const MbrDisk disk = Model(image);
    LogicalOrderCheck order;
    EXPECT_EQ(order.CheckEpbr(*disk.GetEpbrList()[0]), L"");
    EXPECT_EQ(order.CheckEpbr(*disk.GetEpbrList()[1]), L"");
    const Epbr& last = *disk.GetEpbrList()[2];
    EXPECT_EQ(order.CheckSlot(last, 0), kNotSequential);
    EXPECT_EQ(order.CheckSlot(last, 1), L"");
    EXPECT_EQ(order.CheckSlot(last, 2), L"");
}

namespace {

bool IsLink(uint8_t type) { return type == 0x05 || type == 0x0F; }

// The overlap lines of an EPBR's check: "another logical" in them.
std::wstring OverlapLines(const std::wstring& text) {
    std::wstring lines;
    for (size_t at = 0, end; (end = text.find(L'\n', at)) != std::wstring::npos; at = end + 1)
        if (text.find(L"another logical", at) < end) lines += text.substr(at, end + 1 - at);
    return lines;
}

// The overlap rule over all pairs: the reference the indexed check must equal.
std::wstring PlainOverlaps(const MbrDisk& disk, const Epbr& epbr) {
    auto isLogical = [](const Epbr& e, uint32_t slot) {
        const uint8_t type = e.GetEntry(slot).GetPartitionType();
        return type != 0 && !IsLink(type);
    };
    std::wstring text;
    for (const auto& other : disk.GetEpbrList()) {
        if (other.get() == &epbr) continue;
        for (uint32_t k = 0; k < other->GetMaxEntries(); ++k) {
            if (!isLogical(*other, k)) continue;
            const uint64_t os = other->GetStartLba(k), oe = other->GetEndLba(k);
            for (uint32_t j = 0; j < epbr.GetMaxEntries(); ++j) {
                if (!isLogical(epbr, j)) continue;
                const uint64_t s = epbr.GetStartLba(j), e = epbr.GetEndLba(j);
                if (os <= s && s <= oe) text += kBeginsInside;
                if (os <= e && e <= oe) text += kEndsInside;
                if (s >= os && e <= oe) text += kContained;
            }
        }
    }
    return text;
}

}  // namespace

TEST(CheckLogicalEntries, IndexedOverlapsEqualTheAllPairsRuleOnRandomChains) {
    const uint8_t dataTypes[] = {0x07, 0x83, 0x0C, 0x85};
    size_t overlapLines = 0;
    for (unsigned seed = 1; seed <= 12; ++seed) {
        std::mt19937 rng(seed);
        auto pick = [&](uint32_t n) { return static_cast<uint32_t>(rng() % n); };
        const uint64_t extendedStart = 10000;
        Disk image(10000000);
        image.Entry(0, 0, 0x07, 2048, 7000).Entry(0, 1 + pick(3), 0x05, 10000, 30000 + pick(100000));
        // Distinct EPBR places, the first at the extended partition's start.
        std::vector<uint64_t> lbas{extendedStart};
        for (size_t n = 20 + pick(120); lbas.size() < n;) {
            const uint64_t lba = extendedStart + 1 + pick(200000);
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
                    image.Entry(lbas[i], slot, 0x05, static_cast<uint32_t>(lbas[i + 1] - extendedStart), 100,
                                extendedStart);
                if (slot == linkSlot || roll < 3) continue;  // roll < 3: empty
                // Counts of 0 (ending 0xFFFFFFFF past the EPBR) and wrapping in 32 bits; second links.
                const uint32_t count = roll == 3 ? 0 : roll == 4 ? 0xFFFFFF00u : 1 + pick(5000);
                const uint8_t type = roll == 5 && slot > linkSlot ? 0x0F : dataTypes[pick(4)];
                image.Entry(lbas[i], slot, type, pick(3000), count, lbas[i]);
            }
            image.Signature(lbas[i], 0xAA55);
        }
        const MbrDisk disk = Model(image);
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
