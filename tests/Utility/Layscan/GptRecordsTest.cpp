#include <gtest/gtest.h>

#include <functional>

#include "Utility/Layscan/GptPartitionTable.h"
#include "support/Failure.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"

using gpttest::PutLe;
using gpttest::SyntheticGpt;

TEST(GptRecords, FailuresNameTheGetter) {
    auto buf = MemoryBuffer::Create(16383);  // one byte short of a whole array
    OnDiskGptHeader h(buf, 0);
    OnDiskGptPartitionEntries entries(buf, 0);
    const OnDiskGptPartitionEntry& e = entries.GetEntries(127);
    uint8_t b[40];
    char16_t u[40];
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { h.GetReserved1(b, 4, 0); }, "PRECONDITION OnDiskGptHeader::GetReserved1: startIndex < 4"},
        {[&] { h.GetReserved1(b, 1, 4); }, "PRECONDITION OnDiskGptHeader::GetReserved1: startIndex + count <= 4"},
        {[&] { h.GetDiskGUID(b, 16, 1); }, "PRECONDITION OnDiskGptHeader::GetDiskGUID: startIndex < 16"},
        {[&] { h.GetDiskGUID(b, 15, 2); }, "PRECONDITION OnDiskGptHeader::GetDiskGUID: startIndex + count <= 16"},
        {[&] { h.GetStructOffset(2, 0); }, "CHECK OnDiskGptHeader::GetStructOffset: GetStructOffset invalid count"},
        {[&] { e.GetPartitionTypeGUID(b, 16, 0); },
         "PRECONDITION OnDiskGptPartitionEntry::GetPartitionTypeGUID: startIndex < 16"},
        {[&] { e.GetUniquePartitionGUID(b, 8, 9); },
         "PRECONDITION OnDiskGptPartitionEntry::GetUniquePartitionGUID: startIndex + count <= 16"},
        {[&] { e.GetPartitionName(u, 30, 7); },
         "PRECONDITION OnDiskGptPartitionEntry::GetPartitionName: startIndex + count <= 36"},
        {[&] { e.GetPartitionName(u, 35, 1); }, "PRECONDITION MemoryBuffer::Read: offsetInBuffer + bytesToRead <= m_uSize"},
        {[&] { entries.GetEntriesOffset(128); }, "PRECONDITION OnDiskGptPartitionEntries::GetEntriesOffset: index < 128"},
        {[&] { entries.GetStructOffset(2, 128); }, "PRECONDITION OnDiskGptPartitionEntries::GetEntriesOffset: index < 128"},
        {[&] { entries.GetEntries(128); }, "PRECONDITION OnDiskGptPartitionEntries::GetEntries: index < 128"},
        {[&] { entries.GetStructOffset(3, 0); },
         "CHECK OnDiskGptPartitionEntries::GetStructOffset: GetStructOffset invalid count"},
        {[&] { OnDiskGptPartitionEntry().GetFirstLba(); }, "CHECK OnDiskEx::GetOD_ZeroOffset: m_bh"},
    };
    for (const auto& [op, failure] : cases) EXPECT_EQ(FailureOf(op), failure);
}

TEST(GptRecords, RevisionTextAndName) {
    auto buf = MemoryBuffer::Create(512);
    OnDiskGptHeader h(buf, 0);
    OnDiskGptPartitionEntry e(buf, 128);
    buf->Write("\0\0\1\1", 8, 4);
    EXPECT_EQ(h.GetRevisionText(), L"Unknown");
    EXPECT_EQ(e.GetPartitionNameText(), L"");
    buf->Write("E\0\x3A\x04\0\0X\0", 128 + 56, 8);
    EXPECT_EQ(e.GetPartitionNameText(), std::wstring(L"E") + wchar_t(0x043A));
    for (uint64_t i = 0; i < 36; ++i) buf->Write("Z", 128 + 56 + 2 * i, 2);  // no terminator
    EXPECT_EQ(e.GetPartitionNameText(), std::wstring(36, L'Z'));
}

TEST(GptPartitionTable, ReadsPastTheLastSectorAreRefused) {
    // (header LBA, array LBA): refused before reading, or after the header; the last fits exactly.
    const std::tuple<uint64_t, uint64_t, bool> arrays[] = {
        {1000, 2, false}, {1, 1000 - 31, false}, {1, UINT64_MAX - 10, false}, {1, 1000 - 32, true}};
    for (const auto& [headerLba, arrayLba, fits] : arrays) {
        SyntheticGpt g(512, 1000);
        PutLe(g.bytes, 512 + 72, arrayLba, 8);
        MemorySectorProvider small(g.bytes, 512);
        EXPECT_EQ(FailureOf([&] { GptPartitionTable t(small, headerLba); }),
                  fits ? "" : "PRECONDITION GptPartitionTable::ReadBytes: lba + sectorsToRead <= sectorCount");
        EXPECT_EQ(small.ReadCount(), headerLba == 1 ? 1u + fits : 0u) << arrayLba;
    }
}
