#include "SectorBuffer/Dev/SectorFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>

#include "support/Failure.h"
#include "support/ScratchFolder.h"
#include "support/SectorFileWriter.h"

namespace {

using Bytes = std::vector<uint8_t>;

// A sector with no long runs (stored) or with a few long runs (run-length).
Bytes Pattern(uint32_t size, uint64_t seed, bool runs) {
    Bytes s(size);
    for (uint32_t i = 0; i < size; ++i)
        s[i] = runs ? static_cast<uint8_t>((i / 100 + seed) * 37) : static_cast<uint8_t>(i * 131 + seed * 7 + 1);
    return s;
}

Bytes ReadAll(SectorFile& file, uint64_t first, uint64_t count) {
    Bytes out(count * file.GetBytesPerSector(), 0xCC);
    file.Read(first, count, out.data());
    return out;
}

// Each test's files live in their own scratch folder.
struct SectorFileTest : testing::Test {
    ScratchFolder folder{"layscan_sectorfile"};
    std::string path = folder.File("test.sf");
    std::wstring Wide() const { return Widen(path); }
    SectorFile Open(const Bytes& bytes) {
        WriteFileBytes(path, bytes);
        return SectorFile(Wide(), true);
    }
};

}  // namespace

TEST_F(SectorFileTest, RoundTripsEveryVersionRawAndCompressed) {
    const struct {
        uint32_t version;
        bool compressed;
        uint32_t bytesPerSector;
    } cases[] = {{0, false, 512}, {2, false, 512}, {2, true, 512}, {3, false, 512},
                 {3, true, 512},  {4, false, 512}, {4, true, 512}, {4, true, 4096}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "version " << c.version << " compressed " << c.compressed << " bps "
                                        << c.bytesPerSector);
        const uint64_t sectors = 12, bps = c.bytesPerSector;
        Bytes image(sectors * bps, 0);
        SectorFileWriter writer(c.bytesPerSector, sectors);
        writer.SetVersion(c.version).SetCompressed(c.compressed);
        // 0, 1, 2 mapped; 3, 4 unmapped; 5 fill; 6 mapped; 7..10 unmapped; 11 (last) mapped.
        for (uint64_t s : {0, 1, 2, 6, 11}) {
            const Bytes bytes = Pattern(c.bytesPerSector, s, s % 2 == 0);
            std::copy(bytes.begin(), bytes.end(), image.begin() + s * bps);
            writer.AddSector(s, bytes);
        }
        writer.AddFillSector(5);
        SectorFile reader = Open(writer.Build());
        EXPECT_EQ(reader.GetBytesPerSector(), c.bytesPerSector);
        EXPECT_EQ(reader.GetSectorCount(), sectors);
        EXPECT_EQ(reader.GetHeader().GetVersion(), c.version);
        EXPECT_EQ(ReadAll(reader, 0, sectors), image);
        // Single sectors, and a run from unmapped space to the last sector.
        EXPECT_EQ(ReadAll(reader, 6, 1), Bytes(image.begin() + 6 * bps, image.begin() + 7 * bps));
        EXPECT_EQ(ReadAll(reader, 3, sectors - 3), Bytes(image.begin() + 3 * bps, image.end()));
    }
}

TEST_F(SectorFileTest, ReadsUpToTheLastSectorAndNoFurther) {
    SectorFileWriter writer(512, 8);
    writer.AddSector(7, Pattern(512, 7, false));
    SectorFile reader = Open(writer.Build());
    EXPECT_EQ(ReadAll(reader, 7, 1), Pattern(512, 7, false));
    Bytes buffer(1024);
    const std::string pastEnd = "PRECONDITION SectorFile::DoRead: start + count <= mHeader->GetNumberOfSectors()";
    EXPECT_EQ(FailureOf([&] { reader.Read(7, 2, buffer.data()); }), pastEnd);
    // A count that wraps around 64 bits is refused the same way.
    EXPECT_EQ(FailureOf([&] { reader.Read(1, UINT64_MAX, buffer.data()); }), pastEnd);
}

TEST_F(SectorFileTest, OpenFailuresNameTheFile) {
    try {
        SectorFile reader(Wide(), true);
        ADD_FAILURE() << "opened a missing file";
    } catch (const Result& r) {
        EXPECT_EQ(r.Code(), ERROR_SYSTEM_API_CALL_FAILED);
        EXPECT_NE(r.Message().find(Wide()), std::wstring::npos);
    }

    SectorFileWriter writer(512, 4);
    writer.AddSector(0, Pattern(512, 0, false));
    SectorFileWriter::Layout layout;
    const Bytes good = writer.Build(&layout);
    const std::function<void(Bytes&)> damages[] = {
        [](Bytes& f) { f[0] = 's'; },
        [&](Bytes& f) { f[layout.mapOffset + 9] = '_'; },
        [&](Bytes& f) { f[layout.badSectorOffset] = 'b'; },
        [](Bytes& f) { f.resize(9); },
    };
    for (const auto& damage : damages) {
        Bytes bytes = good;
        damage(bytes);
        WriteFileBytes(path, bytes);
        try {
            SectorFile reader(Wide(), true);
            ADD_FAILURE() << "opened a file with a broken signature";
        } catch (const Result& r) {
            EXPECT_EQ(r.Code(), SECTORBUFFER_ERROR_INVALID_SECTORFILE_SIGNATURE);
            EXPECT_EQ(r.Message(), L"Invalid signature found in the sector file " + Wide() + L".");
        }
    }
}

TEST_F(SectorFileTest, BadSectorsFailOnlyWhenTheFieldIsSet) {
    SectorFileWriter writer(512, 10);
    for (uint64_t s = 0; s < 10; ++s) writer.AddSector(s, Pattern(512, s, true));
    writer.AddBadSector(6);
    writer.AddBadSector(5);
    Bytes bytes = writer.Build();
    {
        SectorFile reader = Open(bytes);
        EXPECT_EQ(reader.GetBadSectors(), (std::vector<uint64_t>{5, 6}));
        EXPECT_EQ(ReadAll(reader, 4, 1), Pattern(512, 4, true));
        EXPECT_EQ(ReadAll(reader, 7, 1), Pattern(512, 7, true));
        EXPECT_EQ(FailureOf([&] { ReadAll(reader, 3, 4); }),
                  "Device " + path + " cannot read 4 sectors starting at LBA 3.");
    }
    // A zero bad-sector field: the list is not consulted.
    PutBigEndian(bytes, 0x3D, 0, 4);
    SectorFile reader = Open(bytes);
    EXPECT_TRUE(reader.GetBadSectors().empty());
    EXPECT_EQ(ReadAll(reader, 5, 1), Pattern(512, 5, true));
}

TEST_F(SectorFileTest, BrokenRecordsFailWithTheirCheckAndStayInsideTheSector) {
    // A record head (big-endian length, kind) and run-length pairs, with extra zero bytes.
    auto record = [](size_t length, uint8_t kind, std::vector<std::pair<uint8_t, uint8_t>> pairs = {}) {
        Bytes r{static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length), kind};
        for (auto [n, v] : pairs) r.insert(r.end(), {n, v});
        r.resize(std::max(r.size(), length), 0x5A);
        return r;
    };
    const std::string badLength =
        "recordLength >= kRecordHeadSize && recordLength <= GetBytesPerSector() + kRecordHeadSize";
    const struct {
        const char* name;
        Bytes record;
        std::string text;  // the end of the failure, "" for none
    } cases[] = {
        {"exact sector", record(9, 1, {{255, 1}, {255, 2}, {2, 3}}), ""},
        {"stored", record(515, 0), ""},
        {"511 bytes", record(9, 1, {{255, 1}, {255, 2}, {1, 3}}), "targetLen == GetBytesPerSector()"},
        {"513 bytes", record(9, 1, {{255, 1}, {255, 2}, {3, 3}}), "targetLen == GetBytesPerSector()"},
        {"length 3 kind 1", record(3, 1), "targetLen == GetBytesPerSector()"},
        {"odd payload", record(10, 1, {{255, 1}, {255, 2}, {2, 3}}), "s == sourceEnd"},
        {"kind 2", record(515, 2), "Invalid compression kind"},
        {"short stored", record(100, 0), "payloadLength == GetBytesPerSector()"},
        {"length 2", record(2, 1), badLength},
        {"length 516", record(516, 0), badLength},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SectorFileWriter writer(512, 4);
        writer.AddRecord(1, c.record);
        SectorFile reader = Open(writer.Build());
        // The record's sector sits between two guarded sectors of the caller's buffer.
        Bytes buffer(3 * 512, 0xEE);
        const std::string text = FailureOf([&] { reader.Read(1, 1, buffer.data() + 512); });
        EXPECT_TRUE(text.ends_with(c.text) && text.empty() == c.text.empty()) << text;
        EXPECT_TRUE(std::all_of(buffer.begin(), buffer.begin() + 512, [](uint8_t b) { return b == 0xEE; }));
        EXPECT_TRUE(std::all_of(buffer.begin() + 1024, buffer.end(), [](uint8_t b) { return b == 0xEE; }))
            << "decompression wrote past the sector";
    }
}

TEST_F(SectorFileTest, CorruptFieldsFailCleanly) {
    SectorFileWriter writer(512, 16);
    for (uint64_t s = 0; s < 4; ++s) writer.AddSector(s, Pattern(512, s, s == 1));
    writer.AddBadSector(9);
    SectorFileWriter::Layout layout;
    const Bytes good = writer.Build(&layout);
    const uint64_t entry = layout.mapOffset + SectorFile::kSignatureLength;
    const uint64_t bad = layout.badSectorOffset;
    // A field overwritten with a value; width 0 cuts the file at the offset instead.
    const struct {
        const char* name;
        bool bigEndian;
        uint64_t offset;
        unsigned width;
        uint64_t value;
    } cases[] = {
        {"map count past end", true, 0x16, 4, 0xFFFFFFFF},
        // 7 entries need 112 bytes; the map's 64 and the bad-sector block's 42 are there.
        {"map count just past end", true, 0x16, 4, 7},
        {"map offset past end", true, 0x1A, 8, good.size() + 1},
        {"map offset wraps", true, 0x1A, 8, UINT64_MAX - 3},
        {"sector size 0", true, 0x0A, 4, 0},
        {"sector size 65537", true, 0x0A, 4, 65537},
        {"version 5", true, 0x22, 4, 5},
        {"bad-sector block past end", true, 0x41, 8, good.size() - 4},
        {"bad-sector count past end", true, bad + 10, 8, 1ull << 60},
        {"record offset past end", false, entry + 8, 8, good.size() - 1},
        {"record offset wraps", false, entry + 8, 8, UINT64_MAX >> 1},
        {"record length past end", false, entry + 8, 8, bad + 20},
        {"raw file record past end", false, 0x26, 1, 0},  // with the offset below
        {"truncated header", false, 30, 0, 0},
        {"truncated v4 header", false, 0x40, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Bytes bytes = good;
        if (c.width == 0) bytes.resize(c.offset);
        else if (c.bigEndian) PutBigEndian(bytes, c.offset, c.value, c.width);
        else PutLittleEndian(bytes, c.offset, c.value, c.width);
        if (c.offset == 0x26) PutLittleEndian(bytes, entry + 8, bytes.size() - 100, 8);
        WriteFileBytes(path, bytes);
        EXPECT_THROW(
            {
                SectorFile reader(Wide(), true);
                ReadAll(reader, 0, 4);
            },
            AssertionFailure);
    }
}

TEST_F(SectorFileTest, UnsortedMapStillFindsEverySector) {
    SectorFileWriter writer(512, 4);
    writer.AddSector(1, Pattern(512, 1, false));
    writer.AddSector(3, Pattern(512, 3, true));
    SectorFileWriter::Layout layout;
    Bytes bytes = writer.Build(&layout);
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(layout.mapOffset + SectorFile::kSignatureLength);
    std::swap_ranges(first, first + 16, first + 16);
    SectorFile reader = Open(bytes);
    EXPECT_EQ(ReadAll(reader, 1, 1), Pattern(512, 1, false));
    EXPECT_EQ(ReadAll(reader, 3, 1), Pattern(512, 3, true));
    EXPECT_EQ(ReadAll(reader, 2, 1), Bytes(512, 0));
}

TEST_F(SectorFileTest, LargeMapsLoadInBulk) {
    // Even sectors share one raw record, odd sectors are fill entries.
    for (uint64_t entries : {1000000ull, 2200000ull}) {
        SCOPED_TRACE(entries);
        Bytes bytes(SectorFile::kHeaderSizeV3, 0);
        std::memcpy(bytes.data(), SectorFile::kSignature, SectorFile::kSignatureLength);
        PutBigEndian(bytes, 0x0A, 512, 4);
        PutBigEndian(bytes, 0x0E, entries + 10, 8);
        PutBigEndian(bytes, 0x16, entries, 4);
        PutBigEndian(bytes, 0x22, 3, 4);
        const Bytes sector = Pattern(512, 9, false);
        const uint64_t record = bytes.size();
        bytes.insert(bytes.end(), sector.begin(), sector.end());
        const uint64_t map = bytes.size();
        PutBigEndian(bytes, 0x1A, map, 8);
        bytes.insert(bytes.end(), SectorFile::kMapSignature, SectorFile::kMapSignature + 10);
        bytes.resize(map + 10 + entries * 16);
        for (uint64_t i = 0; i < entries; ++i) {
            PutLittleEndian(bytes, map + 10 + i * 16, i, 8);
            PutLittleEndian(bytes, map + 18 + i * 16, i % 2 ? SectorFile::kFillOffsetFlag : record, 8);
        }
        WriteFileBytes(path, bytes);
        bytes = {};

        const auto start = std::chrono::steady_clock::now();
        SectorFile reader(Wide(), true);
        const auto ms =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
        std::cout << "[          ] opened " << entries << " map entries in " << ms << " ms\n";
        ASSERT_EQ(reader.GetSectorMap().size(), entries);
        // Two header reads (fixed part, then the version 3 header), the map
        // signature, and the entries: one read, or one per 1,024 entries.
        const uint64_t mapReads = entries < SectorFile::kSingleReadMapEntries ? 1 : (entries + 1023) / 1024;
        EXPECT_EQ(reader.GetFileReadCount(), 3 + mapReads);
        EXPECT_EQ(ReadAll(reader, entries - 2, 1), sector);
        EXPECT_EQ(ReadAll(reader, entries - 1, 1), Bytes(512, 0));
    }
}

TEST_F(SectorFileTest, RandomDamageNeverCrashes) {
    SectorFileWriter writer(512, 32);
    for (uint64_t s = 0; s < 32; s += 3) writer.AddSector(s, Pattern(512, s, s % 2 == 0));
    writer.AddFillSector(4);
    writer.AddBadSector(31);
    const Bytes good = writer.Build();
    uint32_t state = 12345;
    auto next = [&] { return state = state * 1103515245u + 12345u; };
    int opened = 0;
    for (int round = 0; round < 300; ++round) {
        Bytes bytes = good;
        for (int flips = 1 + next() % 4; flips > 0; --flips) {
            // Half the damage goes to the header, where the sizes and offsets are.
            const size_t at = next() % 2 ? next() % SectorFile::kHeaderSizeV4 : next() % bytes.size();
            bytes[at] = static_cast<uint8_t>(next() >> 16);
        }
        WriteFileBytes(path, bytes);
        try {
            SectorFile reader(Wide(), true);
            ++opened;
            const uint64_t count = std::min<uint64_t>(reader.GetSectorCount(), 32);
            if (reader.GetBytesPerSector() * count <= (1u << 22)) ReadAll(reader, 0, count);
        } catch (const AssertionFailure&) {
        } catch (const Result&) {
        }
    }
    EXPECT_GT(opened, 0);
}
