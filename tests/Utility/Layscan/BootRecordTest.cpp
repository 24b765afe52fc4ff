#include <gtest/gtest.h>

#include <functional>

#include "Utility/Layscan/Epbr.h"
#include "Utility/Layscan/Mbr.h"
#include "support/Failure.h"
#include "support/MbrImage.h"

using mbrimage::Disk;

namespace {

std::shared_ptr<const Geometry> Translation(uint64_t sectors, uint32_t bytesPerSector = 512) {
    return std::make_shared<const Geometry>(Geometry::Translation(bytesPerSector, sectors));
}

}  // namespace

TEST(Epbr, SlotScanFindsTheLogicalAndLinkEntries) {
    // Slot types; scanning all four slots or two; expected logical slot, link slot, slot count, validity.
    const struct {
        uint8_t types[4];
        bool all;
        uint32_t logical, link, maxEntries;
        bool valid;
    } cases[] = {
        {{0x07, 0x05, 0, 0}, false, 0, 1, 2, true}, {{0x07, 0x05, 0, 0}, true, 0, 1, 4, true},
        {{0x05, 0x07, 0, 0}, false, 1, 0, 2, true}, {{0x07, 0, 0, 0}, false, 0, 1, 2, true},  // last EPBR
        {{0x07, 0x05, 0x07, 0}, false, 4, 1, 2, false}, {{0x07, 0x05, 0x07, 0}, true, 0, 1, 4, true},
        {{0, 0, 0, 0}, false, 0, 1, 2, true}, {{0x05, 0, 0, 0}, false, 1, 0, 2, true},  // logical beside the link
        {{0x0F, 0, 0, 0}, true, 1, 0, 4, true}, {{0, 0x05, 0, 0}, false, 0, 1, 2, true},
        {{0, 0x07, 0, 0}, false, 1, 0, 2, true}, {{0, 0, 0x83, 0}, false, 2, 1, 2, true},
        {{0, 0, 0, 0x0F}, true, 0, 3, 4, true}, {{0x07, 0x83, 0x05, 0x0F}, true, 0, 2, 4, true},
        {{0x05, 0x0F, 0, 0}, false, 4, 4, 2, false},  // stops at the second link: no defaults
        {{0x05, 0x0F, 0, 0}, true, 1, 0, 4, false},   // the defaulted logical slot holds a link
        {{0x85, 0x07, 0, 0}, false, 4, 4, 2, false},  // 0x85 is no link type for an EPBR
    };
    for (const auto& c : cases) {
        Disk disk(100000);
        for (int i = 0; i < 4; ++i)
            if (c.types[i]) disk.Entry(5000, i, c.types[i], 63 * (i + 1), 10);
        Epbr epbr(disk.Signature(5000, 0xAA55).Provider(), Translation(100000), 5000, 2048, c.all);
        const auto what = ::testing::PrintToString(std::vector<int>(c.types, c.types + 4)) + (c.all ? " all" : " two");
        EXPECT_EQ(epbr.GetLogicalIndex(), c.logical) << what;
        EXPECT_EQ(epbr.GetEpbrIndex(), c.link) << what;
        EXPECT_EQ(epbr.GetMaxEntries(), c.maxEntries) << what;
        EXPECT_EQ(epbr.IsValid(false), c.valid) << what;
        EXPECT_TRUE(epbr.IsValid(true)) << what;
    }
}

TEST(Epbr, LogicalEntriesCountFromTheEpbrAndLinksFromTheExtendedPartition) {
    Disk disk(1000000);
    disk.Entry(10000, 0, 0x07, 63, 1000, 10000).Entry(10000, 1, 0x05, 20000, 5000, 2048);
    Epbr epbr(disk.Provider(), Translation(1000000), 10000, 2048, true);
    // An empty slot (2) ends 0xFFFFFFFF past its base: the sum is 32-bit.
    const uint64_t expected[3][3] = {{10000, 10063, 11062}, {2048, 22048, 27047}, {10000, 10000, 10000 + 0xFFFFFFFFull}};
    for (uint32_t i = 0; i < 3; ++i)
        EXPECT_EQ((std::vector<uint64_t>{epbr.GetBaseLba(i), epbr.GetStartLba(i), epbr.GetEndLba(i)}),
                  std::vector<uint64_t>(expected[i], expected[i] + 3)) << i;
    EXPECT_EQ(epbr.GetNextEpbrLba(), 22048u);
    EXPECT_EQ(&epbr.GetEpbrEntry(), &epbr.GetEntry(1));
    EXPECT_TRUE(epbr.IsEntryValid(0) && epbr.IsEntryValid(1));
    Disk last(1000000);
    last.Entry(10000, 0, 0x07, 63, 1000, 10000);
    EXPECT_EQ(Epbr(last.Provider(), Translation(1000000), 10000, 2048, false).GetNextEpbrLba(), 0u);
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
    EXPECT_EQ(twoSlots.GetEpbrIndex(), 4u);
    Epbr allSlots(disk.Provider(), Translation(100000), 5000, 2048, true);
    EXPECT_EQ(allSlots.GetEpbrIndex(), 1u);
    EXPECT_EQ(allSlots.GetEntry(3).GetPartitionType(), 0);
}

TEST(BootRecord, BootIndicatorsAndSignature) {
    const struct {
        uint8_t boot[4];
        uint16_t signature;
        bool valid, signatureOnly;
    } cases[] = {
        {{0x80, 0x80, 0, 0}, 0xAA55, false, true}, {{0x81, 0, 0, 0}, 0xAA55, false, true},
        {{0x80, 0, 0, 0}, 0xAA55, true, true},     {{0, 0, 0, 0x80}, 0xAA55, true, true},
        {{0, 0, 0, 0}, 0xAA55, true, true},        {{0, 0x80, 0, 0x80}, 0xAA55, false, true},
        {{0x80, 0, 0, 0}, 0x55AA, false, false},   {{0, 0, 0, 0}, 0, false, false},
    };
    for (const auto& c : cases) {
        Disk disk(100);
        for (int i = 0; i < 4; ++i) disk.Boot(0, i, c.boot[i]);
        Mbr mbr(disk.Signature(0, c.signature).Provider(), Translation(100));
        const auto what = ::testing::PrintToString(std::vector<int>(c.boot, c.boot + 4)) + " " + std::to_string(c.signature);
        EXPECT_EQ(mbr.IsValid(false), c.valid) << what;
        EXPECT_EQ(mbr.IsMbrValid(false), c.valid) << what;
        EXPECT_EQ(mbr.IsValid(true), c.signatureOnly) << what;
        EXPECT_EQ(mbr.HasValidSignature(), c.signature == 0xAA55) << what;
    }
    // An EPBR that counts two slots does not look at the boot indicators of the others.
    Disk disk(100000);
    disk.Entry(5000, 0, 0x07, 63, 10).Boot(5000, 2, 0x81).Boot(5000, 3, 0x80).Boot(5000, 0, 0x80);
    EXPECT_TRUE(Epbr(disk.Provider(), Translation(100000), 5000, 2048, false).IsValid(false));
    EXPECT_FALSE(Epbr(disk.Provider(), Translation(100000), 5000, 2048, true).IsValid(false));
}

TEST(BootRecord, OnlyTheFirst512BytesOfALargerSectorAreKept) {
    Disk disk(1000, 4096);
    disk.Entry(0, 0, 0x07, 256, 256).Provider().Sector(0)[512] = 0xEE;
    Mbr mbr(disk.Provider(), Translation(1000, 4096));
    EXPECT_EQ(mbr.GetBuffer()->GetSize(), 512u);
    EXPECT_TRUE(mbr.HasValidSignature());
    EXPECT_EQ(mbr.GetStartLba(0), 256u);
    EXPECT_EQ(mbr.GetMyLba(), 0u);
}

// How CHS values are judged: the CHS cases of the MBR check golden (mbr-disks.txt).

TEST(BootRecord, EmptyEntriesAreValidAndEndsWrapIn32Bits) {
    Disk disk(1000000);
    disk.Entry(0, 0, 0x07, 0xFFFFFF00u, 0x200).BeginChs(0, 2, {7, 300, 0});
    Mbr mbr(disk.Provider(), Translation(1000000));
    EXPECT_EQ(mbr.GetEndLba(0), 0xFFu);
    EXPECT_EQ(mbr.GetEndLba(3), 0xFFFFFFFFu);
    EXPECT_EQ(mbr.GetBaseLba(0), 0u);
    EXPECT_TRUE(mbr.IsEntryValid(2));  // type 0, whatever its CHS
    EXPECT_TRUE(mbr.BootRecordBase::IsEntryValid(0));
}
