#include <gtest/gtest.h>

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
