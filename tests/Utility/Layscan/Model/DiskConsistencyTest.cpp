// The consistency checks of -verify on the bundled samples and on small hand-made
// GPT disks, each changed in memory as its case in tests/golden/consistency-cases.txt
// says; consistency-sections.txt holds the section each gives. The report
// before a section must be the plain report, byte for byte.

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "SectorBuffer/Dev/SectorFile.h"
#include "support/CapturedReport.h"
#include "support/GoldenFile.h"
#include "support/GptTestImage.h"
#include "support/SparseSectorProvider.h"

namespace {

// A disk as a case builds it: its size and the sectors it holds.
struct Disk {
    uint32_t sectorSize = 512;
    uint64_t sectorCount = 0;
    std::map<uint64_t, std::vector<uint8_t>> sectors;

    // The byte at `offset` from the start of `lba`; the offset may run into later sectors.
    uint8_t& At(uint64_t lba, uint64_t offset) {
        std::vector<uint8_t>& sector = sectors[lba + offset / sectorSize];
        sector.resize(sectorSize);
        return sector[offset % sectorSize];
    }
};

Disk Sample(const std::string& name) {
    SectorFile file(Widen(LAYSCAN_SOURCE_DIR "/samples/" + name), true);
    Disk disk{file.GetBytesPerSector(), file.GetSectorCount(), {}};
    for (const SectorFile::MapEntry& e : file.GetSectorMap()) file.Read(e.sector, 1, &disk.At(e.sector, 0));
    return disk;
}

// An empty GPT of 128 slots whose headers point at each other.
Disk Synthetic(uint32_t sectorSize, uint64_t sectorCount) {
    gpttest::SyntheticGpt gpt(sectorSize, sectorCount);
    gpt.Finish();
    Disk disk{sectorSize, sectorCount, {}};
    for (uint64_t i = 0; i < gpt.bytes.size(); ++i) disk.At(0, i) = gpt.bytes[i];
    return disk;
}

// One step of a case: "sample FILE", "synthetic SIZE COUNT", "sectors COUNT"
// (the disk grows or shrinks), "put LBA OFFSET WIDTH VALUE" (little-endian)
// or "copy LBA OFFSET TO-LBA TO-OFFSET LENGTH".
void Apply(Disk& disk, const std::string& step) {
    std::istringstream in(step);
    std::string op, value;
    uint64_t a = 0, b = 0, c = 0, d = 0, n = 0;
    in >> op;
    if (op == "sample" && in >> value) {
        disk = Sample(value);
    } else if (op == "synthetic" && in >> a >> b) {
        disk = Synthetic(static_cast<uint32_t>(a), b);
    } else if (op == "sectors" && in >> a) {
        disk.sectorCount = a;
    } else if (op == "put" && in >> a >> b >> c >> value) {
        for (uint64_t i = 0, v = std::stoull(value, nullptr, 0); i < c; ++i) disk.At(a, b + i) = uint8_t(v >> 8 * i);
    } else if (op == "copy" && in >> a >> b >> c >> d >> n) {
        for (uint64_t i = 0; i < n; ++i) disk.At(c, d + i) = disk.At(a, b + i);
    } else {
        ADD_FAILURE() << "not a step: " << step;
    }
}

// The -verify section of the disk's report, and how the report ends when it ends early.
std::string Section(const Disk& built) {
    SparseSectorProvider disk(built.sectorCount, built.sectorSize);
    for (const auto& [lba, bytes] : built.sectors)
        if (lba < built.sectorCount) disk.Write(lba, 1, bytes.data());
    DiskInfo info = DiskInfo::Make(0, built.sectorSize, {});
    const std::string plain = ReportOf(disk, info);
    info.verify = true;
    const std::string verified = ReportOf(disk, info);
    const size_t at = verified.find("\n\nConsistency Checks for Disk 0\n");
    if (at == std::string::npos) return "(no section)\n";
    const size_t end = std::min(verified.find("[the disk's report ends", at), verified.size());
    EXPECT_EQ(verified.substr(0, at) + verified.substr(end), plain);
    return verified.substr(at + 2);
}

}  // namespace

TEST(DiskConsistency, SectionsOfChangedDisks) {
    const std::string cases = golden::ReadFile(LAYSCAN_SOURCE_DIR "/tests/golden/consistency-cases.txt");
    std::string text, name;
    Disk disk;
    auto close = [&] {
        if (!name.empty()) text += "== " + name + "\n" + Section(disk);
    };
    for (const std::string& line : golden::Lines(cases)) {
        if (line.starts_with("== ")) {
            close();
            name = line.substr(3), disk = Disk{};
        } else if (!line.empty() && line[0] != '#') {
            Apply(disk, line);
        }
    }
    close();
    golden::ExpectMatches("consistency-sections.txt", text);
}
