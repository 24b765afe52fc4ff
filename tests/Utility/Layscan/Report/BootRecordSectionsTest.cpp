#include <gtest/gtest.h>

#include <regex>

#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Report/EpbrChainSection.h"
#include "Utility/Layscan/Report/MbrBootRecordSection.h"
#include "Utility/Layscan/Model/MbrDisk.h"
#include "support/CapturedReport.h"
#include "support/GoldenFile.h"
#include "support/MbrImage.h"

using nsLayout::DiskInfo;

// The MBR and EPBR sections without their sector dumps. Every type the model
// walks as an extended partition is labelled as one in the MBR; the 0x85 and
// 0x0F entries start chains of their own, whose first EPBRs here are empty.
TEST(BootRecordSections, HeadingsAndEntryRows) {
    mbrimage::Disk disk(100000);
    disk.Entry(0, 0, 0x07, 2048, 1000).Entry(0, 1, 0x05, 10000, 20000).Entry(0, 2, 0x85, 40000, 100);
    disk.Entry(0, 3, 0x0F, 50000, 100);
    // One EPBR with a logical, a link and a Linux extended entry that is no link.
    disk.ChainEpbr(10000, 10000, 63, 500, 12000).Entry(10000, 2, 0x85, 1000, 10, 10000);
    disk.ChainEpbr(10000, 12000, 63, 500, 0, 0x0B);
    const nsLayout::MbrDisk model(disk.Provider(), Geometry::Translation(512, 100000));
    CapturedReport master, protective, chain;
    WriteMasterBootRecordSection(model.GetSectorCopies(), *model.GetMbr(), 7, MbrRole::Master, master.Stream());
    WriteMasterBootRecordSection(model.GetSectorCopies(), *model.GetMbr(), 7, MbrRole::Protective,
                                 protective.Stream());
    WriteEpbrChainSection(model, DiskInfo::Make(7, 512, {}), chain.Stream());
    std::string text;
    for (const auto& line : golden::Lines(master.Narrow() + chain.Narrow()))
        if (!std::regex_match(line, std::regex(" *[0-9A-F]+:  .*"))) text += line + "\n";
    golden::ExpectMatches("boot-record-sections.txt", text);
    EXPECT_EQ(std::regex_replace(protective.Narrow(), std::regex("Protective MBR"), "Master Boot Record"),
              master.Narrow());
}

TEST(BootRecordSections, DumpShowsTheSectorAsTheRecordReadIt) {
    mbrimage::Disk disk(10000);
    disk.Entry(0, 0, 0x07, 2048, 1000);
    const nsLayout::MbrDisk model(disk.Provider(), Geometry::Translation(512, 10000));
    // The disk changes after the model was read.
    disk.Provider().Sector(0)[0] = 0xEB;
    disk.Provider().Sector(0)[446 + 4] = 0x0C;
    CapturedReport report;
    WriteMasterBootRecordSection(model.GetSectorCopies(), *model.GetMbr(), 0, MbrRole::Master, report.Stream());
    EXPECT_NE(report.Narrow().find("\n     0:  00 00 00 00"), std::string::npos) << report.Narrow();
    EXPECT_NE(report.Narrow().find("\n   1C0:  21 00 07 "), std::string::npos) << report.Narrow();
}
