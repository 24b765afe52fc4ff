#pragma once
// Disks made to hurt: endless or looping EPBR chains, GPT headers whose
// counts and sizes are absurd, partitions outside the disk, images too short
// to hold a sector, images read with the wrong sector size, and sector files
// with each header field damaged in turn. Each case writes its file on the
// spot (large ones sparse where the file system allows), so no large binary
// lives in the tree, and states how the tool must end on it.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "support/GptTestImage.h"
#include "support/MbrImage.h"
#include "support/SectorFileWriter.h"
#include "Utility/Layscan/Guid.h"

namespace hostile {

enum class Kind { Image, SectorFile };

struct Case {
    std::string name;
    Kind kind;
    std::function<void(const std::string& path)> make;
    std::string extraArgs;       // after "-image PATH" or "-file PATH"
    int exitCode;                // what the tool must end with
    std::string consoleFragment; // must stand on the console
    std::string reportFragment;  // must stand in the report (empty: nothing asked)
    bool largeFile = false;      // hundreds of MB: not for fuzz seeds
};

// Test names and failure messages show the case by its name.
inline void PrintTo(const Case& c, std::ostream* os) { *os << c.name; }

inline void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// An MBR partition entry with the translation geometry's CHS values.
inline void PutEntry(std::vector<uint8_t>& bytes, uint64_t recordOffset, int slot, uint8_t type, uint32_t start,
                     uint32_t count, uint64_t chsBase) {
    std::vector<uint8_t> record(bytes.begin() + static_cast<std::ptrdiff_t>(recordOffset),
                                bytes.begin() + static_cast<std::ptrdiff_t>(recordOffset + 512));
    const size_t at = 446 + 16 * static_cast<size_t>(slot);
    record[at + 4] = type;
    mbrimage::Put32(record, at + 8, start);
    mbrimage::Put32(record, at + 12, count);
    mbrimage::PutChs(record, at + 1, mbrimage::ChsOf(chsBase + start));
    mbrimage::PutChs(record, at + 5, mbrimage::ChsOf(chsBase + start + (count ? count - 1 : 0)));
    record[510] = 0x55;
    record[511] = 0xAA;
    std::copy(record.begin(), record.end(), bytes.begin() + static_cast<std::ptrdiff_t>(recordOffset));
}

inline constexpr uint64_t kExtendedStart = 2048;

// An MBR whose extended partition at 2048 holds `count` EPBRs, one every two
// sectors, each with a one-sector logical partition right behind it. The last
// EPBR links to EPBR `loopTo` when that is below count, else ends the chain.
// Written front to back a MiB at a time, so memory stays small for any count.
inline void WriteChain(const std::string& path, uint64_t count, uint64_t loopTo = UINT64_MAX) {
    const uint64_t sectors = kExtendedStart + 2 * count;
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    std::vector<uint8_t> mbr(512);
    PutEntry(mbr, 0, 0, 0x05, static_cast<uint32_t>(kExtendedStart), static_cast<uint32_t>(2 * count), 0);
    file.write(reinterpret_cast<const char*>(mbr.data()), 512);
    std::vector<uint8_t> block(2048 * 512);
    file.write(reinterpret_cast<const char*>(block.data()), (kExtendedStart - 1) * 512);
    for (uint64_t first = 0; first < count;) {
        const uint64_t n = std::min<uint64_t>(1024, count - first);
        std::fill(block.begin(), block.end(), 0);
        for (uint64_t i = 0; i < n; ++i) {
            const uint64_t index = first + i;
            const uint64_t lba = kExtendedStart + 2 * index;
            PutEntry(block, 1024 * i, 0, 0x07, 1, 1, lba);
            const uint64_t next = index + 1 < count ? index + 1 : loopTo;
            if (next < count) PutEntry(block, 1024 * i, 1, 0x05, static_cast<uint32_t>(2 * next), 2, kExtendedStart);
        }
        file.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(n * 1024));
        first += n;
    }
    file.close();
    std::filesystem::resize_file(path, sectors * 512);
}

// A small GPT disk (512-byte sectors unless given) with one basic data
// partition, changed by `change` before the checksums are set as a correct
// writer would set them, so that only the absurd field is wrong.
inline std::vector<uint8_t> Gpt(const std::function<void(gpttest::SyntheticGpt&)>& change, uint32_t sectorSize = 512,
                                uint64_t sectorCount = 128) {
    gpttest::SyntheticGpt gpt(sectorSize, sectorCount);
    gpt.SetEntry(0, Guid::BasicData(), sectorCount / 2 - 8, sectorCount - 40);
    change(gpt);
    gpt.Finish();
    return gpt.bytes;
}

inline void PutHeaderField(gpttest::SyntheticGpt& gpt, uint64_t offset, uint64_t value, unsigned width) {
    gpttest::PutLe(gpt.bytes, 1 * gpt.sectorSize + offset, value, width);
    gpttest::PutLe(gpt.bytes, (gpt.sectorCount - 1) * gpt.sectorSize + offset, value, width);
}

// A sector file of a 4096-sector disk: an MBR with one partition, a boot
// sector, one listed bad sector (version 4, compressed records).
inline std::vector<uint8_t> SectorFileBytes(SectorFileWriter::Layout* layout = nullptr) {
    SectorFileWriter writer(512, 4096);
    std::vector<uint8_t> mbr(512);
    PutEntry(mbr, 0, 0, 0x07, 2048, 2048, 0);
    writer.AddSector(0, mbr);
    std::vector<uint8_t> boot(512, 0x5A);
    boot[510] = 0x55;
    boot[511] = 0xAA;
    writer.AddSector(2048, boot);
    writer.AddFillSector(2049);
    writer.AddBadSector(4000);
    return writer.Build(layout);
}

// The sector file with one big-endian header field overwritten.
inline std::function<void(const std::string&)> DamagedHeader(uint64_t offset, uint64_t value, unsigned width) {
    return [=](const std::string& path) {
        std::vector<uint8_t> bytes = SectorFileBytes();
        PutBigEndian(bytes, offset, value, width);
        WriteBytes(path, bytes);
    };
}

inline std::function<void(const std::string&)> Bytes(std::vector<uint8_t> bytes) {
    return [bytes](const std::string& path) { WriteBytes(path, bytes); };
}

inline std::function<void(const std::string&)> GptFile(const std::function<void(gpttest::SyntheticGpt&)>& change,
                                                       uint32_t sectorSize = 512, uint64_t sectorCount = 128) {
    return Bytes(Gpt(change, sectorSize, sectorCount));
}

// Console texts the rows expect.
inline const std::string kImageStart = "Getting partition information from image ";
inline const std::string kFileStart = "Getting partition information from sector file ";
inline const std::string kFileFailed = "Error: unable to open sector file ";
inline const std::string kReportFailed = "Error getting partition info:  ";

inline std::vector<Case> Cases() {
    using G = gpttest::SyntheticGpt;
    std::vector<Case> cases;
    auto image = [&](std::string name, std::function<void(const std::string&)> make, int exitCode,
                     std::string console, std::string report = "", std::string args = "") {
        cases.push_back({std::move(name), Kind::Image, std::move(make), std::move(args), exitCode, std::move(console),
                         std::move(report)});
    };
    auto file = [&](std::string name, std::function<void(const std::string&)> make, int exitCode,
                    std::string console, std::string report = "") {
        cases.push_back({std::move(name), Kind::SectorFile, std::move(make), "", exitCode, std::move(console),
                         std::move(report)});
    };

    // Long and looping chains.
    cases.push_back({"mbr-chain-200000", Kind::Image, [](const std::string& p) { WriteChain(p, 200000); }, "", 0,
                     kImageStart, "", true});
    // The walk stops where the chain comes back: the last EPBR is listed, once.
    const std::string lastOfSix = "Extended Partition Boot Record at Sector 2,058 for Disk 0";
    image("mbr-chain-loop-to-first", [](const std::string& p) { WriteChain(p, 6, 0); }, 0, kImageStart, lastOfSix);
    image("mbr-chain-loop-to-middle", [](const std::string& p) { WriteChain(p, 6, 3); }, 0, kImageStart, lastOfSix);
    image("mbr-chain-loop-to-last", [](const std::string& p) { WriteChain(p, 6, 4); }, 0, kImageStart, lastOfSix);
    image("mbr-chain-self-link", [](const std::string& p) { WriteChain(p, 1, 0); }, 0, kImageStart,
          "Extended Partition Boot Record at Sector 2,048 for Disk 0");
    image("mbr-chain-last-links-itself", [](const std::string& p) { WriteChain(p, 6, 5); }, 0, kImageStart,
          lastOfSix);

    // Images too short for a sector, and exactly one.
    image("image-0-bytes", Bytes({}), 0, kImageStart);
    image("image-1-byte", Bytes({0x55}), 0, kImageStart);
    image("image-511-bytes", Bytes(std::vector<uint8_t>(511, 0xAA)), 0, kImageStart);
    image("image-one-sector-mbr", [](const std::string& p) {
        std::vector<uint8_t> mbr(512);
        PutEntry(mbr, 0, 0, 0x07, 2048, 204800, 0);
        PutEntry(mbr, 0, 1, 0x05, 1, 100, 0);
        WriteBytes(p, mbr);
    }, 1, kReportFailed);

    // GPT headers with absurd counts and sizes.
    for (uint64_t entries : {uint64_t{0}, uint64_t{129}, uint64_t{0xFFFFFFFF}})
        image("gpt-entries-" + std::to_string(entries), GptFile([=](G& g) { PutHeaderField(g, 80, entries, 4); }),
              entries > 128, entries > 128 ? kReportFailed : kImageStart,
              entries > 128 ? "" : "WARNING: Maximum number of partition entries is not valid in GPT header. Must be 128.");
    for (uint64_t size : {uint64_t{0}, uint64_t{8}, uint64_t{127}, uint64_t{0xFFFFFFFF}})
        image("gpt-entry-size-" + std::to_string(size), GptFile([=](G& g) { PutHeaderField(g, 84, size, 4); }), 0,
              kImageStart, "WARNING:  Partition entry size is not supported.  Must be 128.");
    for (uint64_t size : {uint64_t{0}, uint64_t{0xFFFFFFFF}})
        image("gpt-header-size-" + std::to_string(size), GptFile([=](G& g) { PutHeaderField(g, 12, size, 4); }), 0,
              kImageStart, "WARNING:  Invalid GPT header size.  Must be 92.");
    // The warning is written; then the boot record section reads the
    // partition's first sector, beyond the disk, and that ends the report.
    image("gpt-entry-beyond-disk", GptFile([](G& g) { g.SetEntry(1, Guid::BasicData(), 1ull << 40, (1ull << 40) + 9); }),
          1, kReportFailed, "WARNING:  Above partition extends beyond end of disk.");
    image("gpt-entry-last-below-first", GptFile([](G& g) { g.SetEntry(1, Guid::BasicData(), 100, 80); }), 0,
          kImageStart, "WARNING:  Ending LBA before starting LBA in partition above.");
    image("gpt-backup-beyond-disk",
          GptFile([](G& g) { gpttest::PutLe(g.bytes, 1 * g.sectorSize + 32, 1ull << 40, 8); }), 1, kReportFailed);
    image("gpt-array-beyond-disk", GptFile([](G& g) { PutHeaderField(g, 72, 1ull << 60, 8); }), 1, kReportFailed);

    // The wrong sector size, both ways.
    const std::string noSignature = "WARNING: Invalid GPT signature. Must be EFI PART.";
    image("gpt-4096-read-as-512", GptFile([](G&) {}, 4096, 64), 0, kImageStart, noSignature, "-sectorsize 512");
    image("gpt-512-read-as-4096", GptFile([](G&) {}, 512, 128), 0, kImageStart, noSignature, "-sectorsize 4096");

    // Sector files, each header field damaged in turn.
    file("sf-intact", [](const std::string& p) { WriteBytes(p, SectorFileBytes()); }, 0, kFileStart,
         "Master Boot Record (Sector 0) for Disk 0");
    file("sf-signature", DamagedHeader(0, 'X', 1), 1, kFileFailed);
    for (uint64_t size : {uint64_t{0}, uint64_t{1}, uint64_t{4096}, uint64_t{0xFFFFFFFF}})
        file("sf-bytes-per-sector-" + std::to_string(size), DamagedHeader(0x0A, size, 4), 1,
             size == 0 || size > 65536 ? kFileFailed : kReportFailed);
    for (uint64_t count : {uint64_t{0}, uint64_t{1}, ~uint64_t{0}})
        // With one sector the partitions' boot sectors lie beyond the disk.
        file("sf-sector-count-" + std::to_string(count), DamagedHeader(0x0E, count, 8), count == 1,
             count == 1 ? kReportFailed : kFileStart);
    for (uint64_t entries : {uint64_t{0}, uint64_t{4}, uint64_t{0xFFFFFFFF}})
        file("sf-map-entries-" + std::to_string(entries), DamagedHeader(0x16, entries, 4), entries == 0xFFFFFFFF,
             entries == 0xFFFFFFFF ? kFileFailed : kFileStart);
    for (uint64_t offset : {uint64_t{0}, uint64_t{0x100}, ~uint64_t{0}})
        file("sf-map-offset-" + std::to_string(offset), DamagedHeader(0x1A, offset, 8), 1, kFileFailed);
    for (uint64_t version : {uint64_t{0}, uint64_t{3}, uint64_t{5}, uint64_t{0xFFFFFFFF}})
        file("sf-version-" + std::to_string(version), DamagedHeader(0x22, version, 4), version > 4,
             version > 4 ? kFileFailed : kFileStart);
    file("sf-compression-raw", DamagedHeader(0x26, 0, 1), 1, kReportFailed);
    for (uint64_t field : {uint64_t{0}, uint64_t{0xFFFFFFFF}})
        file("sf-bad-sector-field-" + std::to_string(field), DamagedHeader(0x3D, field, 4), 0, kFileStart);
    for (uint64_t offset : {uint64_t{0}, uint64_t{0x49}, ~uint64_t{0}})
        file("sf-bad-sector-offset-" + std::to_string(offset), DamagedHeader(0x41, offset, 8), 1, kFileFailed);
    return cases;
}

}  // namespace hostile
