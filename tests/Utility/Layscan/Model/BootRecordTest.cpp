#include <gtest/gtest.h>

#include <cstdio>
#include <functional>

#include "Utility/Layscan/Model/Epbr.h"
#include "Utility/Layscan/Model/Mbr.h"
#include "support/Failure.h"
#include "support/GoldenFile.h"
#include "support/MbrImage.h"


using mbrimage::Disk;

namespace {

std::shared_ptr<const Geometry> Translation(uint64_t sectors, uint32_t bytesPerSector = 512) {
    return std::make_shared<const Geometry>(Geometry::Translation(bytesPerSector, sectors));
}

}  // namespace

// The slots an EPBR finds its logical and link entries in, with two or all
// four slots scanned, and how boot indicators and signature make a record valid.
TEST(BootRecord, SlotScanAndBootIndicators) {
    const char* scans[] = {
        "07 05 00 00 two", "07 05 00 00 all", "05 07 00 00 two", "07 00 00 00 two", "07 05 07 00 two",
        "07 05 07 00 all", "00 00 00 00 two", "05 00 00 00 two", "0F 00 00 00 all", "00 05 00 00 two",
        "00 07 00 00 two", "00 00 83 00 two", "00 00 00 0F all", "07 83 05 0F all", "05 0F 00 00 two",
        "05 0F 00 00 all", "85 07 00 00 two"};
    std::string text;
    for (const char* scan : scans) {
        unsigned types[4];
        char how[4];
        std::sscanf(scan, "%x %x %x %x %3s", &types[0], &types[1], &types[2], &types[3], how);
        Disk disk(100000);
        for (int i = 0; i < 4; ++i)
            if (types[i]) disk.Entry(5000, i, static_cast<uint8_t>(types[i]), 63 * (i + 1), 10);
        Epbr epbr(disk.Signature(5000, 0xAA55).Provider(), Translation(100000), 5000, 2048, how[0] == 'a');
        EXPECT_TRUE(epbr.IsValid(true)) << scan;
        text += std::string("EPBR ") + scan + ": logical " + std::to_string(epbr.GetLogicalIndex()) + ", link " +
                std::to_string(epbr.GetEpbrIndex()) + ", " + std::to_string(epbr.GetMaxEntries()) + " slots, " +
                (epbr.IsValid(false) ? "valid\n" : "invalid\n");
    }
    const char* boots[] = {"80 80 00 00 AA55", "81 00 00 00 AA55", "80 00 00 00 AA55", "00 00 00 80 AA55",
                           "00 00 00 00 AA55", "00 80 00 80 AA55", "80 00 00 00 55AA", "00 00 00 00 0"};
    for (const char* boot : boots) {
        unsigned b[4], signature;
        std::sscanf(boot, "%x %x %x %x %x", &b[0], &b[1], &b[2], &b[3], &signature);
        Disk disk(100);
        for (int i = 0; i < 4; ++i) disk.Boot(0, i, static_cast<uint8_t>(b[i]));
        Mbr mbr(disk.Signature(0, static_cast<uint16_t>(signature)).Provider(), Translation(100));
        EXPECT_EQ(mbr.IsMbrValid(false), mbr.IsValid(false)) << boot;
        text += std::string("MBR ") + boot + ": " + (mbr.IsValid(false) ? "valid" : "invalid") + ", by the signature " +
                (mbr.IsValid(true) ? "valid" : "invalid") + (mbr.HasValidSignature() ? ", signed\n" : ", unsigned\n");
    }
    golden::ExpectMatches("boot-record-slots.txt", text);
    // An EPBR that counts two slots does not look at the boot indicators of the others.
    Disk disk(100000);
    disk.Entry(5000, 0, 0x07, 63, 10).Boot(5000, 2, 0x81).Boot(5000, 3, 0x80).Boot(5000, 0, 0x80);
    EXPECT_TRUE(Epbr(disk.Provider(), Translation(100000), 5000, 2048, false).IsValid(false));
    EXPECT_FALSE(Epbr(disk.Provider(), Translation(100000), 5000, 2048, true).IsValid(false));
}

TEST(BootRecord, Failures) {
    Disk disk(100000);
    disk.Entry(5000, 0, 0x07, 63, 10).Entry(5000, 1, 0x05, 100, 10).Entry(5000, 2, 0x05, 200, 10);
    Epbr twoSlots(disk.Provider(), Translation(100000), 5000, 2048, false);  // second link: no link slot
    Disk tiny(10, 256);
    const struct {
        std::function<void()> op;
        const char* expected;
    } cases[] = {
        {[&] { twoSlots.GetEpbrEntry(); }, "CHECK Epbr::GetEpbrEntry: mEpbrIndex < 4"},
        {[&] { twoSlots.GetNextEpbrLba(); }, "CHECK Epbr::GetEpbrEntry: mEpbrIndex < 4"},
        {[&] { twoSlots.GetEntry(2); }, "PRECONDITION BootRecordBase::GetEntry: index < GetMaxEntries()"},
        {[&] { twoSlots.GetStartLba(3); }, "PRECONDITION BootRecordBase::GetEntry: index < GetMaxEntries()"},
        {[&] { Epbr(disk.Provider(), Translation(100000), 5000, 0, true); }, "PRECONDITION Epbr::Epbr: extendedStart > 0"},
        {[&] { Epbr(disk.Provider(), Translation(100000), 5000, 5001, true); },
         "PRECONDITION Epbr::Epbr: GetMyLba() >= extendedStart"},
        {[&] { Mbr(disk.Provider(), Translation(100000)).GetEntry(4); },
         "PRECONDITION BootRecordBase::GetEntry: index < GetMaxEntries()"},
        // A sector smaller than a boot record fails in the buffer's bounds check.
        {[&] { Mbr(tiny.Provider(), Translation(10, 256)); },
         "PRECONDITION MemoryBuffer::Read: offsetInBuffer + bytesToRead <= m_uSize"},
    };
    for (const auto& c : cases) EXPECT_EQ(FailureOf(c.op), c.expected);
}

TEST(BootRecord, OnlyTheFirst512BytesOfALargerSectorAreKept) {
    Disk disk(1000, 4096);
    disk.Entry(0, 0, 0x07, 256, 256).Provider().Sector(0)[512] = 0xEE;
    Mbr mbr(disk.Provider(), Translation(1000, 4096));
    EXPECT_EQ(mbr.GetBuffer()->GetSize(), 512u);
    EXPECT_TRUE(mbr.HasValidSignature());
    EXPECT_EQ(mbr.GetStartLba(0), 256u);
    EXPECT_EQ(mbr.GetMyLba(), 0u);
    EXPECT_TRUE(mbr.BootRecordBase::IsEntryValid(0));
    // An unused entry is valid, whatever else its bytes hold.
    EXPECT_TRUE(mbr.BootRecordBase::IsEntryValid(1));
}
