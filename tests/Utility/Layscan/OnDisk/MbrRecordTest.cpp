#include <gtest/gtest.h>

#include <functional>

#include "Utility/Layscan/OnDisk/MbrRecord.h"
#include "support/Failure.h"

// The fields themselves are read by every MBR report; here the indexes past the four entries, and
// a record whose buffer ends inside it: its fields fail in the buffer's check when they are read.
TEST(OnDiskMbrRecord, IndexAndFieldFailures) {
    auto buf = MemoryBuffer::Create(604);
    OnDiskMbrRecord record(buf, 0), late(buf, 100);  // late's entry 3 starts at bytes 602-605 of 604
    uint8_t code[440];
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { record.GetStructOffset(5, 4); }, "PRECONDITION OnDiskMbrRecord::GetPartitionTableEntriesOffset: index < 4"},
        {[&] { record.GetPartitionTableEntries(4); }, "PRECONDITION OnDiskMbrRecord::GetPartitionTableEntries: index < 4"},
        {[&] { record.GetBootCode(code, 1, 440); }, "PRECONDITION OnDiskMbrRecord::GetBootCode: startIndex + count <= 440"},
        {[&] { late.GetPartitionTableEntries(3).GetStartSector(); },
         "PRECONDITION MemoryBuffer::Read: offsetInBuffer + bytesToRead <= m_uSize"},
        {[&] { late.GetPartitionTableEntries(0).GetPartitionType(); }, ""},  // byte 550
    };
    for (const auto& [op, failure] : cases) EXPECT_EQ(FailureOf(op), failure);
    EXPECT_EQ(late.GetPartitionTableEntries(3).GetEndChs().GetOD_ZeroOffset(), 100u + 446 + 48 + 5);
}
