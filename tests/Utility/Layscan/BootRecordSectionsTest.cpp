#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "Utility/Layscan/DiskInfo.h"
#include "Utility/Layscan/EpbrChainSection.h"
#include "Utility/Layscan/Geometry.h"
#include "Utility/Layscan/Mbr.h"
#include "Utility/Layscan/MbrBootRecordSection.h"
#include "Utility/Layscan/MbrDisk.h"
#include "support/CapturedReport.h"
#include "support/MbrImage.h"

namespace {

// The entry label of each "On Disk Values:" row, in order.
std::vector<std::string> EntryLabels(const std::string& text) {
    std::vector<std::string> labels;
    for (size_t at = 0; (at = text.find("On Disk Values:", at)) != std::string::npos; ++at) {
        const size_t lineStart = text.rfind('\n', at) + 1;
        std::string label = text.substr(lineStart + 3, at - lineStart - 3);
        label.erase(label.find_last_not_of(' ') + 1);
        labels.push_back(label);
    }
    return labels;
}

}  // namespace

TEST(BootRecordSections, HeadingsAndEntryLabels) {
    mbrimage::Disk disk(100000);
    disk.Entry(0, 0, 0x07, 2048, 1000).Entry(0, 1, 0x05, 10000, 20000).Entry(0, 2, 0x85, 40000, 100)
        .Entry(0, 3, 0x0F, 50000, 100);
    // One EPBR with a logical, a link and a Linux extended entry that is no link.
    disk.ChainEpbr(10000, 10000, 63, 500, 12000).Entry(10000, 2, 0x85, 1000, 10, 10000);
    disk.ChainEpbr(10000, 12000, 63, 500, 0, 0x0B);
    const nsLayout::MbrDisk model(disk.Provider(), Geometry::Translation(512, 100000));

    const struct {
        MbrRole role;
        const char* heading;
    } roles[] = {{MbrRole::Master, "Master Boot Record (Sector 0) for Disk 7\n"},
                 {MbrRole::Protective, "Protective MBR (Sector 0) for Disk 7\n"}};
    for (const auto& r : roles) {
        CapturedReport report;
        WriteMasterBootRecordSection(disk.Provider(), *model.GetMbr(), 7, r.role, report.Stream());
        const std::string text = report.Narrow();
        EXPECT_TRUE(text.starts_with("\n" + std::string(121, '=') + "\n" + r.heading)) << text;
        // Every type the model walks as an extended partition is labelled as one.
        EXPECT_EQ(EntryLabels(text), (std::vector<std::string>{"NTFS", "Extended Partition", "Extended Partition",
                                                               "Extended Partition"}));
    }

    CapturedReport chain;
    WriteEpbrChainSection(model, DiskInfo::Make(7, 512, {}), chain.Stream());
    const std::string text = chain.Narrow();
    const size_t first = text.find("Extended Partition Boot Record at Sector 10,000 for Disk 7\n");
    const size_t second = text.find("Extended Partition Boot Record at Sector 12,000 for Disk 7\n");
    ASSERT_NE(first, std::string::npos) << text;
    EXPECT_LT(first, second);
    // The 0x85 and 0x0F entries of the MBR start chains of their own, whose
    // first EPBRs here are empty sectors.
    EXPECT_LT(second, text.find("Extended Partition Boot Record at Sector 40,000 for Disk 7\n"));
    EXPECT_LT(text.find("at Sector 40,000"), text.find("Extended Partition Boot Record at Sector 50,000 for Disk 7\n"));
    std::vector<std::string> expected{"NTFS", "EPBR", "Linux Extend", "Unused", "FAT 32", "Unused", "Unused", "Unused"};
    expected.resize(16, "Unused");
    EXPECT_EQ(EntryLabels(text), expected);
}

TEST(BootRecordSections, DumpShowsTheSectorAsTheRecordReadIt) {
    mbrimage::Disk disk(10000);
    disk.Entry(0, 0, 0x07, 2048, 1000);
    const Mbr mbr(disk.Provider(), Geometry::Translation(512, 10000));
    // The disk changes after the record was read.
    disk.Provider().Sector(0)[0] = 0xEB;
    disk.Provider().Sector(0)[446 + 4] = 0x0C;
    CapturedReport report;
    WriteMasterBootRecordSection(disk.Provider(), mbr, 0, MbrRole::Master, report.Stream());
    const std::string text = report.Narrow();
    EXPECT_NE(text.find("\n     0:  00 00 00 00"), std::string::npos) << text;
    EXPECT_NE(text.find("\n   1C0:  21 00 07 "), std::string::npos) << text;
}
