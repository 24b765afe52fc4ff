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
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "support/GptTestImage.h"
#include "support/MbrImage.h"
#include "SectorBuffer/Dev/SectorFile.h"
#include "support/FileBytes.h"
#include "support/GoldenFile.h"
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

using mbrimage::PutEntry;

// An MBR whose extended partition at 2048 holds `count` EPBRs, one every `stride`
// sectors, each with a logical partition behind it: one sector on and one long
// for a stride of two; 63 sectors on and filling the rest of a wider stride (a
// MiB-aligned chain, whose extended entry is then of type 0F). The last EPBR
// links to EPBR `loopTo` when that is below count, else ends the chain. Only the
// boot records are written: the file is sparse, its length that of the whole chain.
inline void WriteChain(const std::string& path, uint64_t count, uint64_t loopTo = UINT64_MAX, uint64_t stride = 2) {
    constexpr uint64_t kStart = 2048;
    const uint64_t offset = stride > 2 ? 63 : 1;
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    std::vector<uint8_t> sector(512);
    PutEntry(sector, 0, 0, stride > 2 ? 0x0F : 0x05, uint32_t(kStart), uint32_t(stride * count), 0);
    file.write(reinterpret_cast<const char*>(sector.data()), 512);
    for (uint64_t i = 0; i < count; ++i) {
        const uint64_t lba = kStart + stride * i, next = i + 1 < count ? i + 1 : loopTo;
        std::fill(sector.begin(), sector.end(), 0);
        PutEntry(sector, 0, 0, 0x07, uint32_t(offset), uint32_t(stride - offset), lba);
        if (next < count) PutEntry(sector, 0, 1, 0x05, uint32_t(stride * next), uint32_t(stride), kStart);
        file.seekp(std::streamoff(lba * 512));
        file.write(reinterpret_cast<const char*>(sector.data()), 512);
    }
    file.close();
    std::filesystem::resize_file(path, (kStart + stride * count) * 512);
}

inline Maker Bytes(std::vector<uint8_t> bytes) {
    return [bytes](const std::string& path) { WriteFileBytes(path, bytes); };
}

// A sector file of a 4096-sector disk (version 4, compressed): an MBR with one
// partition, its boot sector, a fill sector and one listed bad sector; with
// one big-endian header field overwritten when width is not 0.
inline Maker SectorFileWith(uint64_t offset = 0, uint64_t value = 0, unsigned width = 0) {
    return [=](const std::string& path) {
        auto writer = SectorFile::Create(Widen(path), 512, 4096);
        std::vector<uint8_t> mbr(512), boot(512, 0x5A);
        PutEntry(mbr, 0, 0, 0x07, 2048, 2048, 0);
        writer->Write(0, 1, mbr.data());
        boot[510] = 0x55, boot[511] = 0xAA;
        writer->Write(2048, 1, boot.data());
        writer->WriteFill(2049);
        writer->AddBadSector(4000);
        writer->Close();
        if (width == 0) return;
        std::vector<uint8_t> bytes = ReadFileBytes(path);
        PutBigEndian(bytes, offset, value, width);
        WriteFileBytes(path, bytes);
    };
}

// The cases of tests/golden/hostile-cases.txt.
inline std::vector<Case> Cases() {
    std::vector<Case> cases;
    for (const auto& row : golden::Rows("hostile-cases.txt")) {
        std::istringstream args(row.at(2));
        uint64_t a = 0, b = UINT64_MAX, c = 0;
        args >> std::setbase(0) >> a >> b >> c;
        Case add{row[0], Kind::Image, {}, row.size() > 3 ? uint32_t(std::stoul(row[3])) : 0, row[1] == "chain large"};
        if (row[1].starts_with("chain")) {
            add.make = [=](const std::string& path) { WriteChain(path, a, b); };
        } else if (row[1] == "bytes") {
            add.make = Bytes(std::vector<uint8_t>(a, uint8_t(b)));
        } else if (row[1] == "mbr") {
            add.make = Bytes(mbrimage::Build(row[2]).Provider().Sector(0));
        } else if (row[1] == "gpt") {
            add.make = Bytes(gpttest::Build(row[2]).bytes);
        } else {
            add.kind = Kind::SectorFile;
            add.make = SectorFileWith(a, b, unsigned(c));
        }
        cases.push_back(std::move(add));
    }
    return cases;
}

}  // namespace hostile
