#pragma once
// Disks made to hurt: endless or looping EPBR chains, GPT headers with absurd
// counts and sizes, partitions outside the disk, images too short for a
// sector, images read with the wrong sector size, and sector files with each
// header field damaged in turn. Each case writes its file on the spot, so no
// large binary lives in the tree; how the tool ends on each is kept in
// tests/golden/hostile-disks.txt.

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "support/GptTestImage.h"
#include "support/MbrImage.h"
#include "support/SectorFileWriter.h"
#include "Utility/Layscan/OnDisk/Guid.h"

namespace hostile {

enum class Kind { Image, SectorFile };
using Maker = std::function<void(const std::string& path)>;

struct Case {
    std::string name;
    Kind kind;
    Maker make;
    uint32_t sectorSize = 0;  // given as -sectorsize when not 0
    bool largeFile = false;   // hundreds of MB: not for fuzz seeds
};

// An MBR partition entry with the translation geometry's CHS values, in the
// record at byte `record` of bytes.
inline void PutEntry(std::vector<uint8_t>& bytes, size_t record, int slot, uint8_t type, uint32_t start,
                     uint32_t count, uint64_t chsBase) {
    const size_t at = record + 446 + 16 * size_t(slot);
    bytes[at + 4] = type;
    mbrimage::Put32(bytes, at + 8, start);
    mbrimage::Put32(bytes, at + 12, count);
    mbrimage::PutChs(bytes, at + 1, mbrimage::ChsOf(chsBase + start));
    mbrimage::PutChs(bytes, at + 5, mbrimage::ChsOf(chsBase + start + (count ? count - 1 : 0)));
    bytes[record + 510] = 0x55;
    bytes[record + 511] = 0xAA;
}

// An MBR whose extended partition at 2048 holds `count` EPBRs, one every two
// sectors, each with a one-sector logical partition right behind it. The last
// EPBR links to EPBR `loopTo` when that is below count, else ends the chain.
// Written a MiB at a time, so memory stays small for any count.
inline void WriteChain(const std::string& path, uint64_t count, uint64_t loopTo = UINT64_MAX) {
    constexpr uint64_t kStart = 2048;
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    std::vector<uint8_t> block(2048 * 512);
    PutEntry(block, 0, 0, 0x05, uint32_t(kStart), uint32_t(2 * count), 0);
    file.write(reinterpret_cast<const char*>(block.data()), kStart * 512);
    for (uint64_t first = 0; first < count;) {
        const uint64_t n = std::min<uint64_t>(1024, count - first);
        std::fill(block.begin(), block.end(), 0);
        for (uint64_t i = 0; i < n; ++i) {
            const uint64_t index = first + i, next = index + 1 < count ? index + 1 : loopTo;
            PutEntry(block, 1024 * i, 0, 0x07, 1, 1, kStart + 2 * index);
            if (next < count) PutEntry(block, 1024 * i, 1, 0x05, uint32_t(2 * next), 2, kStart);
        }
        file.write(reinterpret_cast<const char*>(block.data()), std::streamsize(n * 1024));
        first += n;
    }
    file.close();
    std::filesystem::resize_file(path, (kStart + 2 * count) * 512);
}

// An MBR whose extended partition at 2048 holds `count` EPBRs, one at the
// start of each MiB, each with its logical partition 63 sectors behind it
// filling the rest of that MiB. Only the boot records are written: the file
// is sparse, its length that of the whole chain.
inline void WriteMibChain(const std::string& path, uint64_t count) {
    constexpr uint64_t kStart = 2048, kStride = 2048, kLogicalOffset = 63;
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    std::vector<uint8_t> sector(512);
    PutEntry(sector, 0, 0, 0x0F, uint32_t(kStart), uint32_t(kStride * count), 0);
    file.write(reinterpret_cast<const char*>(sector.data()), 512);
    for (uint64_t i = 0; i < count; ++i) {
        const uint64_t lba = kStart + i * kStride;
        std::fill(sector.begin(), sector.end(), 0);
        PutEntry(sector, 0, 0, 0x07, uint32_t(kLogicalOffset), uint32_t(kStride - kLogicalOffset), lba);
        if (i + 1 < count) PutEntry(sector, 0, 1, 0x05, uint32_t((i + 1) * kStride), uint32_t(kStride), kStart);
        file.seekp(std::streamoff(lba * 512));
        file.write(reinterpret_cast<const char*>(sector.data()), 512);
    }
    file.close();
    std::filesystem::resize_file(path, (kStart + count * kStride) * 512);
}

inline Maker Bytes(std::vector<uint8_t> bytes) {
    return [bytes](const std::string& path) { WriteFileBytes(path, bytes); };
}

// A small GPT disk with one basic data partition, changed by `change` before
// the checksums are set as a correct writer would, so only the absurd field is wrong.
inline Maker Gpt(std::function<void(gpttest::SyntheticGpt&)> change, uint32_t sectorSize = 512,
                 uint64_t sectorCount = 128) {
    gpttest::SyntheticGpt gpt(sectorSize, sectorCount);
    gpt.SetEntry(0, Guid::BasicData(), sectorCount / 2 - 8, sectorCount - 40);
    change(gpt);
    gpt.Finish();
    return Bytes(gpt.bytes);
}

// A header field of both GPT headers.
inline Maker GptField(uint64_t offset, uint64_t value, unsigned width) {
    return Gpt([=](gpttest::SyntheticGpt& g) {
        gpttest::PutLe(g.bytes, g.sectorSize + offset, value, width);
        gpttest::PutLe(g.bytes, (g.sectorCount - 1) * g.sectorSize + offset, value, width);
    });
}

// A sector file of a 4096-sector disk (version 4, compressed): an MBR with one
// partition, its boot sector, a fill sector and one listed bad sector; with
// one big-endian header field overwritten when width is not 0.
inline Maker SectorFileWith(uint64_t offset = 0, uint64_t value = 0, unsigned width = 0) {
    SectorFileWriter writer(512, 4096);
    std::vector<uint8_t> mbr(512), boot(512, 0x5A);
    PutEntry(mbr, 0, 0, 0x07, 2048, 2048, 0);
    writer.AddSector(0, mbr);
    boot[510] = 0x55;
    boot[511] = 0xAA;
    writer.AddSector(2048, boot);
    writer.AddFillSector(2049);
    writer.AddBadSector(4000);
    std::vector<uint8_t> bytes = writer.Build();
    if (width) PutBigEndian(bytes, offset, value, width);
    return Bytes(bytes);
}

inline std::vector<Case> Cases() {
    using G = gpttest::SyntheticGpt;
    std::vector<Case> cases;
    auto image = [&](std::string name, Maker make, uint32_t size = 0) {
        cases.push_back({std::move(name), Kind::Image, std::move(make), size});
    };
    auto file = [&](std::string name, Maker make) { cases.push_back({std::move(name), Kind::SectorFile, make}); };
    auto chain = [](uint64_t count, uint64_t loopTo) {
        return [=](const std::string& p) { WriteChain(p, count, loopTo); };
    };
    const uint64_t kMax32 = 0xFFFFFFFF, kMax64 = ~uint64_t{0};

    cases.push_back({"mbr-chain-200000", Kind::Image, chain(200000, kMax64), 0, true});
    image("mbr-chain-loop-to-first", chain(6, 0));
    image("mbr-chain-loop-to-middle", chain(6, 3));
    image("mbr-chain-loop-to-last", chain(6, 4));
    image("mbr-chain-self-link", chain(1, 0));
    image("mbr-chain-last-links-itself", chain(6, 5));

    image("image-0-bytes", Bytes({}));
    image("image-1-byte", Bytes({0x55}));
    image("image-511-bytes", Bytes(std::vector<uint8_t>(511, 0xAA)));
    std::vector<uint8_t> mbr(512);
    PutEntry(mbr, 0, 0, 0x07, 2048, 204800, 0);
    PutEntry(mbr, 0, 1, 0x05, 1, 100, 0);
    image("image-one-sector-mbr", Bytes(mbr));

    auto gptFields = [&](const std::string& name, uint64_t offset, std::initializer_list<uint64_t> values) {
        for (uint64_t n : values) image("gpt-" + name + "-" + std::to_string(n), GptField(offset, n, 4));
    };
    gptFields("entries", 80, {0, 129, kMax32});
    gptFields("entry-size", 84, {0, 8, 127, kMax32});
    gptFields("header-size", 12, {0, kMax32});
    image("gpt-entry-beyond-disk", Gpt([](G& g) { g.SetEntry(1, Guid::BasicData(), 1ull << 40, (1ull << 40) + 9); }));
    image("gpt-entry-last-below-first", Gpt([](G& g) { g.SetEntry(1, Guid::BasicData(), 100, 80); }));
    image("gpt-backup-beyond-disk", Gpt([](G& g) { gpttest::PutLe(g.bytes, g.sectorSize + 32, 1ull << 40, 8); }));
    image("gpt-array-beyond-disk", GptField(72, 1ull << 60, 8));
    image("gpt-4096-read-as-512", Gpt([](G&) {}, 4096, 64), 512);
    image("gpt-512-read-as-4096", Gpt([](G&) {}, 512, 128), 4096);

    // Sector files, each field of the big-endian header damaged in turn.
    auto damaged = [&](const std::string& name, uint64_t offset, unsigned width, std::initializer_list<uint64_t> ns) {
        for (uint64_t n : ns) file("sf-" + name + "-" + std::to_string(n), SectorFileWith(offset, n, width));
    };
    file("sf-intact", SectorFileWith());
    file("sf-signature", SectorFileWith(0, 'X', 1));
    damaged("bytes-per-sector", 0x0A, 4, {0, 1, 4096, kMax32});
    damaged("sector-count", 0x0E, 8, {0, 1, kMax64});
    damaged("map-entries", 0x16, 4, {0, 4, kMax32});
    damaged("map-offset", 0x1A, 8, {0, 0x100, kMax64});
    damaged("version", 0x22, 4, {0, 3, 5, kMax32});
    file("sf-compression-raw", SectorFileWith(0x26, 0, 1));
    damaged("bad-sector-field", 0x3D, 4, {0, kMax32});
    damaged("bad-sector-offset", 0x41, 8, {0, 0x49, kMax64});
    return cases;
}

}  // namespace hostile
