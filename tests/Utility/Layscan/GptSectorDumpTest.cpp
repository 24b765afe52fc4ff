#include <gtest/gtest.h>

#include "Utility/Layscan/GptDisk.h"
#include "Utility/Layscan/GptSectorDump.h"
#include "Utility/Layscan/ReportPrimitives.h"
#include "support/CapturedReport.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"

using gpttest::PutLe;
using gpttest::SyntheticGpt;

namespace {

const std::string kHeading = " - - - - - - - Disk 7: GPT Header (Sector 1)- - - - - - - - -\n";
const std::string kEntriesHeading = "\n - - - - - - - Disk 7: GPT Partitions - - - - - - - - -\n";

// The section as far as it got, and whether it ended in a failure.
std::pair<std::string, bool> Section(MemorySectorProvider& sectors) {
    nsLayout::GptDisk disk(sectors);
    CapturedReport report;
    bool failed = false;
    try {
        DumpGptSectors(disk, 7, report.Stream());
    } catch (const std::exception&) {
        failed = true;
    }
    return {report.Narrow(), failed};
}

std::string Hex(MemorySectorProvider& sectors, uint64_t lba, uint64_t offset, uint64_t count) {
    CapturedReport report;
    DumpHex(sectors, lba, offset, count, report.Stream(), L"");
    return report.Narrow();
}

}  // namespace

TEST(GptSectorDump, WalksFourSlotsPerSectorAndSkipsEmptyOnes) {
    const struct {
        const char* what;
        uint32_t sectorSize;
        uint64_t sectorCount;
        std::vector<unsigned> slots;  // array slots that get an entry
        uint32_t entrySize;           // as the primary header states it
        std::vector<std::tuple<std::string, uint64_t, uint64_t>> dumps;  // heading, LBA, offset
        bool fails = false, zeroHeader = false;
    } cases[] = {
        {"slot 5", 512, 1000, {5}, 128, {{"# 5 at sector 3, index 1", 3, 128}}},
        {"last slot", 512, 1000, {127}, 128, {{"# 127 at sector 33, index 3", 33, 384}}},
        // Four slots a sector whatever the sector size: array slot 33 lies at
        // byte 128 of sector 3 and is shown as slot 5; slot 5 is never reached.
        {"4096-byte sectors", 4096, 1000, {0, 5, 33}, 128,
         {{"# 0 at sector 2, index 0", 2, 0}, {"# 5 at sector 3, index 1", 3, 128}}},
        // Wider slots overlap the next sector: slot 2 of sector 2 is the first
        // half of sector 3, dumped again as slot 4.
        {"entry size 256", 512, 1000, {0, 4}, 256,
         {{"# 0 at sector 2, index 0", 2, 0}, {"# 2 at sector 2, index 2", 2, 512}, {"# 4 at sector 3, index 0", 3, 0}}},
        {"entry size 0", 512, 1000, {0, 1}, 0, {}},
        {"entry size beyond the dump's reach", 512, 1000, {0, 1}, 0xFFFFFFFF, {}},
        // Slot 1 starts 64 sectors on and ends past the last sector: the
        // section ends after slot 0.
        {"slot outside the disk", 512, 100, {0}, 0x8000, {{"# 0 at sector 2, index 0", 2, 0}}, true},
        // A zero header sector (its entry size 0 too) shows only the headings.
        {"zero header sector", 512, 1000, {0}, 128, {}, false, true},
    };
    for (const auto& c : cases) {
        SyntheticGpt g(c.sectorSize, c.sectorCount);
        for (unsigned slot : c.slots) g.SetEntry(slot, Guid::BasicData(), 40 + slot, 50 + slot);
        PutLe(g.bytes, c.sectorSize + 84, c.entrySize, 4);
        g.Finish();
        if (c.zeroHeader) std::fill_n(&g.bytes[c.sectorSize], c.sectorSize, 0);
        MemorySectorProvider sectors(g.bytes, c.sectorSize);
        std::string expected = kHeading + Hex(sectors, 1, 0, c.sectorSize) + kEntriesHeading;
        for (const auto& [heading, lba, offset] : c.dumps)
            expected += "\nGPT Partition Entry " + heading + "\n" + Hex(sectors, lba, offset, c.entrySize);
        EXPECT_EQ(Section(sectors), std::make_pair(expected, c.fails)) << c.what;
    }
}
