#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Utility/Layscan/GptDisk.h"
#include "Utility/Layscan/GptSectorDump.h"
#include "Utility/Layscan/ReportPrimitives.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"
#include "support/ReportCapture.h"

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
    return CaptureReport([&](ReportStream& out) { DumpGptSectors(disk, diskNumber, out); });
}

std::string Hex(MemorySectorProvider& sectors, uint64_t lba, uint64_t offset, uint64_t count) {
    return CaptureReport([&](ReportStream& out) { DumpHex(sectors, lba, offset, count, out, L""); });
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
        {"slots 0 and 1", 512, {0, 1}, 128,
         {{"GPT Partition Entry # 0 at sector 2, index 0", 2, 0},
          {"GPT Partition Entry # 1 at sector 2, index 1", 2, 128}}},
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

TEST(GptSectorDump, EntryBytesAreTheSlotsOwn) {
    SyntheticGpt g(512, 1000);
    g.SetEntry(1, Guid::BasicData(), 0x22, 0x800);
    g.Finish();
    MemorySectorProvider sectors(g.bytes, 512);
    const std::string text = Section(sectors, 0);
    const std::string entry1 =
        "\nGPT Partition Entry # 1 at sector 2, index 1\n"
        "     0:  A2 A0 D0 EB E5 B9 33 44 87 C0 68 B6 B7 26 99 C7        \xA2\xA0\xD0\xEB\xE5\xB9" "3D\x87\xC0h\xB6\xB7&\x99\xC7\n"
        "    10:  02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11        ................\n"
        "    20:  22 00 00 00 00 00 00 00 00 08 00 00 00 00 00 00        \"...............\n";
    EXPECT_NE(text.find(entry1), std::string::npos) << text;
    EXPECT_EQ(text.find("Entry # 0 "), std::string::npos);
    EXPECT_EQ(text.find("Entry # 2 "), std::string::npos);
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
    bool threw = false;
    const std::string text = CaptureReport([&](ReportStream& out) { DumpGptSectors(disk, 7, out); }, &threw);
    EXPECT_TRUE(threw);
    EXPECT_EQ(text, kHeaderHeading + Hex(sectors, 1, 0, 512) + kEntriesHeading +
                        "\nGPT Partition Entry # 0 at sector 2, index 0\n" + Hex(sectors, 2, 0, 0x8000));
}
