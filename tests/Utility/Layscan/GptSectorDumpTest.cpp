#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Utility/Layscan/GptDisk.h"
#include "Utility/Layscan/GptSectorDump.h"
#include "Utility/Layscan/ReportPrimitives.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"
#include "support/CapturedReport.h"

using gpttest::PutLe;
using gpttest::SyntheticGpt;

namespace {

const std::string kHeaderHeading = " - - - - - - - Disk 7: GPT Header (Sector 1)- - - - - - - - -\n";
const std::string kEntriesHeading = "\n - - - - - - - Disk 7: GPT Partitions - - - - - - - - -\n";

struct Dump {
    std::string heading;  // without its leading empty line and its line end
    uint64_t lba;
    uint64_t offset;
};

std::string Section(MemorySectorProvider& sectors, uint16_t diskNumber) {
    nsLayout::GptDisk disk(sectors);
    CapturedReport report;
    DumpGptSectors(disk, diskNumber, report.Stream());
    return report.Narrow();
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
        std::vector<unsigned> slots;  // array slots that get an entry
        uint32_t entrySize;           // as the primary header states it
        std::vector<Dump> dumps;
    } cases[] = {
        {"slot 5", 512, {5}, 128, {{"GPT Partition Entry # 5 at sector 3, index 1", 3, 128}}},
        {"last slot", 512, {127}, 128, {{"GPT Partition Entry # 127 at sector 33, index 3", 33, 384}}},
        // Four slots a sector whatever the sector size: array slot 33 lies at
        // byte 128 of sector 3 and is shown as slot 5; slot 5 is never reached.
        {"4096-byte sectors", 4096, {0, 5, 33}, 128,
         {{"GPT Partition Entry # 0 at sector 2, index 0", 2, 0},
          {"GPT Partition Entry # 5 at sector 3, index 1", 3, 128}}},
        // Wider slots overlap the next sector: slot 2 of sector 2 is the first
        // half of sector 3, dumped again as slot 4.
        {"entry size 256", 512, {0, 4}, 256,
         {{"GPT Partition Entry # 0 at sector 2, index 0", 2, 0},
          {"GPT Partition Entry # 2 at sector 2, index 2", 2, 512},
          {"GPT Partition Entry # 4 at sector 3, index 0", 3, 0}}},
        {"entry size 0", 512, {0, 1}, 0, {}},
        {"entry size beyond the dump's reach", 512, {0, 1}, 0xFFFFFFFF, {}},
    };
    for (const auto& c : cases) {
        SyntheticGpt g(c.sectorSize, 1000);
        for (unsigned slot : c.slots) g.SetEntry(slot, Guid::BasicData(), 40 + slot, 50 + slot);
        PutLe(g.bytes, c.sectorSize + 84, c.entrySize, 4);
        g.Finish();
        MemorySectorProvider sectors(g.bytes, c.sectorSize);

        std::string expected = kHeaderHeading + Hex(sectors, 1, 0, c.sectorSize) + kEntriesHeading;
        for (const Dump& d : c.dumps) expected += "\n" + d.heading + "\n" + Hex(sectors, d.lba, d.offset, c.entrySize);
        EXPECT_EQ(Section(sectors, 7), expected) << c.what;
    }
}

TEST(GptSectorDump, ZeroHeaderSectorShowsOnlyTheHeadings) {
    SyntheticGpt g(512, 1000);
    g.SetEntry(0, Guid::BasicData(), 40, 100);
    g.Finish();
    std::fill_n(g.bytes.begin() + 512, 512, 0);
    MemorySectorProvider sectors(g.bytes, 512);
    // The zeroed header also gives an entry size of 0: no slot is dumped.
    EXPECT_EQ(Section(sectors, 7), kHeaderHeading + kEntriesHeading);
}

TEST(GptSectorDump, SlotOutsideTheDiskEndsTheSectionAfterWhatWasWritten) {
    SyntheticGpt g(512, 100);
    g.SetEntry(0, Guid::BasicData(), 40, 60);
    PutLe(g.bytes, 512 + 84, 0x8000, 4);  // slot 1 starts 64 sectors on, its end is past sector 99
    g.Finish();
    MemorySectorProvider sectors(g.bytes, 512);
    nsLayout::GptDisk disk(sectors);
    CapturedReport report;
    EXPECT_ANY_THROW(DumpGptSectors(disk, 7, report.Stream()));
    EXPECT_EQ(report.Narrow(), kHeaderHeading + Hex(sectors, 1, 0, 512) + kEntriesHeading +
                        "\nGPT Partition Entry # 0 at sector 2, index 0\n" + Hex(sectors, 2, 0, 0x8000));
}
