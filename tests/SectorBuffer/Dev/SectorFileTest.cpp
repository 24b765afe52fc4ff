#include "SectorBuffer/Dev/SectorFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>

#include "support/Failure.h"
#include "support/GoldenFile.h"
#include "support/ScratchFolder.h"
#include "support/FileBytes.h"

namespace {

using Bytes = std::vector<uint8_t>;

// A sector with no long runs (stored) or with a few long runs (run-length).
Bytes Pattern(uint32_t size, uint64_t seed, bool runs) {
    Bytes s(size);
    for (uint32_t i = 0; i < size; ++i)
        s[i] = runs ? uint8_t((i / 100 + seed) * 37) : uint8_t(i * 131 + seed * 7 + 1);
    return s;
}

Bytes ReadAll(SectorFile& file, uint64_t first, uint64_t count) {
    Bytes out(count * file.GetBytesPerSector(), 0xCC);
    file.Read(first, count, out.data());
    return out;
}

struct SectorFileTest : testing::Test {
    ScratchFolder folder{"layscan_sectorfile"};
    std::string path = folder.File("test.sf");
    SectorFile Open(const Bytes& bytes) {
        WriteFileBytes(path, bytes);
        return SectorFile(Widen(path), true);
    }
    std::unique_ptr<SectorFile> Create(uint32_t bytesPerSector, uint64_t sectors, uint32_t version = 4,
                                       bool compressed = true) {
        return SectorFile::Create(Widen(path), bytesPerSector, sectors, version, compressed);
    }
};

TEST_F(SectorFileTest, RoundTripsEveryVersionRawAndCompressed) {
    const struct {
        uint32_t version;
        bool compressed;
        uint32_t bytesPerSector;
    } cases[] = {{0, false, 512}, {1, true, 512}, {2, false, 512}, {2, true, 512}, {3, false, 512},
                 {3, true, 512},  {4, false, 512}, {4, true, 512}, {4, true, 4096}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "version " << c.version << " compressed " << c.compressed);
        const uint64_t sectors = 12, bps = c.bytesPerSector;
        Bytes image(sectors * bps, 0);
        // An older file under the name is replaced (a plain rename refuses that on Windows).
        WriteFileBytes(path, Bytes(7, 'x'));
        auto writer = Create(c.bytesPerSector, sectors, c.version, c.compressed);
        // 0, 1, 2 mapped; 3, 4 unmapped; 5 fill; 6 mapped; 7..10 unmapped; 11 (last) mapped.
        // Sector 2 is written twice: the second bytes count.
        writer->Write(2, 1, Pattern(c.bytesPerSector, 99, false).data());
        for (uint64_t s : {0, 1, 2, 6, 11}) {
            const Bytes bytes = Pattern(c.bytesPerSector, s, s % 2 == 0);
            std::copy(bytes.begin(), bytes.end(), image.begin() + s * bps);
            writer->Write(s, 1, bytes.data());
        }
        writer->WriteFill(5);
        // The final name keeps the older file until the new one is complete.
        EXPECT_EQ(ReadFileBytes(path), Bytes(7, 'x'));
        writer->Close();
        // ... and then the file alone: no temporary file is left beside it.
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 1);
        SectorFile reader(Widen(path), true);
        const std::vector<uint64_t> header = {reader.GetBytesPerSector(), reader.GetSectorCount(),
                                              reader.GetHeader().GetVersion()};
        EXPECT_EQ(header, std::vector<uint64_t>({c.bytesPerSector, sectors, c.version}));
        EXPECT_EQ(ReadAll(reader, 0, sectors), image);
        // Single sectors, and a run from unmapped space to the last sector.
        EXPECT_EQ(ReadAll(reader, 6, 1), Bytes(image.begin() + 6 * bps, image.begin() + 7 * bps));
        EXPECT_EQ(ReadAll(reader, 3, sectors - 3), Bytes(image.begin() + 3 * bps, image.end()));
    }
}

// Run-length pairs only where they are shorter than the sector itself.
TEST(SectorFileCompress, RunLengthOnlyWhereShorter) {
    Bytes pairs(512);  // 256 runs of two bytes: pairs as long as the sector
    for (size_t i = 0; i < pairs.size(); ++i) pairs[i] = uint8_t(i / 2);
    Bytes almost = pairs;  // one run of four: two bytes shorter
    almost[2] = almost[3] = 0;
    const struct {
        const char* name;
        Bytes sector;
        size_t length;
        uint8_t kind;
    } cases[] = {{"zeros", Bytes(512, 0), 3 + 3 * 2, SectorFile::kRecordRll},
                 {"no runs", Pattern(512, 1, false), 3 + 512, SectorFile::kRecordStored},
                 {"pairs as long as the sector", pairs, 3 + 512, SectorFile::kRecordStored},
                 {"pairs shorter than the sector", almost, 3 + 510, SectorFile::kRecordRll}};
    for (const auto& c : cases) {
        const Bytes record = SectorFile::Compress(c.sector.data(), 512);
        EXPECT_EQ(record.size(), c.length) << c.name;
        EXPECT_EQ(record.at(2), c.kind) << c.name;
        EXPECT_EQ(size_t(record[0] << 8 | record[1]), record.size()) << c.name;
    }
}

// A 16-sector file (sectors 0 to 3 mapped, 9 and 10 listed bad), damaged in
// many ways, then opened and read. Every outcome, and every failure text, is in
// tests/golden/sector-file-failures.txt; no read may write outside its sectors.
TEST_F(SectorFileTest, DamageFailsCleanlyWithItsText) {
    // Sector 1 decodes from the run-length record {255 x 1, 255 x 2, 2 x 3}.
    Bytes runs(512, 3);
    std::fill(runs.begin(), runs.begin() + 255, 1);
    std::fill(runs.begin() + 255, runs.begin() + 510, 2);
    Bytes image(16 * 512, 0);
    auto writer = Create(512, 16);
    for (uint64_t s = 0; s < 4; ++s) {
        const Bytes sector = s == 1 ? runs : Pattern(512, s, s == 2);
        std::copy(sector.begin(), sector.end(), image.begin() + s * 512);
        writer->Write(s, 1, sector.data());
    }
    writer->AddBadSector(10);
    writer->AddBadSector(9);
    writer->Close();
    const Bytes good = ReadFileBytes(path);
    EXPECT_EQ(Open(good).GetBadSectors(), (std::vector<uint64_t>{9, 10}));
    const uint64_t mapOffset = GetBigEndian(good, 0x1A, 8), bad = GetBigEndian(good, 0x41, 8);
    const uint64_t entry = mapOffset + SectorFile::kSignatureLength;

    using Change = std::function<void(Bytes&)>;
    auto be = [](uint64_t at, unsigned w, uint64_t v) -> Change { return [=](Bytes& f) { PutBigEndian(f, at, v, w); }; };
    auto le = [](uint64_t at, unsigned w, uint64_t v) -> Change { return [=](Bytes& f) { PutLittleEndian(f, at, v, w); }; };
    auto cut = [](size_t size) -> Change { return [=](Bytes& f) { f.resize(size); }; };
    // Sector 1's record replaced: a record head (big-endian length, kind), run-length pairs, then 0x5A up to length.
    auto record = [&](size_t length, uint8_t kind, std::vector<std::pair<uint8_t, uint8_t>> pairs = {}) -> Change {
        Bytes r{uint8_t(length >> 8), uint8_t(length), kind};
        for (auto [n, v] : pairs) r.insert(r.end(), {n, v});
        if (pairs.empty() && kind == 0) r.insert(r.end(), runs.begin(), runs.end());
        r.resize(std::max(r.size(), length), 0x5A);
        return [=](Bytes& f) {
            PutLittleEndian(f, entry + SectorFile::kMapEntrySize + 8, f.size(), 8);
            f.insert(f.end(), r.begin(), r.end());
        };
    };
    const std::vector<std::pair<uint8_t, uint8_t>> exact = {{255, 1}, {255, 2}, {2, 3}};
    const struct {
        const char* name;
        Change change;
        uint64_t first = 0, count = 4;
    } cases[] = {
        {"intact", [](Bytes&) {}, 0, 9},
        {"beside and after the bad sectors", [](Bytes&) {}, 11, 5},
        {"unsorted map", [&](Bytes& f) { std::swap_ranges(&f[entry], &f[entry + 16], &f[entry + 16]); }},
        {"zero bad-sector field: the list is not consulted", be(0x3D, 4, 0), 8, 4},
        {"bad sectors in the read", [](Bytes&) {}, 8, 2},
        {"read past the end", [](Bytes&) {}, 15, 2},
        {"read of a count that wraps", [](Bytes&) {}, 1, UINT64_MAX},
        {"signature", be(0, 1, 's')},
        {"map signature", [&](Bytes& f) { f[mapOffset + 9] = '_'; }},
        {"bad-sector signature", [&](Bytes& f) { f[bad] = 'b'; }},
        {"truncated signature", cut(9)},
        {"truncated header", cut(30)},
        {"truncated v4 header", cut(0x40)},
        {"sector size 0", be(0x0A, 4, 0)},
        {"sector size 65537", be(0x0A, 4, 65537)},
        {"map count past end", be(0x16, 4, 0xFFFFFFFF)},
        // 8 entries need 128 bytes; the map's 64 and the bad-sector block's 50 are there.
        {"map count just past end", be(0x16, 4, 8)},
        {"map offset past end", be(0x1A, 8, good.size() + 1)},
        {"map offset wraps", be(0x1A, 8, UINT64_MAX - 3)},
        {"version 5", be(0x22, 4, 5)},
        {"bad-sector block past end", be(0x41, 8, good.size() - 4)},
        {"bad-sector count past end", be(bad + 10, 8, 1ull << 60)},
        {"record offset past end", le(entry + 8, 8, good.size() - 1)},
        {"record offset wraps", le(entry + 8, 8, UINT64_MAX >> 1)},
        {"record length past end", le(entry + 8, 8, bad + 20)},
        {"raw file, record past end", [&](Bytes& f) { f[0x26] = 0, PutLittleEndian(f, entry + 8, f.size() - 100, 8); }},
        {"record of exactly a sector", record(9, 1, exact), 1, 1},
        {"stored record", record(515, 0), 1, 1},
        {"record of 511 bytes", record(9, 1, {{255, 1}, {255, 2}, {1, 3}}), 1, 1},
        {"record of 513 bytes", record(9, 1, {{255, 1}, {255, 2}, {3, 3}}), 1, 1},
        {"record of length 3", record(3, 1), 1, 1},
        {"record with an odd payload", record(10, 1, exact), 1, 1},
        {"record of kind 2", record(515, 2), 1, 1},
        {"short stored record", record(100, 0), 1, 1},
        {"record of length 2", record(2, 1), 1, 1},
        {"record of length 516", record(516, 0), 1, 1},
    };
    std::string text;
    for (const auto& c : cases) {
        Bytes bytes = good;
        c.change(bytes);
        WriteFileBytes(path, bytes);
        // The read's sectors stand between two guard sectors of the caller's buffer.
        const uint64_t count = std::min<uint64_t>(c.count, 16);
        Bytes buffer((count + 2) * 512, 0xEE);
        std::string failure = FailureOf([&] {
            SectorFile reader(Widen(path), true);
            reader.Read(c.first, c.count, buffer.data() + 512);
        });
        if (failure.empty())
            failure = std::equal(buffer.begin() + 512, buffer.end() - 512, image.begin() + c.first * 512)
                          ? "read as written"
                          : "read other bytes than were written";
        if (std::any_of(buffer.begin(), buffer.begin() + 512, [](uint8_t b) { return b != 0xEE; }) ||
            std::any_of(buffer.end() - 512, buffer.end(), [](uint8_t b) { return b != 0xEE; }))
            failure += " AND WROTE OUTSIDE THE SECTORS";
        text += std::string(c.name) + ": " + golden::Replaced(failure, path, "FILE") + "\n";
    }
    golden::ExpectMatches("sector-file-failures.txt", text);

    const std::string missing = FailureOf([&] { SectorFile(Widen(folder.File("absent.sf")), true); });
    EXPECT_NE(missing.find(folder.File("absent.sf")), std::string::npos) << missing;
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
        const uint64_t record = bytes.size(), map = record + 512;
        bytes.insert(bytes.end(), sector.begin(), sector.end());
        PutBigEndian(bytes, 0x1A, map, 8);
        bytes.insert(bytes.end(), SectorFile::kMapSignature, SectorFile::kMapSignature + 10);
        bytes.resize(map + 10 + entries * 16);
        for (uint64_t i = 0; i < entries; ++i) {
            PutLittleEndian(bytes, map + 10 + i * 16, i, 8);
            PutLittleEndian(bytes, map + 18 + i * 16, i % 2 ? SectorFile::kFillOffsetFlag : record, 8);
        }
        SectorFile reader = Open(bytes);
        ASSERT_EQ(reader.GetSectorMap().size(), entries);
        // Two header reads (fixed part, then the version 3 header), the map
        // signature, and the entries: one read, or one per 1,024 entries.
        EXPECT_EQ(reader.GetFileReadCount(),
                  3 + (entries < SectorFile::kSingleReadMapEntries ? 1 : (entries + 1023) / 1024));
        EXPECT_EQ(ReadAll(reader, entries - 2, 1), sector);
        EXPECT_EQ(ReadAll(reader, entries - 1, 1), Bytes(512, 0));
    }
}

}  // namespace
