// The MBR report, its sections, table rows, type labels and geometry for the disks of
// tests/golden/mbr-report-cases.txt, each against the golden file its group names.

#include <gtest/gtest.h>

#include <map>
#include <regex>

#include "Utility/Layscan/Model/MbrDisk.h"
#include "Utility/Layscan/Report/DiskGeometryReport.h"
#include "Utility/Layscan/Report/EpbrChainSection.h"
#include "Utility/Layscan/Report/MbrBootRecordSection.h"
#include "Utility/Layscan/Report/MbrTableRow.h"
#include "support/CapturedReport.h"
#include "support/GoldenFile.h"
#include "support/MbrImage.h"

namespace {

bool Has(const std::string& what, const std::string& word) {
    return (" " + what + " ").find(" " + word) != std::string::npos;
}

std::string Show(const std::string& what, const std::string& layout) {
    mbrimage::Disk image = mbrimage::Build(layout);
    SparseSectorProvider& disk = image.Provider();
    const Geometry translation = Geometry::Translation(disk.GetBytesPerSector(), disk.GetSectorCount());
    CapturedReport report;
    if (what.starts_with("report")) {
        unsigned number = 0, start = 0, count = 0, heads = 0, sectors = 0;
        unsigned long long cylinders = 0;
        std::sscanf(what.c_str(), "report %u", &number);
        nsLayout::ExtentList volumes;
        if (std::sscanf(what.c_str() + std::min(what.find("volume="), what.size()), "volume=%u+%u", &start, &count) == 2)
            volumes.push_back({3, start * 512ull, count * 512ull,
                               L"\\\\?\\Volume{0d15ea5e-0000-0000-0000-000000000000}\\", L"E:\\"});
        DiskInfo info = DiskInfo::Make(uint16_t(number), disk.GetBytesPerSector(), volumes);
        const char* shape = what.c_str() + std::min(what.find("shape="), what.size());
        if (std::sscanf(shape, "shape=%llu,%u,%u", &cylinders, &heads, &sectors) == 3)
            info.geometry = {cylinders, heads, sectors, 0};
        info.verify = Has(what, "verify");
        return ReportOf(disk, info);
    }
    if (what.starts_with("geometry")) {
        const bool driver = Has(what, "driver");
        WriteDiskGeometry(driver ? 0 : 3, Mbr(disk, translation),
                          driver ? Geometry(512, 63, 121601, 255, 1953525168) : Geometry(512, 63, 1023, 254, 0), L"1 MB",
                          driver ? nsLayout::StorageAccessAlignmentDescriptor{28, 28, 64, 3, 512, 4096, 7}
                                 : nsLayout::StorageAccessAlignmentDescriptor{}, report.Stream());
        std::string text;
        for (const auto& line : golden::Lines(report.Narrow()))
            if (Has(what, "whole") || line.starts_with("Signature") || line.starts_with("WARNING")) text += line + "\n";
        return text;
    }
    const nsLayout::MbrDisk model(disk, translation);
    const nsLayout::SectorCopies& copies = model.GetSectorCopies();
    if (what == "rows") {
        report.Stream() << kMbrTableHeader;
        for (uint32_t slot : {0, 1, 2}) WriteMbrTableRow(report.Stream(), copies, *model.GetMbr(), slot);
        for (uint32_t slot : {0, 1}) WriteMbrTableRow(report.Stream(), copies, *model.GetEpbrList().at(0), slot);
    } else if (const auto& mbr = *model.GetMbr(); what == "labels") {
        for (uint32_t slot = 0; slot < 4; ++slot)
            report.Stream() << slot << L": "
                            << Widen(FailureOf([&] { report.Stream() << PartitionTypeLabel(copies, mbr, slot); }))
                            << L"\n";
    } else {
        // Every dump line left out; the protective MBR is the master record under another heading.
        CapturedReport protective;
        WriteMasterBootRecordSection(copies, *model.GetMbr(), 7, MbrRole::Master, report.Stream());
        WriteMasterBootRecordSection(copies, *model.GetMbr(), 7, MbrRole::Protective, protective.Stream());
        EXPECT_EQ(std::regex_replace(protective.Narrow(), std::regex("Protective MBR"), "Master Boot Record"),
                  report.Narrow());
        WriteEpbrChainSection(model, DiskInfo::Make(7, 512, {}), report.Stream());
        std::string text;
        for (const auto& line : golden::Lines(report.Narrow()))
            if (!std::regex_match(line, std::regex(" *[0-9A-F]+:  .*"))) text += line + "\n";
        return text;
    }
    return report.Narrow();
}

}  // namespace

TEST(MbrReport, CasesOfBuiltDisks) {
    golden::ExpectCaseTable("mbr-report-cases.txt", Show);
}

// The dump shows the sector as the model read it, not as the disk holds it now.
TEST(MbrReport, DumpShowsTheSectorAsTheRecordReadIt) {
    mbrimage::Disk disk = mbrimage::Build("#10000 0.0:07:2048+1000");
    const nsLayout::MbrDisk model(disk.Provider(), Geometry::Translation(512, 10000));
    disk.Provider().Sector(0)[0] = 0xEB;
    disk.Provider().Sector(0)[446 + 4] = 0x0C;
    CapturedReport report;
    WriteMasterBootRecordSection(model.GetSectorCopies(), *model.GetMbr(), 0, MbrRole::Master, report.Stream());
    EXPECT_NE(report.Narrow().find("\n     0:  00 00 00 00"), std::string::npos) << report.Narrow();
    EXPECT_NE(report.Narrow().find("\n   1C0:  21 00 07 "), std::string::npos) << report.Narrow();
}
