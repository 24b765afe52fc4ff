#pragma once
// Disk images for the GPT tests: made by sgdisk where a real tool can make
// them, or written field by field where a test needs a table no tool writes
// (other sector sizes, damaged headers, overlapping entries).

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Utility/Layscan/Crc32.h"
#include "Utility/Layscan/Guid.h"

namespace gpttest {

inline bool HaveTool(const char* name) {
#ifdef _WIN32
    (void)name;
    return false;
#else
    return std::system((std::string("command -v ") + name + " >/dev/null 2>&1").c_str()) == 0;
#endif
}

// Standard output of a shell command; empty when it could not run.
inline std::string Capture(const std::string& command) {
    std::string out;
#ifndef _WIN32
    if (FILE* p = popen((command + " 2>/dev/null").c_str(), "r")) {
        char chunk[4096];
        size_t n;
        while ((n = fread(chunk, 1, sizeof chunk, p)) > 0) out.append(chunk, n);
        pclose(p);
    }
#else
    (void)command;
#endif
    return out;
}

inline std::vector<uint8_t> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

// A fresh image of `sectors` 512-byte sectors at path, then "sgdisk <args> path".
// Returns false when sgdisk failed.
inline bool MakeSgdiskImage(const std::string& path, uint64_t sectors, const std::string& args) {
    std::filesystem::remove(path);
    {
        std::ofstream out(path, std::ios::binary);
        out.seekp(static_cast<std::streamoff>(sectors * 512 - 1));
        out.put('\0');
    }
    return std::system(("sgdisk " + args + " '" + path + "' >/dev/null 2>&1").c_str()) == 0;
}

inline void PutLe(std::vector<uint8_t>& bytes, uint64_t offset, uint64_t value, unsigned width) {
    for (unsigned i = 0; i < width; ++i) bytes.at(offset + i) = static_cast<uint8_t>(value >> (8 * i));
}

inline uint64_t GetLe(const std::vector<uint8_t>& bytes, uint64_t offset, unsigned width) {
    uint64_t v = 0;
    for (unsigned i = width; i-- > 0;) v = v << 8 | bytes.at(offset + i);
    return v;
}

// A whole disk with a protective MBR and a primary and backup table written
// field by field. Every field can be changed before Finish() sets the checksums.
struct SyntheticGpt {
    uint32_t sectorSize;
    uint64_t sectorCount;
    std::vector<uint8_t> bytes;

    static constexpr uint64_t kArrayBytes = 16384;

    SyntheticGpt(uint32_t sectorSize_, uint64_t sectorCount_)
        : sectorSize(sectorSize_), sectorCount(sectorCount_), bytes(sectorSize_ * sectorCount_) {
        bytes[510] = 0x55;
        bytes[511] = 0xAA;
        bytes[446 + 4] = 0xEE;
        PutLe(bytes, 446 + 8, 1, 4);
        PutLe(bytes, 446 + 12, sectorCount - 1 > 0xFFFFFFFF ? 0xFFFFFFFF : sectorCount - 1, 4);
        const uint64_t arraySectors = (kArrayBytes + sectorSize - 1) / sectorSize;
        WriteHeader(1, sectorCount - 1, 2);
        WriteHeader(sectorCount - 1, 1, sectorCount - 1 - arraySectors);
        firstUsable = 2 + arraySectors;
        lastUsable = sectorCount - 2 - arraySectors;
        for (uint64_t lba : {uint64_t{1}, sectorCount - 1}) {
            PutLe(bytes, Header(lba) + 40, firstUsable, 8);
            PutLe(bytes, Header(lba) + 48, lastUsable, 8);
        }
    }

    uint64_t firstUsable = 0;
    uint64_t lastUsable = 0;

    uint64_t Header(uint64_t lba) const { return lba * sectorSize; }
    uint64_t Array(uint64_t headerLba) const { return GetLe(bytes, Header(headerLba) + 72, 8) * sectorSize; }

    void WriteHeader(uint64_t myLba, uint64_t alternateLba, uint64_t arrayLba) {
        const uint64_t h = Header(myLba);
        std::memcpy(&bytes[h], "EFI PART", 8);
        PutLe(bytes, h + 8, 0x00010000, 4);
        PutLe(bytes, h + 12, 92, 4);
        PutLe(bytes, h + 24, myLba, 8);
        PutLe(bytes, h + 32, alternateLba, 8);
        for (int i = 0; i < 16; ++i) bytes[h + 56 + i] = static_cast<uint8_t>(0xD0 + i);
        PutLe(bytes, h + 72, arrayLba, 8);
        PutLe(bytes, h + 80, 128, 4);
        PutLe(bytes, h + 84, 128, 4);
    }

    // Sets slot `index` of both arrays (unique GUID derived from the index).
    void SetEntry(unsigned index, const Guid& type, uint64_t first, uint64_t last, bool uniqueGuid = true) {
        for (uint64_t lba : {uint64_t{1}, sectorCount - 1}) {
            const uint64_t e = Array(lba) + 128ull * index;
            std::memcpy(&bytes[e], type.bytes.data(), 16);
            for (int i = 0; i < 16; ++i) bytes[e + 16 + i] = uniqueGuid ? static_cast<uint8_t>(index + 1 + i) : 0;
            PutLe(bytes, e + 32, first, 8);
            PutLe(bytes, e + 40, last, 8);
        }
    }

    // Array checksum, then header checksum, of the header at lba.
    void FinishHeader(uint64_t lba) {
        const uint64_t h = Header(lba);
        const uint64_t count = GetLe(bytes, h + 80, 4) * GetLe(bytes, h + 84, 4);
        const uint64_t a = Array(lba);
        if (a + kArrayBytes <= bytes.size())
            PutLe(bytes, h + 88, Crc32(&bytes[a], count < kArrayBytes ? count : kArrayBytes), 4);
        PutLe(bytes, h + 16, 0, 4);
        const uint64_t size = GetLe(bytes, h + 12, 4);
        PutLe(bytes, h + 16, Crc32(&bytes[h], size < 512 ? size : 512), 4);
    }

    void Finish() {
        FinishHeader(1);
        FinishHeader(sectorCount - 1);
    }
};

}  // namespace gpttest
