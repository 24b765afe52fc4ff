#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "Utility/Layscan/Model/MbrChecks.h"
#include "support/Failure.h"
#include "support/GoldenFile.h"
#include "support/MbrImage.h"

using nsLayout::CheckMbrEntry;
using nsLayout::CheckLogicalEntries;
using nsLayout::LogicalOrderCheck;

using mbrimage::Build;
using mbrimage::Disk;
using nsLayout::MbrDisk;

namespace {

Geometry Translation(SectorProvider& p) { return Geometry::Translation(p.GetBytesPerSector(), p.GetSectorCount()); }

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

// Each case of tests/golden/mbr-disks.txt is "== WHAT | LAYOUT" and what Describe
// writes for it; a "one EPBR:" case is one EPBR (its LBA first) checked against an
// extended partition 10000-19999 whose chain is one EPBR without logical entries.
TEST(MbrChecks, WarningsAndModelsOfBuiltDisks) {
    std::string text;
    for (const std::string& heading : golden::Lines(golden::ReadFile(LAYSCAN_SOURCE_DIR "/tests/golden/mbr-disks.txt"))) {
        if (!heading.starts_with("== ")) continue;
        const std::string layout = heading.substr(heading.find(" | ") + 3);
        if (!heading.starts_with("== one EPBR: ")) {
            Disk image = Build(layout);
            text += heading + "\n" + Describe(image) + "\n";
            continue;
        }
        Disk image = Build("0.0:07:2048+7000 0.1:05:10000+10000 10000!AA55 " + layout);
        const std::string all = Describe(image, std::stoull(layout));
        text += heading + "\n" + all.substr(all.find("EPBR " + std::to_string(std::stoull(layout)))) + "\n";
    }
    golden::ExpectMatches("mbr-disks.txt", text);
    Disk image = Build("#1000 0!AA55");
    EXPECT_EQ(FailureOf([&] { CheckMbrEntry(MbrDisk(image.Provider(), Translation(image.Provider())), 4); }),
              "PRECONDITION `anonymous-namespace'::CheckMbrEntry: index < 4");
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
