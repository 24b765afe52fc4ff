#include <gtest/gtest.h>

#include <cstring>

#include "Utility/Layscan/Report/DiskGeometryReport.h"
#include "Utility/Layscan/Model/MbrDisk.h"
#include "Utility/Layscan/Report/MbrTableRow.h"
#include "support/CapturedReport.h"
#include "support/GoldenFile.h"
#include "support/MbrImage.h"


// Rows under the table header: numbers end under the last letter of their
// header word, the label starts under "System". A logical entry counts from
// its EPBR, the link from the extended partition.
TEST(MbrTableRow, RowsUnderTheHeader) {
    mbrimage::Disk disk(40000000);
    disk.Entry(0, 0, 0x07, 2048, 2097152, 0, 0x80).Entry(0, 1, 0x0F, 2099200, 30000000);
    disk.ChainEpbr(2099200, 2099200, 2048, 1000000, 3101248);
    const nsLayout::MbrDisk model(disk.Provider(), Geometry::Translation(512, 40000000));
    const nsLayout::SectorCopies& copies = model.GetSectorCopies();
    CapturedReport report;
    report.Stream() << kMbrTableHeader;
    for (uint32_t slot : {0, 1, 2}) WriteMbrTableRow(report.Stream(), copies, *model.GetMbr(), slot);
    for (uint32_t slot : {0, 1}) WriteMbrTableRow(report.Stream(), copies, *model.GetEpbrList().at(0), slot);
    golden::ExpectMatches("mbr-table-rows.txt", report.Narrow());
}

TEST(MbrTableRow, TypeLabelsReadTheFirstSectorOnlyOnTheDisk) {
    mbrimage::Disk disk(5000);
    // exFAT's boot sector at 2048 tells type 0x07 apart from NTFS.
    std::memcpy(disk.Provider().Sector(2048).data() + 3, "EXFAT   ", 8);
    disk.Entry(0, 0, 0x07, 2048, 100).Entry(0, 1, 0x07, 4000, 100).Entry(0, 2, 0x07, 5000, 100);
    disk.Entry(0, 3, 0x00, 2048, 100);  // type 0 never reads, whatever its start says
    const nsLayout::MbrDisk model(disk.Provider(), Geometry::Translation(512, 5000));
    // Slot 2 starts one past the last sector: its read failed.
    const wchar_t* labels[] = {L"exFat", L"NTFS", L"NTFS", L"Unused"};
    for (uint32_t slot = 0; slot < 4; ++slot)
        EXPECT_NO_THROW(EXPECT_EQ(PartitionTypeLabel(model.GetSectorCopies(), *model.GetMbr(), slot), labels[slot])
                        << slot);
}
