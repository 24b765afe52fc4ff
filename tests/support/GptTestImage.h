#pragma once
// Disks for the GPT tests: made by sgdisk where a real tool can make them, or
// written field by field where a test needs a table no tool writes (other
// sector sizes, damaged headers, overlapping entries).

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Utility/Layscan/OnDisk/Crc32.h"
#include "Utility/Layscan/OnDisk/Guid.h"
#include "support/FileBytes.h"
#include "support/VolumeImages.h"

namespace gpttest {

// An image of `sectors` 512-byte sectors at path after "sgdisk <args>"; its
// bytes, or nothing when sgdisk failed.
inline std::vector<uint8_t> SgdiskImage(const std::string& path, uint64_t sectors, const std::string& args) {
    std::ofstream(path, std::ios::binary).seekp(static_cast<std::streamoff>(sectors * 512 - 1)).put('\0');
    if (!testimages::Run("sgdisk " + args + " '" + path + "' >/dev/null")) return {};
    return testimages::ReadHead(path);
}

// A protective MBR and a primary and backup table of 128 empty slots. Change
// any field, then Finish() sets the checksums as a correct writer would.
struct SyntheticGpt {
    uint32_t sectorSize;
    uint64_t sectorCount;
    std::vector<uint8_t> bytes;

    SyntheticGpt(uint32_t size, uint64_t count) : sectorSize(size), sectorCount(count), bytes(size * count) {
        PutLittleEndian(bytes, 510, 0xAA55, 2);
        bytes[446 + 4] = 0xEE;
        WriteHeader(1, count - 1, 2);
        WriteHeader(count - 1, 1, count - 1 - (16384 + size - 1) / size);
    }

    uint64_t Array(uint64_t headerLba) const { return GetLittleEndian(bytes, headerLba * sectorSize + 72, 8) * sectorSize; }

    void WriteHeader(uint64_t myLba, uint64_t alternateLba, uint64_t arrayLba) {
        const uint64_t h = myLba * sectorSize;
        std::memcpy(&bytes[h], "EFI PART", 8);
        PutLittleEndian(bytes, h + 8, 0x00010000, 4), PutLittleEndian(bytes, h + 12, 92, 4);
        PutLittleEndian(bytes, h + 24, myLba, 8), PutLittleEndian(bytes, h + 32, alternateLba, 8), PutLittleEndian(bytes, h + 72, arrayLba, 8);
        PutLittleEndian(bytes, h + 80, 128, 4), PutLittleEndian(bytes, h + 84, 128, 4);
    }

    // Slot `index` of both arrays; the unique GUID is derived from the index.
    void SetEntry(unsigned index, const Guid& type, uint64_t first, uint64_t last, bool uniqueGuid = true) {
        for (uint64_t lba : {uint64_t{1}, sectorCount - 1}) {
            const uint64_t e = Array(lba) + 128ull * index;
            std::memcpy(&bytes[e], type.bytes.data(), 16);
            for (int i = 0; i < 16; ++i) bytes[e + 16 + i] = uniqueGuid ? static_cast<uint8_t>(index + 1 + i) : 0;
            PutLittleEndian(bytes, e + 32, first, 8), PutLittleEndian(bytes, e + 40, last, 8);
        }
    }

    // The array checksum, then the header checksum, of the header at lba.
    void FinishHeader(uint64_t lba) {
        const uint64_t h = lba * sectorSize;
        const uint64_t arrayBytes = GetLittleEndian(bytes, h + 80, 4) * GetLittleEndian(bytes, h + 84, 4);
        PutLittleEndian(bytes, h + 88, Crc32(&bytes[Array(lba)], std::min<uint64_t>(arrayBytes, 16384)), 4);
        PutLittleEndian(bytes, h + 16, 0, 4);
        PutLittleEndian(bytes, h + 16, Crc32(&bytes[h], std::min<uint64_t>(GetLittleEndian(bytes, h + 12, 4), 512)), 4);
    }

    void Finish() { FinishHeader(1), FinishHeader(sectorCount - 1); }
};

// A disk in one string of items, made in order: #COUNT[/SIZE] its size (default 1000/512);
// S:FIRST-LAST slot S of both arrays, basic data (e: EFI system, n: no unique GUID, z: no type GUID after it);
// OFF=VALUE/WIDTH[*N] a little-endian value at byte OFF (N in a row), OFF^ its lowest bit flipped,
// OFF~N N zeros, where OFF may be a sum A+B; H MY,ALT,ARRAY a fresh header at MY; fLBA that header's
// checksums. | sets both headers' checksums as a correct writer would (at the end when no | is given),
// so the items after it damage a finished disk.
inline SyntheticGpt Build(const std::string& layout) {
    unsigned long long count = 1000;
    unsigned size = 512;
    std::sscanf(layout.c_str() + std::min(layout.find('#'), layout.size()), "#%llu/%u", &count, &size);
    SyntheticGpt g(size, count);
    bool finished = false;
    std::istringstream items(layout);
    for (std::string item; items >> item;) {
        const char* p = item.c_str();
        char sep = 0;  // the character after the last number read
        auto num = [&] { char* end; const uint64_t v = std::strtoull(p, &end, 0); sep = *end, p = end + (*end != 0); return v; };
        if (*p == '#') continue;
        if (*p == '|' && !finished) {
            finished = true, g.Finish();
        } else if (*p == 'f') {
            ++p, g.FinishHeader(num());
        } else if (*p == 'H') {
            ++p;
            const uint64_t my = num(), alternate = num();
            g.WriteHeader(my, alternate, num());
        } else {
            uint64_t at = num();
            while (sep == '+') at += num();
            const char op = sep;
            if (op == ':') {
                const uint64_t first = num(), last = num();
                g.SetEntry(unsigned(at), sep == 'e' ? Guid::EfiSystemPartition() : sep == 'z' ? Guid() : Guid::BasicData(),
                           first, last, sep != 'n');
            } else if (op == '=') {
                const uint64_t value = num(), width = num(), times = sep == '*' ? num() : 1;
                for (uint64_t i = 0; i < times; ++i) PutLittleEndian(g.bytes, at + i * width, value, unsigned(width));
            } else if (op == '~') {
                std::fill_n(g.bytes.begin() + std::ptrdiff_t(at), num(), 0);
            } else if (op == '^') {
                g.bytes.at(at) ^= 1;
            } else {
                throw std::invalid_argument("not a disk item: " + item);
            }
        }
    }
    if (!finished) g.Finish();
    return g;
}

}  // namespace gpttest
