#include <gtest/gtest.h>

#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Report/GptSectorDump.h"
#include "Utility/Layscan/Report/ReportPrimitives.h"
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
    const uint64_t size = sectors.GetBytesPerSector();
    std::vector<uint8_t> bytes((offset + count + size - 1) / size * size);
    sectors.Read(lba, bytes.size() / size, bytes.data());
    CapturedReport report;
    DumpHex(bytes.data() + offset, count, report.Stream(), L"");
    return report.Narrow();
}

}  // namespace

TEST(GptSectorDump, WalksFourSlotsPerSectorAndSkipsEmptyOnes) {
    // (what, sector size and count, slots that get an entry, the entry size the primary header states,
    //  the dumps expected as (heading, LBA, offset), whether the section fails, whether the header sector is zeroed)
    using Dumps = std::vector<std::tuple<std::string, uint64_t, uint64_t>>;
    const std::tuple<const char*, uint32_t, uint64_t, std::vector<unsigned>, uint32_t, Dumps, bool, bool> cases[] = {
        {"slot 5", 512, 1000, {5}, 128, {{"# 5 at sector 3, index 1", 3, 128}}, false, false},
        {"last slot", 512, 1000, {127}, 128, {{"# 127 at sector 33, index 3", 33, 384}}, false, false},
        // Four slots a sector whatever the sector size: array slot 33 lies at
        // byte 128 of sector 3 and is shown as slot 5; slot 5 is never reached.
        {"4096-byte sectors", 4096, 1000, {0, 5, 33}, 128,
         {{"# 0 at sector 2, index 0", 2, 0}, {"# 5 at sector 3, index 1", 3, 128}}, false, false},
        // Wider slots overlap the next sector: slot 2 of sector 2 is the first
        // half of sector 3, dumped again as slot 4.
        {"entry size 256", 512, 1000, {0, 4}, 256,
         {{"# 0 at sector 2, index 0", 2, 0}, {"# 2 at sector 2, index 2", 2, 512}, {"# 4 at sector 3, index 0", 3, 0}}, false, false},
        {"entry size 0", 512, 1000, {0, 1}, 0, {}, false, false},
        {"entry size beyond the dump's reach", 512, 1000, {0, 1}, 0xFFFFFFFF, {}, false, false},
        // Slot 1 starts 64 sectors on and ends past the last sector: the
        // section ends after slot 0.
        {"slot outside the disk", 512, 100, {0}, 0x8000, {{"# 0 at sector 2, index 0", 2, 0}}, true, false},
        // A zero header sector (its entry size 0 too) shows only the headings.
        {"zero header sector", 512, 1000, {0}, 128, {}, false, true},
    };
    for (const auto& [what, sectorSize, sectorCount, slots, entrySize, dumps, fails, zeroHeader] : cases) {
        SyntheticGpt g(sectorSize, sectorCount);
        for (unsigned slot : slots) g.SetEntry(slot, Guid::BasicData(), 40 + slot, 50 + slot);
        PutLe(g.bytes, sectorSize + 84, entrySize, 4);
        g.Finish();
        if (zeroHeader) std::fill_n(&g.bytes[sectorSize], sectorSize, 0);
        MemorySectorProvider sectors(g.bytes, sectorSize);
        std::string expected = kHeading + Hex(sectors, 1, 0, sectorSize) + kEntriesHeading;
        for (const auto& [heading, lba, offset] : dumps)
            expected += "\nGPT Partition Entry " + heading + "\n" + Hex(sectors, lba, offset, entrySize);
        EXPECT_EQ(Section(sectors), std::make_pair(expected, fails)) << what;
    }
}
