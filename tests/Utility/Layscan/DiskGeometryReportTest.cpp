#include <gtest/gtest.h>

#include <string>

#include "Utility/Layscan/DiskGeometryReport.h"
#include "Utility/Layscan/Geometry.h"
#include "Utility/Layscan/Mbr.h"
#include "support/CapturedReport.h"
#include "support/MbrImage.h"

namespace {

const std::string kEquals(121, '=');
const std::string kDots(121, '.');
const std::string kTableHeader =
    "System               Part Table LBA   # Boot     BCyl Head Sect FS      ECyl Head Sect       StartSect         "
    "NumSects\n";

// An MBR whose disk signature and boot signature are as given.
std::string Report(uint32_t diskSignature, uint16_t bootSignature, const Geometry& geometry,
                   const StorageAccessAlignmentDescriptor& alignment = {}, uint16_t diskNumber = 0,
                   const std::wstring& label = L"1 MB") {
    mbrimage::Disk disk(4096);
    mbrimage::Put32(disk.Provider().Sector(0), 0x1B8, diskSignature);
    disk.Signature(0, bootSignature);
    const Mbr mbr(disk.Provider(), Geometry::Translation(512, 4096));
    CapturedReport report;
    WriteDiskGeometry(diskNumber, mbr, geometry, label, alignment, report.Stream());
    return report.Narrow();
}

StorageAccessAlignmentDescriptor Descriptor() {
    StorageAccessAlignmentDescriptor d;
    d.Version = 28;
    d.Size = 28;
    d.BytesPerCacheLine = 64;
    d.BytesOffsetForCacheAlignment = 3;
    d.BytesPerLogicalSector = 512;
    d.BytesPerPhysicalSector = 4096;
    d.BytesOffsetForSectorAlignment = 7;
    return d;
}

}  // namespace

TEST(DiskGeometryReport, WholeTextWithTheDriversAlignment) {
    const Geometry geometry(512, 63, 121601, 255, 1953525168);
    EXPECT_EQ(Report(0x0001A2B3, 0xAA55, geometry, Descriptor(), 0, L"1 MB"),
              "\n" + kEquals + "\n" +
                  "Disk Geometry Information for Disk 0         Sector Count: 1,953,525,168   (121,601 Cylinders, 255 "
                  "Heads, 63 Sectors/Track)\n"
                  "Signature: 1A2B3\n"
                  "Sector Size             Physical:  4096             Logical:  512\n"
                  "Detected Sector Size:   512\n"
                  "Cache Line Size:        64\n"
                  "Byte Alignment Factors  Sector:  7           Cache:   3\n"
                  "Detected Alignment:     1 MB\n" +
                  kDots + "\n" + kTableHeader + kEquals + "\n");
}

// Without the driver's alignment only the two "Detected" lines stand between
// the signature and the dotted rule: every golden report shows that form.
TEST(DiskGeometryReport, SignaturesAndTheBootSignatureWarning) {
    const std::string warning = "WARNING: Master Boot Record Signature is not valid, expecting 0xAA55, found 0x";
    const struct {
        uint32_t diskSignature;
        uint16_t bootSignature;
        const char* signatureLine;
        const char* warningValue;  // nullptr: no warning
    } cases[] = {
        {0, 0xAA55, "Signature: 0\n", nullptr},
        {0x0001A2B3, 0xAA55, "Signature: 1A2B3\n", nullptr},
        {0xFFFFFFFF, 0xAA55, "Signature: FFFFFFFF\n", nullptr},
        // The value found is written in decimal behind the "0x".
        {0x12345678, 0x55AA, "Signature: 12345678\n", "21930"},
        {0x10, 0x0000, "Signature: 10\n", "0"},
        {0x10, 0xAA56, "Signature: 10\n", "43606"},
    };
    for (const auto& c : cases) {
        const std::string text = Report(c.diskSignature, c.bootSignature, Geometry(512, 63, 1023, 254, 0));
        EXPECT_NE(text.find(c.signatureLine), std::string::npos) << c.signatureLine;
        const std::string tail = kTableHeader + kEquals + "\n";
        if (c.warningValue)
            EXPECT_TRUE(text.ends_with(tail + warning + c.warningValue + "\n")) << text;
        else
            EXPECT_TRUE(text.ends_with(tail)) << text;
    }
}
