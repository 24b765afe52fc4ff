#include <gtest/gtest.h>

#include <cctype>
#include <functional>
#include <regex>

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
    const struct {
        std::function<void()> op;
        const char* failure;
    } cases[] = {
        {[&] { h.GetReserved1(b, 4, 0); }, "PRECONDITION OnDiskGptHeader::GetReserved1: startIndex < 4"},
        {[&] { h.GetReserved1(b, 1, 4); }, "PRECONDITION OnDiskGptHeader::GetReserved1: startIndex + count <= 4"},
        {[&] { h.GetDiskGUID(b, 16, 1); }, "PRECONDITION OnDiskGptHeader::GetDiskGUID: startIndex < 16"},
        {[&] { h.GetDiskGUID(b, 15, 2); }, "PRECONDITION OnDiskGptHeader::GetDiskGUID: startIndex + count <= 16"},
        {[&] { h.GetStructOffset(2, 0); },
         "CHECK OnDiskGptHeader::GetStructOffset: GetStructOffset invalid count"},
        {[&] { e.GetPartitionTypeGUID(b, 16, 0); },
         "PRECONDITION OnDiskGptPartitionEntry::GetPartitionTypeGUID: startIndex < 16"},
        {[&] { e.GetUniquePartitionGUID(b, 8, 9); },
         "PRECONDITION OnDiskGptPartitionEntry::GetUniquePartitionGUID: startIndex + count <= 16"},
        {[&] { e.GetPartitionName(u, 30, 7); },
         "PRECONDITION OnDiskGptPartitionEntry::GetPartitionName: startIndex + count <= 36"},
        {[&] { e.GetPartitionName(u, 35, 1); },
         "PRECONDITION MemoryBuffer::Read: offsetInBuffer + bytesToRead <= m_uSize"},
        {[&] { entries.GetEntriesOffset(128); },
         "PRECONDITION OnDiskGptPartitionEntries::GetEntriesOffset: index < 128"},
        {[&] { entries.GetStructOffset(2, 128); },
         "PRECONDITION OnDiskGptPartitionEntries::GetEntriesOffset: index < 128"},
        {[&] { entries.GetEntries(128); }, "PRECONDITION OnDiskGptPartitionEntries::GetEntries: index < 128"},
        {[&] { entries.GetStructOffset(3, 0); },
         "CHECK OnDiskGptPartitionEntries::GetStructOffset: GetStructOffset invalid count"},
        {[&] { OnDiskGptPartitionEntry().GetFirstLba(); }, "CHECK OnDiskEx::GetOD_ZeroOffset: m_bh"},
    };
    for (const auto& c : cases) EXPECT_EQ(FailureOf(c.op), c.failure);
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

TEST(GptPartitionTable, SgdiskTableValidatesAndItsGuidsReadAsSgdiskShowsThem) {
    if (!gpttest::HaveTool("sgdisk")) GTEST_SKIP() << "sgdisk";
    ScratchFolder scratch("gpt-table");
    const std::string img = scratch.File("disk.img");
    std::vector<uint8_t> bytes = gpttest::SgdiskImage(img, 16384, "-o -n 1:2048:+1M -t 1:ef00 -n 3:0:+2M -t 3:0700 -A 3:set:2");
    ASSERT_EQ(bytes.size(), 16384u * 512);
    MemorySectorProvider disk(bytes, 512);
    GptPartitionTable primary(disk, 1);
    GptPartitionTable backup(disk, primary.GetHeader().GetAlternateLba());
    for (const GptPartitionTable* t : {&primary, &backup}) {
        EXPECT_TRUE(t->GetHeader().IsSignatureValid());
        EXPECT_TRUE(t->IsHeaderCrcValid());
        EXPECT_TRUE(t->IsEntryArrayCrcValid());
        EXPECT_TRUE(t->IsAlternateLbaValid());
    }
    EXPECT_EQ(primary.GetHeader().GetRevisionText(), L"1.0");
    EXPECT_EQ(primary.GetEntry(2).GetAttributes(), 4u);
    EXPECT_EQ(backup.GetHeaderLba(), 16383u);
    EXPECT_EQ(backup.GetHeader().GetPartitionEntryLba(), 16383u - 32);
    const bool inUse[] = {true, false, true, false};
    for (unsigned i = 0; i < 4; ++i) EXPECT_EQ(primary.IsEntryInUse(i), inUse[i]) << i;

    const std::regex pattern("GUID code: (\\S+) .*\\nPartition unique GUID: (\\S+)\\nFirst sector: (\\d+) .*\\n"
                             "Last sector: (\\d+) ");
    for (unsigned n : {1u, 3u}) {
        const std::string info = gpttest::Capture("sgdisk -i " + std::to_string(n) + " '" + img + "'");
        std::smatch m;
        ASSERT_TRUE(std::regex_search(info, m, pattern)) << info;
        const OnDiskGptPartitionEntry& e = primary.GetEntry(n - 1);
        std::string type, unique;
        for (wchar_t c : e.GetPartitionTypeGuid().ToText()) type += static_cast<char>(std::toupper(c));
        for (wchar_t c : e.GetUniquePartitionGuid().ToText()) unique += static_cast<char>(std::toupper(c));
        EXPECT_EQ(type, m[1].str());
        EXPECT_EQ(unique, m[2].str());
        EXPECT_EQ(e.GetFirstLba(), std::stoull(m[3].str()));
        EXPECT_EQ(e.GetLastLba(), std::stoull(m[4].str()));
    }

    // One changed byte in the header (disk GUID), then one in the last slot of the array.
    for (uint64_t at : {uint64_t{512 + 60}, uint64_t{1024 + 16383}}) {
        std::vector<uint8_t> changed = bytes;
        changed[at] ^= 1;
        MemorySectorProvider damaged(changed, 512);
        GptPartitionTable t(damaged, 1);
        EXPECT_EQ(t.IsHeaderCrcValid(), at > 1024) << at;
        EXPECT_EQ(t.IsEntryArrayCrcValid(), at < 1024) << at;
    }
}

TEST(GptPartitionTable, AlternateLbaBeyondEndAndInUseRules) {
    const struct {
        uint64_t headerLba, alternate;
        bool valid;
    } alternates[] = {{1, 999, true}, {1, 998, false}, {1, 1, false}, {999, 1, true}, {999, 998, false}, {500, 1, true}};
    for (const auto& c : alternates) {
        SyntheticGpt g(512, 1000);
        g.WriteHeader(c.headerLba, c.alternate, 2);
        MemorySectorProvider disk(g.bytes, 512);
        EXPECT_EQ(GptPartitionTable(disk, c.headerLba).IsAlternateLbaValid(), c.valid) << c.headerLba << c.alternate;
    }
    const struct {
        uint64_t first, last;
        bool beyond;
    } ends[] = {{34, 999, false}, {34, 1000, false}, {34, 1001, true}, {1001, 50, true}, {5, UINT64_MAX, true}};
    SyntheticGpt g(512, 1000);
    for (unsigned i = 0; i < std::size(ends); ++i) g.SetEntry(i, Guid::BasicData(), ends[i].first, ends[i].last);
    g.SetEntry(5, Guid::BasicData(), 60, 70, false);  // a type without a unique GUID
    g.SetEntry(6, Guid(), 80, 90);                    // a unique GUID without a type
    MemorySectorProvider disk(g.bytes, 512);
    GptPartitionTable table(disk, 1);
    for (unsigned i = 0; i < std::size(ends); ++i) EXPECT_EQ(table.IsBeyondEndOfDisk(i), ends[i].beyond) << i;
    const bool inUse[] = {true, true, true, true, true, false, false, false};
    for (unsigned i = 0; i < std::size(inUse); ++i) EXPECT_EQ(table.IsEntryInUse(i), inUse[i]) << i;
}

TEST(GptPartitionTable, ChecksumLengthsFollowTheHeaderCutToTheBytesRead) {
    const struct {
        uint32_t headerSize, count, size;
        uint64_t changed;  // a byte of the array changed after the checksums were set
        bool headerValid, arrayValid;
    } cases[] = {
        {92, 64, 128, 8192, true, true},   {92, 64, 128, 8191, true, false},
        {0, 128, 128, 0, true, false},     {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 16383, true, false},
    };
    for (const auto& c : cases) {
        SyntheticGpt g(512, 1000);
        PutLe(g.bytes, 512 + 12, c.headerSize, 4);
        PutLe(g.bytes, 512 + 80, c.count, 4);
        PutLe(g.bytes, 512 + 84, c.size, 4);
        g.FinishHeader(1);
        g.bytes[g.Array(1) + c.changed] ^= 1;
        MemorySectorProvider disk(g.bytes, 512);
        GptPartitionTable table(disk, 1);
        EXPECT_EQ(table.IsHeaderCrcValid(), c.headerValid) << c.headerSize;
        EXPECT_EQ(table.IsEntryArrayCrcValid(), c.arrayValid) << c.count << " " << c.changed;
    }
}

TEST(GptPartitionTable, LargeSectorsAndReadsPastTheLastSector) {
    SyntheticGpt big(4096, 300);
    big.SetEntry(127, Guid::BasicData(), 100, 200);
    big.Finish();
    big.bytes[4096 + 600] = 0x5A;  // past the header's 512 bytes: not covered
    MemorySectorProvider disk(big.bytes, 4096);
    GptPartitionTable table(disk, 1);
    EXPECT_TRUE(table.IsHeaderCrcValid() && table.IsEntryArrayCrcValid());
    EXPECT_EQ(table.GetEntry(127).GetLastLba(), 200u);
    EXPECT_EQ(disk.ReadCount(), 2u);

    const std::pair<uint64_t, uint64_t> refused[] = {{1000, 2}, {1, 1000 - 31}, {1, UINT64_MAX - 10}};
    for (const auto& [headerLba, arrayLba] : refused) {
        SyntheticGpt g(512, 1000);
        PutLe(g.bytes, 512 + 72, arrayLba, 8);
        MemorySectorProvider small(g.bytes, 512);
        EXPECT_EQ(FailureOf([&] { GptPartitionTable t(small, headerLba); }),
                  "PRECONDITION GptPartitionTable::ReadBytes: lba + sectorsToRead <= sectorCount");
        EXPECT_EQ(small.ReadCount(), headerLba == 1 ? 1u : 0u);
    }
    SyntheticGpt g(512, 1000);
    PutLe(g.bytes, 512 + 72, 1000 - 32, 8);  // the array may end on the last sector
    MemorySectorProvider exact(g.bytes, 512);
    EXPECT_NO_THROW(GptPartitionTable(exact, 1));
}
