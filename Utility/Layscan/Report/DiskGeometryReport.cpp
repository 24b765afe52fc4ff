#include "Utility/Layscan/Report/DiskGeometryReport.h"

#include "Utility/Layscan/Report/ColumnLayout.h"
#include "Utility/Layscan/Report/FindingLog.h"
#include "Utility/Layscan/Model/Geometry.h"
#include "Utility/Layscan/Model/Mbr.h"
#include "Utility/Layscan/Report/ReportPrimitives.h"
#include "Utility/Layscan/Report/ReportStream.h"

using nsLayout::StorageAccessAlignmentDescriptor;

const std::wstring kMbrTableHeader =
    L"System               Part Table LBA   # Boot     BCyl Head Sect FS      ECyl Head Sect       StartSect         "
    L"NumSects\n";

namespace {

const wchar_t kHeading[] = L"Disk Geometry Information for Disk ";
const wchar_t kSectorCount[] = L"         Sector Count: ";
const wchar_t kCylinders[] = L"   (";
const wchar_t kHeads[] = L" Cylinders, ";
const wchar_t kSectorsPerTrack[] = L" Heads, ";
const wchar_t kShapeEnd[] = L" Sectors/Track)\n";
const wchar_t kSignature[] = L"Signature: ";
const wchar_t kPhysicalSector[] = L"Sector Size             Physical:  ";
const wchar_t kLogicalSector[] = L"             Logical:  ";
const wchar_t kDetectedSectorSize[] = L"Detected Sector Size:   ";
const wchar_t kCacheLine[] = L"Cache Line Size:        ";
const wchar_t kSectorAlignment[] = L"Byte Alignment Factors  Sector:  ";
const wchar_t kCacheAlignment[] = L"           Cache:   ";
const wchar_t kDetectedAlignment[] = L"Detected Alignment:     ";
const wchar_t kBadBootSignature[] = L"WARNING: Master Boot Record Signature is not valid, expecting 0xAA55, found 0x";

}  // namespace

void WriteDiskGeometry(uint16_t diskNumber, const Mbr& mbr, const Geometry& geometry,
                       const std::wstring& alignmentLabel, const StorageAccessAlignmentDescriptor& alignment,
                       ReportStream& stream) {
    const bool haveAlignment = alignment.Version != 0;
    std::wstring text = L"\n" + RuleEquals121;
    text += kHeading + std::to_wstring(diskNumber);
    text += kSectorCount + ColumnLayout::Count(geometry.GetSectorCount());
    text += kCylinders + ColumnLayout::Count(geometry.GetCylinderCount());
    text += kHeads + std::to_wstring(geometry.GetHeadCount());
    text += kSectorsPerTrack + std::to_wstring(geometry.GetSectorsPerTrack());
    text += kShapeEnd;
    // The disk signature carries no leading zeros: 0x0001A2B3 reads 1A2B3.
    text += kSignature + ColumnLayout::Hex(mbr.GetRecord().GetDiskSignature(), 1) + L"\n";
    if (haveAlignment) {
        text += kPhysicalSector + std::to_wstring(alignment.BytesPerPhysicalSector);
        text += kLogicalSector + std::to_wstring(alignment.BytesPerLogicalSector) + L"\n";
    }
    text += kDetectedSectorSize + std::to_wstring(geometry.GetBytesPerSector()) + L"\n";
    if (haveAlignment) {
        text += kCacheLine + std::to_wstring(alignment.BytesPerCacheLine) + L"\n";
        text += kSectorAlignment + std::to_wstring(alignment.BytesOffsetForSectorAlignment);
        text += kCacheAlignment + std::to_wstring(alignment.BytesOffsetForCacheAlignment) + L"\n";
    }
    text += kDetectedAlignment + alignmentLabel + L"\n";
    text += RuleDots121 + kMbrTableHeader + RuleEquals121;
    // The value found is written in decimal after the "0x": a swapped
    // signature reads 0x21930. Readers of this report know it that way.
    stream << text;
    const uint16_t bootSignature = mbr.GetRecord().GetSignature();
    if (bootSignature != OnDiskMbrRecord::kValidSignature)
        WriteFindings(stream, kBadBootSignature + std::to_wstring(bootSignature) + L"\n",
                      {findingstructure::kMbr, 0, {}});
}
