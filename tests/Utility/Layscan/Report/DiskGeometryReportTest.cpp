#include <gtest/gtest.h>

#include "Utility/Layscan/Report/DiskGeometryReport.h"
#include "Utility/Layscan/Model/Geometry.h"
#include "Utility/Layscan/Model/Mbr.h"
#include "support/CapturedReport.h"
#include "support/GoldenFile.h"
#include "support/MbrImage.h"

using nsLayout::StorageAccessAlignmentDescriptor;

// The whole text with and without the driver's alignment, then the signature
// line and the boot signature warning (its value in decimal behind "0x").
TEST(DiskGeometryReport, SignaturesAlignmentAndTheBootSignatureWarning) {
    const StorageAccessAlignmentDescriptor driver{28, 28, 64, 3, 512, 4096, 7};
    const struct {
        uint32_t diskSignature;
        uint16_t bootSignature;
        bool whole;
    } cases[] = {{0x0001A2B3, 0xAA55, true}, {0x12345678, 0x55AA, true}, {0, 0xAA55, false},
                 {0xFFFFFFFF, 0xAA55, false}, {0x10, 0x0000, false},   {0x10, 0xAA56, false}};
    std::string text;
    for (const auto& c : cases) {
        mbrimage::Disk disk(4096);
        mbrimage::Put32(disk.Provider().Sector(0), 0x1B8, c.diskSignature);
        disk.Signature(0, c.bootSignature);
        const Mbr mbr(disk.Provider(), Geometry::Translation(512, 4096));
        CapturedReport report;
        const bool withDriver = &c == &cases[0];
        WriteDiskGeometry(withDriver ? 0 : 3, mbr,
                          withDriver ? Geometry(512, 63, 121601, 255, 1953525168) : Geometry(512, 63, 1023, 254, 0),
                          L"1 MB", withDriver ? driver : StorageAccessAlignmentDescriptor{}, report.Stream());
        char head[64];
        std::snprintf(head, sizeof head, "== disk signature %X, boot signature %X\n", c.diskSignature, c.bootSignature);
        text += head;
        for (const auto& line : golden::Lines(report.Narrow()))
            if (c.whole || line.starts_with("Signature") || line.starts_with("WARNING")) text += line + "\n";
    }
    golden::ExpectMatches("disk-geometry.txt", text);
}
