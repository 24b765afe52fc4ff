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
#include "support/SparseSectorProvider.h"

namespace {

std::string Show(const std::string& show, const std::string& layout) {
    const gpttest::SyntheticGpt g = gpttest::Build(layout);
    SparseSectorProvider sectors(g.bytes, g.sectorSize);
    const auto number = static_cast<uint16_t>(std::atoi(show.c_str() + show.find_first_not_of("hdtxra")));
    if (show[0] == 'r') return ReportOf(sectors, DiskInfo::Make(number, g.sectorSize, {}));
    CapturedReport report;
    const std::string failure = FailureOf([&] {
        const nsLayout::GptDisk disk(sectors);
        if (show.find('h') != std::string::npos) report.Stream() << nsLayout::CheckGptHeaders(disk);
        if (show.find('d') != std::string::npos) WriteGptHeaderData(disk, report.Stream());
        if (show.find('t') != std::string::npos) WriteGptPartitionTable(disk, number, report.Stream());
        if (show.find('x') != std::string::npos) DumpGptSectors(disk, number, report.Stream());
        if (show.find('a') != std::string::npos) report.Stream() << disk.DetectAlignment() << L"\n";
    });
    return report.Narrow() + (failure.empty() ? "" : "[fails: " + failure + "]\n");
}

}  // namespace

TEST(GptSection, CasesOfHandMadeDisks) {
    golden::ExpectCaseTable("gpt-cases.txt", Show);
}
