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

// Each line of tests/golden/boot-record-slots.txt is a record and what it is
// found to be: an EPBR by its four slots' types and with two or all four slots
// scanned, the slots it finds its logical and link entries in; an MBR by its
// boot indicators and signature, whether that makes it valid.
TEST(BootRecord, SlotScanAndBootIndicators) {
    std::string text;
    for (const std::string& line : golden::Lines(golden::ReadFile(LAYSCAN_SOURCE_DIR "/tests/golden/boot-record-slots.txt"))) {
        const std::string record = line.substr(0, line.find(':'));
        unsigned b[4], signature;
        char how[4];
        if (std::sscanf(record.c_str(), "EPBR %x %x %x %x %3s", &b[0], &b[1], &b[2], &b[3], how) == 5) {
            Disk disk(100000);
            for (int i = 0; i < 4; ++i)
                if (b[i]) disk.Entry(5000, i, static_cast<uint8_t>(b[i]), 63 * (i + 1), 10);
            Epbr epbr(disk.Signature(5000, 0xAA55).Provider(), Translation(100000), 5000, 2048, how[0] == 'a');
            EXPECT_TRUE(epbr.IsValid(true)) << record;
            text += record + ": logical " + std::to_string(epbr.GetLogicalIndex()) + ", link " +
                    std::to_string(epbr.GetEpbrIndex()) + ", " + std::to_string(epbr.GetMaxEntries()) + " slots, " +
                    (epbr.IsValid(false) ? "valid\n" : "invalid\n");
        } else if (std::sscanf(record.c_str(), "MBR %x %x %x %x %x", &b[0], &b[1], &b[2], &b[3], &signature) == 5) {
            Disk disk(100);
            for (int i = 0; i < 4; ++i) disk.Boot(0, i, static_cast<uint8_t>(b[i]));
            Mbr mbr(disk.Signature(0, static_cast<uint16_t>(signature)).Provider(), Translation(100));
            EXPECT_EQ(mbr.IsMbrValid(false), mbr.IsValid(false)) << record;
            text += record + ": " + (mbr.IsValid(false) ? "valid" : "invalid") + ", by the signature " +
                    (mbr.IsValid(true) ? "valid" : "invalid") + (mbr.HasValidSignature() ? ", signed\n" : ", unsigned\n");
        }
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
