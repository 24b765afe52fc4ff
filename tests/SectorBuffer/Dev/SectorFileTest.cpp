#include "SectorBuffer/Dev/SectorFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>

#include "Base/Dev/AssertionFailure.h"
#include "Base/Dev/Result.h"
#include "support/ScratchFolder.h"
#include "support/SectorFileWriter.h"

namespace {

// A file in its own scratch folder, removed when the test ends whatever its outcome.
struct TempFile {
    explicit TempFile(const std::string& name) : folder("layscan_sectorfile"), path(folder.File(name)) {}
    std::wstring Wide() const { return Widen(path); }
    ScratchFolder folder;
    std::string path;
};

// A sector with no long runs (stored) or with a few long runs (run-length).
std::vector<uint8_t> Pattern(uint32_t size, uint64_t seed, bool runs) {
    std::vector<uint8_t> s(size);
    for (uint32_t i = 0; i < size; ++i) {
        s[i] = runs ? static_cast<uint8_t>((i / 100 + seed) * 37) : static_cast<uint8_t>(i * 131 + seed * 7 + 1);
    }
    return s;
}

std::vector<uint8_t> ReadAll(SectorFile& file, uint64_t first, uint64_t count) {
    std::vector<uint8_t> out(count * file.GetBytesPerSector(), 0xCC);
    file.Read(first, count, out.data());
    return out;
}

template <typename F>
std::string CheckText(F&& f) {
    try {
        f();
    } catch (const AssertionFailure& a) {
        return a.Expression();
    } catch (const Result& r) {
        return Narrow(r.Message());
    }
    return "no failure";
}

}  // namespace

TEST(SectorFile, RoundTripsEveryVersionRawAndCompressed) {
    struct Case {
        uint32_t version;
        bool compressed;
        uint32_t bytesPerSector;
    } cases[] = {{0, false, 512}, {2, false, 512}, {2, true, 512},   {3, false, 512},
                 {3, true, 512},  {4, false, 512}, {4, true, 512},   {4, true, 4096}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "version " << c.version << " compressed " << c.compressed << " bps "
                                        << c.bytesPerSector);
        const uint64_t sectors = 12;
        std::vector<uint8_t> image(sectors * c.bytesPerSector, 0);
        SectorFileWriter writer(c.bytesPerSector, sectors);
        writer.SetVersion(c.version).SetCompressed(c.compressed);
        // 0, 1, 2 mapped; 3, 4 unmapped; 5 fill; 6 mapped; 7..10 unmapped; 11 (last) mapped.
        for (uint64_t s : {0, 1, 2, 6, 11}) {
            const auto bytes = Pattern(c.bytesPerSector, s, s % 2 == 0);
            std::memcpy(image.data() + s * c.bytesPerSector, bytes.data(), bytes.size());
            writer.AddSector(s, bytes);
        }
        writer.AddFillSector(5);
        TempFile file("rt.sf");
        writer.Save(file.path);

        SectorFile reader(file.Wide(), true);
        EXPECT_EQ(reader.GetBytesPerSector(), c.bytesPerSector);
        EXPECT_EQ(reader.GetSectorCount(), sectors);
        EXPECT_EQ(reader.GetHeader().GetVersion(), c.version);
        EXPECT_EQ(ReadAll(reader, 0, sectors), image);
        for (uint64_t s = 0; s < sectors; ++s) {
            const std::vector<uint8_t> expected(image.begin() + s * c.bytesPerSector,
                                                image.begin() + (s + 1) * c.bytesPerSector);
            EXPECT_EQ(ReadAll(reader, s, 1), expected) << "sector " << s;
        }
        // A run starting in unmapped space and ending on the last sector.
        const std::vector<uint8_t> tail(image.begin() + 3 * c.bytesPerSector, image.end());
        EXPECT_EQ(ReadAll(reader, 3, sectors - 3), tail);
    }
}

TEST(SectorFile, CompressedRecordsPickTheShorterForm) {
    const auto runs = Pattern(512, 1, true);
    const auto noise = Pattern(512, 1, false);
    EXPECT_EQ(SectorFileWriter::MakeRecord(runs.data(), 512)[2], SectorFile::kRecordRll);
    EXPECT_EQ(SectorFileWriter::MakeRecord(noise.data(), 512)[2], SectorFile::kRecordStored);
    EXPECT_EQ(SectorFileWriter::MakeRecord(noise.data(), 512).size(), 515u);
    const std::vector<uint8_t> zeros(4096, 0);
    // 4096 zeros: sixteen runs of 255 and one of 16.
    EXPECT_EQ(SectorFileWriter::RllCompress(zeros.data(), zeros.size()).size(), 34u);
}

TEST(SectorFile, ReadsUpToTheLastSectorAndNoFurther) {
    SectorFileWriter writer(512, 8);
    writer.AddSector(7, Pattern(512, 7, false));
    TempFile file("end.sf");
    writer.Save(file.path);
    SectorFile reader(file.Wide(), true);
    EXPECT_EQ(ReadAll(reader, 7, 1), Pattern(512, 7, false));
    std::vector<uint8_t> buffer(1024);
    try {
        reader.Read(7, 2, buffer.data());
        FAIL() << "read past the end";
    } catch (const PreconditionFailure& f) {
        EXPECT_EQ(f.Function(), "SectorFile::DoRead");
        EXPECT_EQ(f.Expression(), "start + count <= mHeader->GetNumberOfSectors()");
    }
    // A count that wraps around 64 bits is refused the same way.
    EXPECT_THROW(reader.Read(1, UINT64_MAX, buffer.data()), PreconditionFailure);
}

TEST(SectorFile, SignatureFailuresNameTheFile) {
    SectorFileWriter writer(512, 4);
    writer.AddSector(0, Pattern(512, 0, false));
    SectorFileWriter::Layout layout;
    const std::vector<uint8_t> good = writer.Build(&layout);
    const std::function<void(std::vector<uint8_t>&)> damages[] = {
        [](std::vector<uint8_t>& f) { f[0] = 's'; },
        [&](std::vector<uint8_t>& f) { f[layout.mapOffset + 9] = '_'; },
        [&](std::vector<uint8_t>& f) { f[layout.badSectorOffset] = 'b'; },
        [](std::vector<uint8_t>& f) { f.resize(9); },
    };
    for (const auto& damage : damages) {
        std::vector<uint8_t> bytes = good;
        damage(bytes);
        TempFile file("sig.sf");
        WriteFileBytes(file.path, bytes);
        try {
            SectorFile reader(file.Wide(), true);
            FAIL() << "opened a file with a broken signature";
        } catch (const Result& r) {
            EXPECT_EQ(r.Code(), SECTORBUFFER_ERROR_INVALID_SECTORFILE_SIGNATURE);
            EXPECT_EQ(r.Message(), L"Invalid signature found in the sector file " + file.Wide() + L".");
        }
    }
}

TEST(SectorFile, MissingFileIsAResultNamingIt) {
    const TempFile absent("absent.sf");
    const std::string path = absent.path;
    try {
        SectorFile reader(Widen(path), true);
        FAIL();
    } catch (const Result& r) {
        EXPECT_EQ(r.Code(), ERROR_SYSTEM_API_CALL_FAILED);
        EXPECT_NE(r.Message().find(Widen(path)), std::wstring::npos);
    }
}

TEST(SectorFile, BadSectorsFailOnlyWhenTheFieldIsSet) {
    SectorFileWriter writer(512, 10);
    for (uint64_t s = 0; s < 10; ++s) writer.AddSector(s, Pattern(512, s, true));
    writer.AddBadSector(6);
    writer.AddBadSector(5);
    std::vector<uint8_t> bytes = writer.Build();
    TempFile file("bad.sf");
    WriteFileBytes(file.path, bytes);
    {
        SectorFile reader(file.Wide(), true);
        EXPECT_EQ(reader.GetBadSectors(), (std::vector<uint64_t>{5, 6}));
        EXPECT_EQ(ReadAll(reader, 4, 1), Pattern(512, 4, true));
        const std::vector<uint8_t> after = ReadAll(reader, 7, 3);
        for (uint64_t s = 7; s < 10; ++s) {
            EXPECT_TRUE(std::equal(after.begin() + (s - 7) * 512, after.begin() + (s - 6) * 512,
                                   Pattern(512, s, true).begin()));
        }
        try {
            ReadAll(reader, 3, 4);
            FAIL() << "read a bad sector";
        } catch (const Result& r) {
            EXPECT_EQ(r.Code(), SECTORBUFFER_ERROR_DEVICE_READ_FAILED);
            EXPECT_EQ(r.Message(), L"Device " + file.Wide() + L" cannot read 4 sectors starting at LBA 3.");
        }
    }
    // A zero bad-sector field: the list is not consulted.
    PutBigEndian(bytes, 0x3D, 0, 4);
    WriteFileBytes(file.path, bytes);
    SectorFile reader(file.Wide(), true);
    EXPECT_TRUE(reader.GetBadSectors().empty());
    EXPECT_EQ(ReadAll(reader, 5, 1), Pattern(512, 5, true));
}

TEST(SectorFile, BrokenRecordsFailWithTheirCheckAndStayInsideTheSector) {
    auto head = [](size_t length, uint8_t kind) {
        return std::vector<uint8_t>{static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length), kind};
    };
    auto rll = [&](std::vector<std::pair<uint8_t, uint8_t>> pairs, size_t extra = 0) {
        std::vector<uint8_t> r = head(3 + pairs.size() * 2 + extra, 1);
        for (auto [n, v] : pairs) r.insert(r.end(), {n, v});
        r.resize(r.size() + extra, 0);
        return r;
    };
    std::vector<uint8_t> stored = head(515, 0);
    stored.resize(515, 0x5A);
    std::vector<uint8_t> shortStored = head(100, 0);
    shortStored.resize(100, 0x5A);
    std::vector<uint8_t> kind2 = stored;
    kind2[2] = 2;
    const struct {
        const char* name;
        std::vector<uint8_t> record;
        const char* text;
    } cases[] = {
        {"exact sector", rll({{255, 1}, {255, 2}, {2, 3}}), nullptr},
        {"stored", stored, nullptr},
        {"511 bytes", rll({{255, 1}, {255, 2}, {1, 3}}), "targetLen == GetBytesPerSector()"},
        {"513 bytes", rll({{255, 1}, {255, 2}, {3, 3}}), "targetLen == GetBytesPerSector()"},
        {"far too long", rll({{255, 1}, {255, 2}, {255, 3}, {255, 4}}), "targetLen == GetBytesPerSector()"},
        {"length 3 kind 1", head(3, 1), "targetLen == GetBytesPerSector()"},
        {"odd payload", rll({{255, 1}, {255, 2}, {2, 3}}, 1), "s == sourceEnd"},
        {"kind 2", kind2, "Invalid compression kind"},
        {"short stored", shortStored, "payloadLength == GetBytesPerSector()"},
        {"length 2", head(2, 1), "recordLength >= kRecordHeadSize && recordLength <= GetBytesPerSector() + kRecordHeadSize"},
        {"length 516", [&] { auto r = stored; r[1] = 4; r.push_back(0); return r; }(),
         "recordLength >= kRecordHeadSize && recordLength <= GetBytesPerSector() + kRecordHeadSize"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SectorFileWriter writer(512, 4);
        writer.AddRecord(1, c.record);
        TempFile file("rec.sf");
        writer.Save(file.path);
        SectorFile reader(file.Wide(), true);
        // The record's sector sits between two guarded sectors of the caller's buffer.
        std::vector<uint8_t> buffer(3 * 512, 0xEE);
        const std::string text = CheckText([&] { reader.Read(1, 1, buffer.data() + 512); });
        EXPECT_EQ(text, c.text ? c.text : "no failure");
        for (size_t i = 0; i < 512; ++i) {
            ASSERT_EQ(buffer[i], 0xEE);
            ASSERT_EQ(buffer[1024 + i], 0xEE) << "decompression wrote past the sector";
        }
    }
}

TEST(SectorFile, CorruptFieldsFailCleanly) {
    SectorFileWriter writer(512, 16);
    writer.SetVersion(4);
    for (uint64_t s = 0; s < 4; ++s) writer.AddSector(s, Pattern(512, s, s == 1));
    writer.AddBadSector(9);
    SectorFileWriter::Layout layout;
    const std::vector<uint8_t> good = writer.Build(&layout);
    const uint64_t firstEntry = layout.mapOffset + SectorFile::kSignatureLength;
    const struct {
        const char* name;
        std::function<void(std::vector<uint8_t>&)> damage;
    } cases[] = {
        {"map count past end", [](auto& f) { PutBigEndian(f, 0x16, 0xFFFFFFFF, 4); }},
        // 7 entries need 112 bytes; the map's 64 and the bad-sector block's 42 are there.
        {"map count just past end", [](auto& f) { PutBigEndian(f, 0x16, 7, 4); }},
        {"map offset past end", [&](auto& f) { PutBigEndian(f, 0x1A, f.size() + 1, 8); }},
        {"map offset wraps", [](auto& f) { PutBigEndian(f, 0x1A, UINT64_MAX - 3, 8); }},
        {"sector size 0", [](auto& f) { PutBigEndian(f, 0x0A, 0, 4); }},
        {"sector size 65537", [](auto& f) { PutBigEndian(f, 0x0A, 65537, 4); }},
        {"version 5", [](auto& f) { PutBigEndian(f, 0x22, 5, 4); }},
        {"truncated header", [](auto& f) { f.resize(30); }},
        {"truncated v4 header", [](auto& f) { f.resize(0x40); }},
        {"bad-sector block past end", [](auto& f) { PutBigEndian(f, 0x41, f.size() - 4, 8); }},
        {"bad-sector count past end", [&](auto& f) { PutBigEndian(f, layout.badSectorOffset + 10, 1ull << 60, 8); }},
        {"record offset past end", [&](auto& f) { PutLittleEndian(f, firstEntry + 8, f.size() - 1, 8); }},
        {"record offset wraps", [&](auto& f) { PutLittleEndian(f, firstEntry + 8, UINT64_MAX >> 1, 8); }},
        {"record length past end",
         [&](auto& f) { PutLittleEndian(f, firstEntry + 8, layout.badSectorOffset + 20, 8); }},
        {"raw file record past end",
         [&](auto& f) {
             f[0x26] = 0;
             PutLittleEndian(f, firstEntry + 8, f.size() - 100, 8);
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<uint8_t> bytes = good;
        c.damage(bytes);
        TempFile file("corrupt.sf");
        WriteFileBytes(file.path, bytes);
        EXPECT_THROW(
            {
                SectorFile reader(file.Wide(), true);
                ReadAll(reader, 0, 4);
            },
            AssertionFailure);
    }
}

TEST(SectorFile, UnsortedMapStillFindsEverySector) {
    SectorFileWriter writer(512, 4);
    writer.AddSector(1, Pattern(512, 1, false));
    writer.AddSector(3, Pattern(512, 3, true));
    SectorFileWriter::Layout layout;
    std::vector<uint8_t> bytes = writer.Build(&layout);
    const uint64_t first = layout.mapOffset + SectorFile::kSignatureLength;
    std::swap_ranges(bytes.begin() + first, bytes.begin() + first + 16, bytes.begin() + first + 16);
    TempFile file("unsorted.sf");
    WriteFileBytes(file.path, bytes);
    SectorFile reader(file.Wide(), true);
    EXPECT_EQ(ReadAll(reader, 1, 1), Pattern(512, 1, false));
    EXPECT_EQ(ReadAll(reader, 3, 1), Pattern(512, 3, true));
    EXPECT_EQ(ReadAll(reader, 2, 1), std::vector<uint8_t>(512, 0));
}

TEST(SectorFile, LargeMapsLoadInBulk) {
    // Even sectors share one raw record, odd sectors are fill entries.
    for (uint64_t entries : {1000000ull, 2200000ull}) {
        SCOPED_TRACE(entries);
        std::vector<uint8_t> bytes(SectorFile::kHeaderSizeV3, 0);
        std::memcpy(bytes.data(), SectorFile::kSignature, SectorFile::kSignatureLength);
        PutBigEndian(bytes, 0x0A, 512, 4);
        PutBigEndian(bytes, 0x0E, entries + 10, 8);
        PutBigEndian(bytes, 0x16, entries, 4);
        PutBigEndian(bytes, 0x22, 3, 4);
        const auto sector = Pattern(512, 9, false);
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
        TempFile file("big.sf");
        WriteFileBytes(file.path, bytes);
        bytes.clear();

        const auto start = std::chrono::steady_clock::now();
        SectorFile reader(file.Wide(), true);
        const auto ms =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
        std::cout << "[          ] opened " << entries << " map entries in " << ms << " ms, "
                  << reader.GetFileReadCount() << " reads\n";
        ASSERT_EQ(reader.GetSectorMap().size(), entries);
        // Two header reads (fixed part, then the version 3 header), the map
        // signature, and the entries: one read, or one per 1,024 entries.
        const uint64_t mapReads = entries < SectorFile::kSingleReadMapEntries ? 1 : (entries + 1023) / 1024;
        EXPECT_EQ(reader.GetFileReadCount(), 3 + mapReads);
        EXPECT_EQ(ReadAll(reader, entries - 2, 1), sector);
        EXPECT_EQ(ReadAll(reader, entries - 1, 1), std::vector<uint8_t>(512, 0));
        EXPECT_EQ(ReadAll(reader, 1000, 3), ReadAll(reader, 1002, 3));
    }
}

TEST(SectorFile, ImageRoundTripKeepsOnlyNonZeroSectors) {
    const uint64_t sectors = 3000;  // spans more than one 1 MiB chunk of the image reader
    std::vector<uint8_t> image(sectors * 512, 0);
    for (uint64_t s : {0ull, 1ull, 2047ull, 2048ull, 2999ull}) {
        const auto bytes = Pattern(512, s, s % 2 == 0);
        std::memcpy(image.data() + s * 512, bytes.data(), 512);
    }
    image.push_back(0x77);  // a partial sector at the end is not part of the disk
    TempFile imageFile("disk.img");
    WriteFileBytes(imageFile.path, image);
    image.pop_back();

    SectorFileWriter writer(512, 0);
    writer.SetOmitZeroSectors(true);
    ASSERT_EQ(writer.AddImage(imageFile.path), sectors);
    writer.SetSectorCount(sectors);
    EXPECT_EQ(writer.GetMappedCount(), 5u);
    TempFile file("disk.sf");
    writer.Save(file.path);
    SectorFile reader(file.Wide(), true);
    EXPECT_EQ(reader.GetSectorCount(), sectors);
    EXPECT_EQ(ReadAll(reader, 0, sectors), image);
}

TEST(SectorFile, BundledSamplesHoldTheirPartitionTables) {
    const struct {
        const char* name;
        uint64_t sectors;
        uint64_t gptSector;  // 0: an MBR disk
    } samples[] = {{"mbr-disk.sf", 163840, 0}, {"gpt-disk.sf", 163840, 1}};
    for (const auto& sample : samples) {
        SCOPED_TRACE(sample.name);
        const std::string path = std::string(LAYSCAN_SOURCE_DIR) + "/samples/" + sample.name;
        if (!std::filesystem::exists(path)) GTEST_SKIP() << path << " is missing";
        SectorFile reader(Widen(path), true);
        EXPECT_EQ(reader.GetBytesPerSector(), 512u);
        EXPECT_EQ(reader.GetSectorCount(), sample.sectors);
        const std::vector<uint8_t> mbr = ReadAll(reader, 0, 1);
        EXPECT_EQ(mbr[510], 0x55);
        EXPECT_EQ(mbr[511], 0xAA);
        if (sample.gptSector) {
            EXPECT_EQ(mbr[0x1C2], 0xEE) << "protective MBR";
            const std::vector<uint8_t> header = ReadAll(reader, sample.gptSector, 1);
            EXPECT_EQ(std::string(header.begin(), header.begin() + 8), "EFI PART");
        } else {
            EXPECT_EQ(mbr[0x1C2 + 16 * 2], 0x05) << "third entry is the extended partition";
        }
    }
}

TEST(SectorFile, RandomDamageNeverCrashes) {
    SectorFileWriter writer(512, 32);
    for (uint64_t s = 0; s < 32; s += 3) writer.AddSector(s, Pattern(512, s, s % 2 == 0));
    writer.AddFillSector(4);
    writer.AddBadSector(31);
    const std::vector<uint8_t> good = writer.Build();
    TempFile file("random.sf");
    uint32_t state = 12345;
    auto next = [&] { return state = state * 1103515245u + 12345u; };
    int opened = 0;
    for (int round = 0; round < 300; ++round) {
        std::vector<uint8_t> bytes = good;
        for (int flips = 1 + next() % 4; flips > 0; --flips) {
            // Half the damage goes to the header, where the sizes and offsets are.
            const size_t at = next() % 2 ? next() % SectorFile::kHeaderSizeV4 : next() % bytes.size();
            bytes[at] = static_cast<uint8_t>(next() >> 16);
        }
        WriteFileBytes(file.path, bytes);
        try {
            SectorFile reader(file.Wide(), true);
            ++opened;
            const uint64_t count = std::min<uint64_t>(reader.GetSectorCount(), 32);
            if (reader.GetBytesPerSector() * count <= (1u << 22)) ReadAll(reader, 0, count);
        } catch (const AssertionFailure&) {
        } catch (const Result&) {
        }
    }
    EXPECT_GT(opened, 0);
}
