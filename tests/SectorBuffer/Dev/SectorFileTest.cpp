#include "SectorBuffer/Dev/SectorFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>

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
                 {3, true, 512},  {4, false, 512}, {4, true, 512}, {4, true, 4096}, {4, true, 1}};
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
        }
        writer->Write(0, 3, image.data());
        for (uint64_t s : {6, 11}) writer->Write(s, 1, image.data() + s * bps);
        writer->WriteFill(5);
        for (auto [first, count] : {std::pair<uint64_t, uint64_t>{11, 2}, {0, 13}})
            EXPECT_EQ(FailureOf([&] { writer->Write(first, count, image.data()); }),
                      "PRECONDITION SectorFile::Write: start + count <= mHeader->GetNumberOfSectors()");
        // The final name keeps the older file until the new one is complete.
        EXPECT_EQ(ReadFileBytes(path), Bytes(7, 'x'));
        writer->Close();
        // ... and then the file alone: no temporary file is left beside it.
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 1);
        SectorFile reader(Widen(path), true);
        const std::vector<uint64_t> header = {reader.GetBytesPerSector(), reader.GetSectorCount(),
                                              reader.GetHeader().GetVersion(), reader.GetFileReadCount()};
        // Reads: the fixed header, the longer header of version 3 and up, the bad-sector
        // signature of version 4, the map's signature and its entries.
        EXPECT_EQ(header, std::vector<uint64_t>({c.bytesPerSector, sectors, c.version,
                                                 3u + (c.version >= 3) + (c.version >= 4)}));
        EXPECT_EQ(ReadAll(reader, 0, sectors), image);
        // Single sectors, and a run from unmapped space to the last sector.
        EXPECT_EQ(ReadAll(reader, 6, 1), Bytes(image.begin() + 6 * bps, image.begin() + 7 * bps));
        EXPECT_EQ(ReadAll(reader, 3, sectors - 3), Bytes(image.begin() + 3 * bps, image.end()));
    }
    for (uint32_t size : {0u, SectorFile::kMaxBytesPerSector + 1})
        EXPECT_EQ(FailureOf([&] { Create(size, 1); }), "PRECONDITION SectorFile::Create: bytesPerSector >= 1 && "
                                                       "bytesPerSector <= kMaxBytesPerSector");
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

// A 16-sector file (sectors 0 to 3 mapped, 9 and 10 listed bad), damaged as each
// line of tests/golden/sector-file-failures.txt says, then opened and read; the
// outcome after "=>" is replaced by the actual one and the file compared. No read
// may write outside its sectors.
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
    EXPECT_EQ(SectorFile(Widen(path), true).GetBadSectors(), (std::vector<uint64_t>{9, 10}));
    // Places a change names: the map, its first entry, the bad-sector block, the file's end.
    const uint64_t map = GetBigEndian(good, 0x1A, 8), bad = GetBigEndian(good, 0x41, 8);
    const std::map<std::string, uint64_t> places = {
        {"map", map}, {"entry", map + SectorFile::kSignatureLength}, {"bad", bad}, {"end", good.size()}};
    auto number = [&](const std::string& word) {  // PLACE, PLACE+N, PLACE-N or N
        const size_t sign = word.find_first_of("+-");
        const auto place = places.find(word.substr(0, sign));
        if (place == places.end()) return uint64_t(std::stoull(word, nullptr, 0));
        const uint64_t n = sign == std::string::npos ? 0 : std::stoull(word.substr(sign + 1), nullptr, 0);
        return word[sign] == '-' ? place->second - n : place->second + n;
    };
    golden::ExpectOutcomes("sector-file-failures.txt", [&](const std::string& line) {
        const size_t bar = line.find(" | "), bar2 = line.find(" | ", bar + 3);
        std::istringstream changes(line.substr(bar + 3, bar2 - bar - 3)), range(line.substr(bar2 + 3));
        Bytes bytes = good;
        for (std::string change; std::getline(changes >> std::ws, change, ';');) {
            std::istringstream in(change);
            std::vector<uint64_t> v;
            std::string op;
            in >> op;
            for (std::string word; in >> word;) v.push_back(number(word));
            if (op == "be" || op == "le")
                (op == "be" ? PutBigEndian : PutLittleEndian)(bytes, v[0], v[2], unsigned(v[1]));
            else if (op == "cut") bytes.resize(v[0]);
            else if (op == "swap") std::swap_ranges(&bytes[v[0]], &bytes[v[0] + v[1]], &bytes[v[0] + v[1]]);
            else if (op == "record") {  // sector 1's record replaced: LENGTH KIND then pairs, or the runs stored
                Bytes r(v.size() + 1);
                r[0] = uint8_t(v[0] >> 8), r[1] = uint8_t(v[0]);
                std::copy(v.begin() + 1, v.end(), r.begin() + 2);
                if (v.size() == 2 && v[1] == 0) r.insert(r.end(), runs.begin(), runs.end());
                r.resize(std::max<size_t>(r.size(), v[0]), 0x5A);
                PutLittleEndian(bytes, places.at("entry") + SectorFile::kMapEntrySize + 8, bytes.size(), 8);
                bytes.insert(bytes.end(), r.begin(), r.end());
            }
        }
        std::string firstWord, countWord;
        range >> firstWord >> countWord;
        const uint64_t first = number(firstWord), count = number(countWord);
        WriteFileBytes(path, bytes);
        // The read's sectors stand between two guard sectors of the caller's buffer.
        Bytes buffer((std::min<uint64_t>(count, 16) + 2) * 512, 0xEE);
        std::string failure = FailureOf([&] { SectorFile(Widen(path), true).Read(first, count, buffer.data() + 512); });
        if (failure.empty())
            failure = std::equal(buffer.begin() + 512, buffer.end() - 512, image.begin() + first * 512)
                          ? "read as written"
                          : "read other bytes than were written";
        if (std::any_of(buffer.begin(), buffer.begin() + 512, [](uint8_t b) { return b != 0xEE; }) ||
            std::any_of(buffer.end() - 512, buffer.end(), [](uint8_t b) { return b != 0xEE; }))
            failure += " AND WROTE OUTSIDE THE SECTORS";
        return " " + golden::Replaced(failure, path, "FILE");
    });

    const std::string missing = FailureOf([&] { SectorFile(Widen(folder.File("absent.sf")), true); });
    EXPECT_NE(missing.find(folder.File("absent.sf")), std::string::npos) << missing;
}

// A map of kSingleReadMapEntries entries or more is read in pieces of 1,024. Writing
// two million entries takes seconds.
struct SectorFileSlow : SectorFileTest {};

TEST_F(SectorFileSlow, LargeMapsLoadInPieces) {
    const uint64_t entries = SectorFile::kSingleReadMapEntries;
    Bytes tail = Pattern(512, 9, false);
    auto writer = Create(512, entries + 10, 3, false);
    for (uint64_t i = 0; i + 1 < entries; ++i) writer->WriteFill(i);
    writer->Write(entries - 1, 1, tail.data());
    writer->Close();
    SectorFile reader(Widen(path), true);
    // Two header reads, the map signature, then the entries; the last fill and the sector after it.
    EXPECT_EQ(std::vector<uint64_t>({reader.GetSectorMap().size(), reader.GetFileReadCount()}),
              std::vector<uint64_t>({entries, 3 + entries / 1024}));
    tail.insert(tail.begin(), 512, 0);
    EXPECT_EQ(ReadAll(reader, entries - 2, 2), tail);
}

}  // namespace
