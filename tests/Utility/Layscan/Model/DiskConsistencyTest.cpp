// The consistency checks of -verify on the bundled samples and on small hand-made
// GPT disks, each changed in memory as its case in tests/golden/consistency-cases.txt
// says; consistency-sections.txt holds the section each gives. The report
// before a section must be the plain report, byte for byte.

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "SectorBuffer/Dev/SectorFile.h"
#include "support/CapturedReport.h"
#include "support/GoldenFile.h"
#include "support/GptTestImage.h"
#include "support/SparseSectorProvider.h"

namespace {

// One step of a case, in the words tests/golden/consistency-cases.txt lists; an offset may run into
// later sectors.
void Apply(SparseSectorProvider& disk, const std::string& step) {
    std::istringstream in(step);
    std::string op, value;
    uint64_t a = 0, b = 0, c = 0, d = 0, n = 0;
    auto at = [&](uint64_t lba, uint64_t offset) -> uint8_t& {
        return disk.Sector(lba + offset / disk.GetBytesPerSector())[offset % disk.GetBytesPerSector()];
    };
    in >> op;
    if (op == "sample" && in >> value) {
        SectorFile file(Widen(LAYSCAN_SOURCE_DIR "/samples/" + value), true);
        disk = SparseSectorProvider(file.GetSectorCount(), file.GetBytesPerSector());
        for (const SectorFile::MapEntry& e : file.GetSectorMap()) file.Read(e.sector, 1, disk.Sector(e.sector).data());
    } else if (op == "synthetic" && in >> a >> b) {
        // Appended piece by piece: GCC 12 warns falsely (-Wrestrict) on "#" + string.
        const std::string shape = std::string("#").append(std::to_string(b)).append("/").append(std::to_string(a));
        disk = SparseSectorProvider(gpttest::Build(shape).bytes, uint32_t(a));
    } else if (op == "sectors" && in >> a) {
        disk.SetSectorCount(a);
    } else if (op == "put" && in >> a >> b >> c >> value) {
        for (uint64_t i = 0, v = std::stoull(value, nullptr, 0); i < c; ++i) at(a, b + i) = uint8_t(v >> 8 * i);
    } else if (op == "copy" && in >> a >> b >> c >> d >> n) {
        for (uint64_t i = 0; i < n; ++i) at(c, d + i) = at(a, b + i);
    } else {
        ADD_FAILURE() << "not a step: " << step;
    }
}

// The -verify section of the disk's report, and how the report ends when it ends early.
std::string Section(SparseSectorProvider& disk) {
    DiskInfo info = DiskInfo::Make(0, disk.GetBytesPerSector(), {});
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
    SparseSectorProvider disk(0);
    auto close = [&] {
        if (!name.empty()) text += "== " + name + "\n" + Section(disk);
    };
    for (const std::string& line : golden::Lines(cases)) {
        if (line.starts_with("== ")) {
            close();
            name = line.substr(3), disk = SparseSectorProvider(0);
        } else if (!line.empty() && line[0] != '#') {
            Apply(disk, line);
        }
    }
    close();
    golden::ExpectMatches("consistency-sections.txt", text);
}
