// The GPT warnings, listing, sector dumps and whole reports of the disks in tests/golden/gpt-cases.txt,
// each against the golden file its group names.

#include <gtest/gtest.h>

#include <map>

#include "Utility/Layscan/Model/GptChecks.h"
#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Report/GptSection.h"
#include "Utility/Layscan/Report/GptSectorDump.h"
#include "support/CapturedReport.h"
#include "support/GoldenFile.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"

namespace {

std::string Show(const std::string& show, const std::string& layout) {
    const gpttest::SyntheticGpt g = gpttest::Build(layout);
    MemorySectorProvider sectors(g.bytes, g.sectorSize);
    const auto number = static_cast<uint16_t>(std::atoi(show.c_str() + show.find_first_not_of("hdtxr")));
    if (show[0] == 'r') return ReportOf(sectors, DiskInfo::Make(number, g.sectorSize, {}));
    CapturedReport report;
    const std::string failure = FailureOf([&] {
        const nsLayout::GptDisk disk(sectors);
        if (show.find('h') != std::string::npos) report.Stream() << nsLayout::CheckGptHeaders(disk);
        if (show.find('d') != std::string::npos) WriteGptHeaderData(disk, report.Stream());
        if (show.find('t') != std::string::npos) WriteGptPartitionTable(disk, number, report.Stream());
        if (show.find('x') != std::string::npos) DumpGptSectors(disk, number, report.Stream());
    });
    return report.Narrow() + (failure.empty() ? "" : "[fails: " + failure + "]\n");
}

}  // namespace

TEST(GptSection, CasesOfHandMadeDisks) {
    std::map<std::string, std::string> texts;
    std::string file;
    for (const auto& row : golden::Rows("gpt-cases.txt")) {
        if (row[0].starts_with("> ")) {
            texts[file = row[0].substr(2)];
            continue;
        }
        ASSERT_GE(row.size(), 3u) << row[0];
        std::string layout = row[2];
        for (size_t i = 3; i < row.size(); ++i) layout += " | " + row[i];
        texts[file] += (row[0] == "-" ? "" : "== " + row[0] + "\n") + Show(row[1], layout);
    }
    for (const auto& [name, text] : texts) golden::ExpectMatches(name, text);
}
