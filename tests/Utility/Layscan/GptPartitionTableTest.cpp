#include <gtest/gtest.h>

#include <cctype>
#include <functional>
#include <regex>

#include "Utility/Layscan/GptPartitionTable.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"
#include "support/ScratchFolder.h"

using gpttest::SyntheticGpt;

namespace {

// Skips the calling test unless sgdisk can run here.
#define REQUIRE_SGDISK()                                           \
    do {                                                           \
        if (!gpttest::HaveTool("sgdisk")) GTEST_SKIP() << "sgdisk"; \
    } while (0)

std::string Upper(std::wstring text) {
    std::string out;
    for (wchar_t c : text) out += static_cast<char>(std::toupper(static_cast<int>(c)));
    return out;
}

}  // namespace

TEST(GptPartitionTable, SgdiskTableValidatesAndOneChangedByteDoesNot) {
    REQUIRE_SGDISK();
    ScratchFolder scratch("gpt-table");
    const std::string img = scratch.File("sgdisk.img");
    ASSERT_TRUE(gpttest::MakeSgdiskImage(img, 16384, "-o -n 1:2048:+1M -t 1:ef00 -n 2:0:+2M -A 2:set:2 -n 5:0:+1M"));
    std::vector<uint8_t> bytes = gpttest::ReadFile(img);
    ASSERT_EQ(bytes.size(), 16384u * 512);

    MemorySectorProvider disk(bytes, 512);
    GptPartitionTable primary(disk, 1);
    EXPECT_TRUE(primary.GetHeader().IsSignatureValid());
    EXPECT_TRUE(primary.IsHeaderCrcValid());
    EXPECT_TRUE(primary.IsEntryArrayCrcValid());
    EXPECT_TRUE(primary.IsAlternateLbaValid());
    EXPECT_EQ(primary.GetHeader().GetAlternateLba(), 16383u);
    EXPECT_EQ(primary.GetHeaderLba(), 1u);
    EXPECT_EQ(primary.GetSectorCount(), 16384u);

    GptPartitionTable backup(disk, primary.GetHeader().GetAlternateLba());
    EXPECT_EQ(backup.GetHeader().GetMyLba(), 16383u);
    EXPECT_TRUE(backup.IsHeaderCrcValid());
    EXPECT_TRUE(backup.IsEntryArrayCrcValid());
    EXPECT_TRUE(backup.IsAlternateLbaValid());
    EXPECT_EQ(backup.GetHeader().GetPartitionEntryLba(), 16383u - 32);

    const bool inUse[] = {true, true, false, false, true, false};
    for (unsigned i = 0; i < 6; ++i) EXPECT_EQ(primary.IsEntryInUse(i), inUse[i]) << i;
    EXPECT_EQ(primary.GetEntry(1).GetAttributes(), 4u);

    // One byte of the header (in the disk GUID), then one byte of the array.
    std::vector<uint8_t> header = bytes;
    header[512 + 60] ^= 1;
    MemorySectorProvider badHeader(header, 512);
    GptPartitionTable t1(badHeader, 1);
    EXPECT_FALSE(t1.IsHeaderCrcValid());
    EXPECT_TRUE(t1.IsEntryArrayCrcValid());

    std::vector<uint8_t> array = bytes;
    array[1024 + 128 * 127 + 100] ^= 0x80;  // the very last entry slot
    MemorySectorProvider badArray(array, 512);
    GptPartitionTable t2(badArray, 1);
    EXPECT_TRUE(t2.IsHeaderCrcValid());
    EXPECT_FALSE(t2.IsEntryArrayCrcValid());
}

TEST(GptPartitionTable, EntryGuidsAndSectorsMatchSgdisk) {
    REQUIRE_SGDISK();
    ScratchFolder scratch("gpt-guids");
    const std::string img = scratch.File("sgdisk.img");
    ASSERT_TRUE(gpttest::MakeSgdiskImage(img, 20000, "-o -n 1:2048:+1M -t 1:ef00 -n 3:0:+3M -t 3:0700 -n 4:0:0"));
    MemorySectorProvider disk(gpttest::ReadFile(img), 512);
    GptPartitionTable table(disk, 1);
    const std::regex type("Partition GUID code: ([0-9A-F-]{36})"), unique("Partition unique GUID: ([0-9A-F-]{36})"),
        first("First sector: ([0-9]+)"), last("Last sector: ([0-9]+)");
    for (unsigned n : {1u, 3u, 4u}) {
        const std::string info = gpttest::Capture("sgdisk -i " + std::to_string(n) + " '" + img + "'");
        std::smatch m;
        const OnDiskGptPartitionEntry& e = table.GetEntry(n - 1);
        ASSERT_TRUE(std::regex_search(info, m, type)) << info;
        EXPECT_EQ(Upper(e.GetPartitionTypeGuid().ToText()), m[1].str());
        ASSERT_TRUE(std::regex_search(info, m, unique));
        EXPECT_EQ(Upper(e.GetUniquePartitionGuid().ToText()), m[1].str());
        ASSERT_TRUE(std::regex_search(info, m, first));
        EXPECT_EQ(e.GetFirstLba(), std::stoull(m[1].str()));
        ASSERT_TRUE(std::regex_search(info, m, last));
        EXPECT_EQ(e.GetLastLba(), std::stoull(m[1].str()));
    }
    EXPECT_TRUE(table.GetEntry(0).GetPartitionTypeGuid() == Guid::EfiSystemPartition());
    EXPECT_TRUE(table.GetEntry(2).GetPartitionTypeGuid() == Guid::BasicData());
    EXPECT_FALSE(table.IsEntryInUse(1));
}

TEST(GptPartitionTable, AlternateLbaRule) {
    const struct {
        uint64_t headerLba;
        uint64_t alternate;
        bool valid;
    } cases[] = {
        {1, 999, true}, {1, 998, false}, {1, 1, false}, {999, 1, true}, {999, 998, false}, {500, 1, true},
        {500, 999, false},
    };
    for (const auto& c : cases) {
        SyntheticGpt g(512, 1000);
        g.WriteHeader(c.headerLba, c.alternate, 2);
        MemorySectorProvider disk(g.bytes, 512);
        EXPECT_EQ(GptPartitionTable(disk, c.headerLba).IsAlternateLbaValid(), c.valid)
            << c.headerLba << " -> " << c.alternate;
    }
}

TEST(GptPartitionTable, BeyondEndOfDiskIsStrictAgainstTheSectorCount) {
    const struct {
        uint64_t first;
        uint64_t last;
        bool beyond;
    } cases[] = {
        {34, 999, false}, {34, 1000, false}, {34, 1001, true}, {1001, 50, true}, {1000, 1000, false},
        {0, 0, false},    {5, UINT64_MAX, true},
    };
    SyntheticGpt g(512, 1000);
    for (unsigned i = 0; i < std::size(cases); ++i) g.SetEntry(i, Guid::BasicData(), cases[i].first, cases[i].last);
    MemorySectorProvider disk(g.bytes, 512);
    GptPartitionTable table(disk, 1);
    for (unsigned i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(table.IsBeyondEndOfDisk(i), cases[i].beyond) << cases[i].first << ".." << cases[i].last;
}

TEST(GptPartitionTable, InUseNeedsBothGuids) {
    SyntheticGpt g(512, 1000);
    g.SetEntry(0, Guid::BasicData(), 40, 50);
    g.SetEntry(1, Guid::BasicData(), 60, 70, false);  // type but no unique GUID
    g.SetEntry(2, Guid(), 80, 90);                    // unique GUID but no type
    MemorySectorProvider disk(g.bytes, 512);
    GptPartitionTable table(disk, 1);
    EXPECT_TRUE(table.IsEntryInUse(0));
    EXPECT_FALSE(table.IsEntryInUse(1));
    EXPECT_FALSE(table.IsEntryInUse(2));
    EXPECT_FALSE(table.IsEntryInUse(127));
}

TEST(GptPartitionTable, ChecksumLengthsFollowTheHeader) {
    // Header size 0: the checksum of no bytes is 0.
    {
        SyntheticGpt g(512, 1000);
        gpttest::PutLe(g.bytes, 512 + 12, 0, 4);
        gpttest::PutLe(g.bytes, 512 + 16, 0, 4);
        MemorySectorProvider disk(g.bytes, 512);
        EXPECT_TRUE(GptPartitionTable(disk, 1).IsHeaderCrcValid());
    }
    // 64 entries: only the first 8,192 bytes count.
    {
        SyntheticGpt g(512, 1000);
        gpttest::PutLe(g.bytes, 512 + 80, 64, 4);
        g.Finish();
        const uint64_t array = g.Array(1);
        g.bytes[array + 8192] ^= 1;
        MemorySectorProvider disk(g.bytes, 512);
        EXPECT_TRUE(GptPartitionTable(disk, 1).IsEntryArrayCrcValid());
        g.bytes[array + 8191] ^= 1;
        MemorySectorProvider disk2(g.bytes, 512);
        EXPECT_FALSE(GptPartitionTable(disk2, 1).IsEntryArrayCrcValid());
    }
    // A count x size far beyond the array is cut to the 16,384 bytes read.
    {
        SyntheticGpt g(512, 1000);
        gpttest::PutLe(g.bytes, 512 + 80, 0xFFFFFFFF, 4);
        gpttest::PutLe(g.bytes, 512 + 84, 0xFFFFFFFF, 4);
        gpttest::PutLe(g.bytes, 512 + 12, 0xFFFFFFFF, 4);
        g.Finish();
        MemorySectorProvider disk(g.bytes, 512);
        GptPartitionTable table(disk, 1);
        EXPECT_TRUE(table.IsEntryArrayCrcValid());
        EXPECT_TRUE(table.IsHeaderCrcValid());
    }
}

TEST(GptPartitionTable, LargeSectorsReadTheHeaderFromTheFirst512Bytes) {
    SyntheticGpt g(4096, 300);
    g.SetEntry(127, Guid::BasicData(), 100, 200);
    g.Finish();
    g.bytes[4096 + 600] = 0x5A;  // beyond the header's 512 bytes: ignored
    MemorySectorProvider disk(g.bytes, 4096);
    GptPartitionTable table(disk, 1);
    EXPECT_TRUE(table.IsHeaderCrcValid());
    EXPECT_TRUE(table.IsEntryArrayCrcValid());
    EXPECT_EQ(table.GetHeader().GetPartitionEntryLba(), 2u);
    EXPECT_EQ(table.GetEntry(127).GetLastLba(), 200u);
    EXPECT_EQ(disk.ReadCount(), 2u);
}

TEST(GptPartitionTable, ReadsPastTheLastSectorAreRefused) {
    const struct {
        uint64_t headerLba;
        uint64_t arrayLba;
    } cases[] = {{1000, 2}, {1, 1000 - 31}, {1, UINT64_MAX}, {1, UINT64_MAX - 10}};
    for (const auto& c : cases) {
        SyntheticGpt g(512, 1000);
        gpttest::PutLe(g.bytes, 512 + 72, c.arrayLba, 8);
        MemorySectorProvider disk(g.bytes, 512);
        try {
            GptPartitionTable table(disk, c.headerLba);
            ADD_FAILURE() << c.headerLba << " " << c.arrayLba;
        } catch (const PreconditionFailure& f) {
            EXPECT_EQ(f.Expression(), "lba + sectorsToRead <= sectorCount");
        }
    }
    // The array may end exactly on the last sector.
    SyntheticGpt g(512, 1000);
    gpttest::PutLe(g.bytes, 512 + 72, 1000 - 32, 8);
    MemorySectorProvider disk(g.bytes, 512);
    EXPECT_NO_THROW(GptPartitionTable(disk, 1));
}
