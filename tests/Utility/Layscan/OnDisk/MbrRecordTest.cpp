#include <gtest/gtest.h>

#include <functional>

#include "Utility/Layscan/OnDisk/MbrRecord.h"
#include "support/Failure.h"

TEST(OnDiskMbrRecord, EntriesAndTheirChsFieldsLieWhereTheSectorHasThem) {
    auto buf = MemoryBuffer::Create(1024);
    OnDiskMbrRecord record(buf, 512);  // a record in the second sector of a buffer
    // Entry 2: boot 0x80, begin CHS head 1 / sector 0x3F with cylinder bits 0xC0 / cylinder low 0x02,
    // type 0x07, end CHS, start 0x11223344, count 0x01020304.
    const uint8_t entry[16] = {0x80, 0x01, 0xFF, 0x02, 0x07, 0xFE, 0x41, 0x10,
                               0x44, 0x33, 0x22, 0x11, 0x04, 0x03, 0x02, 0x01};
    buf->Write(entry, 512 + 446 + 32, 16);
    const uint8_t sig[2] = {0x55, 0xAA};
    buf->Write(sig, 512 + 510, 2);
    const auto& e = record.GetPartitionTableEntries(2);
    const auto &b = e.GetBeginChs(), &n = e.GetEndChs();
    EXPECT_EQ((std::vector<uint64_t>{record.GetSize(), record.GetStructOffset(5, 3), record.GetSignature(), e.GetSize(),
                                     e.GetOD_ZeroOffset(), e.GetBootIndicator(), e.GetPartitionType(),
                                     e.GetStartSector(), e.GetSectorCount()}),
              (std::vector<uint64_t>{512, 512 + 494, 0xAA55, 16, 512 + 478, 0x80, 0x07, 0x11223344, 0x01020304}));
    EXPECT_EQ((std::vector<uint64_t>{b.GetHead(), b.GetSector(), b.GetCylinder(), n.GetOD_ZeroOffset(), n.GetHead(),
                                     n.GetSector(), n.GetCylinder()}),
              (std::vector<uint64_t>{1, 63, 0x302, 512 + 478 + 5, 0xFE, 1, 0x110}));
    EXPECT_EQ(record.GetPartitionTableEntries(1).GetPartitionType(), 0);
}

TEST(OnDiskMbrRecord, IndexAndFieldFailures) {
    auto buf = MemoryBuffer::Create(512);
    OnDiskMbrRecord record(buf, 0);
    auto past = MemoryBuffer::Create(604);
    OnDiskMbrRecord late(past, 100);  // entry 3's start is bytes 602-605 of 604
    uint8_t code[440];
    const struct {
        std::function<void()> op;
        const char* expected;
    } cases[] = {
        {[&] { record.GetStructOffset(5, 4); }, "PRECONDITION OnDiskMbrRecord::GetPartitionTableEntriesOffset: index < 4"},
        {[&] { record.GetPartitionTableEntries(4); }, "PRECONDITION OnDiskMbrRecord::GetPartitionTableEntries: index < 4"},
        {[&] { record.GetBootCode(code, 1, 440); }, "PRECONDITION OnDiskMbrRecord::GetBootCode: startIndex + count <= 440"},
        // Fields past the buffer's end fail in the buffer's own check.
        {[&] { late.GetPartitionTableEntries(3).GetStartSector(); },
         "PRECONDITION MemoryBuffer::Read: offsetInBuffer + bytesToRead <= m_uSize"},
        {[&] { late.GetPartitionTableEntries(0).GetPartitionType(); }, ""},  // byte 550
    };
    for (const auto& c : cases) EXPECT_EQ(FailureOf(c.op), c.expected);
}
