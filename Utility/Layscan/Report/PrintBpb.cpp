#include "Utility/Layscan/Report/PrintBpb.h"

#include <algorithm>
#include <iomanip>
#include <string>

#include "Base/Dev/MemBufferHandle.h"
#include "Base/Dev/Result.h"
#include "Utility/Layscan/OnDisk/Bpb34.h"
#include "Utility/Layscan/OnDisk/Bpb40.h"
#include "Utility/Layscan/OnDisk/Bpb70.h"
#include "Utility/Layscan/OnDisk/BpbExFat.h"
#include "Utility/Layscan/OnDisk/BpbKind.h"
#include "Utility/Layscan/OnDisk/BpbNt.h"
#include "Utility/Layscan/Report/ReportPrimitives.h"

namespace {

const wchar_t kFileSystem[] = L"File System: ";

// Leaves the stream decimal and blank-filled for whoever writes next, also
// when a listing ends early.
class DecimalOnExit {
public:
    explicit DecimalOnExit(std::wostream& out) : mOut(out) {}
    ~DecimalOnExit() { mOut << std::dec << std::setfill(L' '); }
    DecimalOnExit(const DecimalOnExit&) = delete;
    DecimalOnExit& operator=(const DecimalOnExit&) = delete;

private:
    std::wostream& mOut;
};

// Upper-case hexadecimal, at least `width` digits, "0"-filled on the left.
void Hex(std::wostream& out, uint64_t value, int width) {
    out << std::hex << std::uppercase << std::setfill(L'0') << std::setw(width) << value;
}

void Dec(std::wostream& out, uint64_t value) { out << std::dec << value; }

void Hex0x(std::wostream& out, uint64_t value, int width) {
    out << L"0x";
    Hex(out, value, width);
}

// The decimal value followed by its hexadecimal form in parentheses.
void DecHex(std::wostream& out, uint64_t value, int width) {
    Dec(out, value);
    out << L" (0x";
    Hex(out, value, width);
    out << L")";
}

void Text(std::wostream& out, const std::string& raw) { out << Widen(raw); }

void EndLine(std::wostream& out) { out << L"\n"; }

// Lines 1 and 2 of both the common and the exFAT listing.
void WriteJumpAndOemName(std::wostream& out, const uint8_t (&jump)[3], const std::string& oemName) {
    out << L" 1. Jump:                    ";
    for (int i = 0; i < 3; ++i) {
        if (i) out << L" ";
        Hex(out, jump[i], 2);
    }
    EndLine(out);
    out << L" 2. OEM Name:                ";
    Text(out, oemName);
    EndLine(out);
}

void WriteBpb34(std::wostream& out, const OnDiskBpb34& bpb) {
    uint8_t jump[3];
    bpb.GetJump(jump, 0, UINT64_MAX);
    WriteJumpAndOemName(out, jump, bpb.GetOemName());
    out << L" 3. Bytes per Sector:        ";
    Dec(out, bpb.GetBytesPerSector());
    EndLine(out);
    out << L" 4. Sectors per Cluster:     ";
    Dec(out, bpb.GetSectorsPerCluster());
    EndLine(out);
    out << L" 5. Reserved Sectors:        ";
    Dec(out, bpb.GetReservedSectors());
    EndLine(out);
    out << L" 6. Number of FATs:          ";
    Dec(out, bpb.GetNumberOfFats());
    EndLine(out);
    out << L" 7. Root Dir Entries:        ";
    Dec(out, bpb.GetRootDirEntries());
    EndLine(out);
    out << L" 8. Total Sectors:           ";
    Dec(out, bpb.GetTotalSectors());
    EndLine(out);
    out << L" 9. Media Descriptor:        ";
    Hex(out, bpb.GetMediaDescriptor(), 2);
    EndLine(out);
    out << L"10. Sectors per FAT:         ";
    Dec(out, bpb.GetSectorsPerFat());
    EndLine(out);
    out << L"11. Sectors per Track:       ";
    DecHex(out, bpb.GetSectorsPerTrack(), 4);
    EndLine(out);
    out << L"12. Number of Heads:         ";
    DecHex(out, bpb.GetNumberOfHeads(), 4);
    EndLine(out);
    out << L"13. Hidden Sectors:          ";
    DecHex(out, bpb.GetHiddenSectors(), 8);
    EndLine(out);
    out << L"14. Total Sectors (>32 MB):  ";
    DecHex(out, bpb.GetTotalSectorsLarge(), 8);
    EndLine(out);
}

void WriteBpb40(std::wostream& out, const OnDiskBpb40& bpb) {
    out << kFileSystem;
    Text(out, bpb.GetFileSystemType());
    out << L"    (BPB Version 4.0)\n" << RuleEquals84;
    WriteBpb34(out, bpb.GetBpb34());
    out << L"15. Disk Unit Number:        ";
    Dec(out, bpb.GetDiskUnitNumber());
    EndLine(out);
    out << L"16. ChkDsk Flags:            ";
    Hex0x(out, bpb.GetChkDskFlags(), 2);
    EndLine(out);
    out << L"17. Signature Byte:          ";
    Hex0x(out, bpb.GetSignatureByte(), 2);
    EndLine(out);
    out << L"18. Volume Serical Number:   ";
    Hex0x(out, bpb.GetVolumeSerialNumber(), 8);
    EndLine(out);
    out << L"19. Volume Label:            ";
    Text(out, bpb.GetVolumeLabel());
    EndLine(out);
    out << L"20. File System Type:        ";
    Text(out, bpb.GetFileSystemType());
    EndLine(out);
    out << L"21. Reserved:                ";
    Hex0x(out, bpb.GetReserved(), 8);
    EndLine(out);
}

void WriteBpb70(std::wostream& out, const OnDiskBpb70& bpb) {
    out << kFileSystem;
    Text(out, bpb.GetFileSystemType());
    out << L"    (BPB Version 7.0)\n" << RuleEquals84;
    WriteBpb34(out, bpb.GetBpb34());
    out << L"15. Sectors per FAT Ext:     ";
    Dec(out, bpb.GetSectorsPerFatExt());
    EndLine(out);
    out << L"16. FAT Flags:               ";
    Hex0x(out, bpb.GetFatFlags(), 4);
    EndLine(out);
    out << L"17. File System Version:     ";
    Dec(out, bpb.GetFileSystemVersion());
    EndLine(out);
    out << L"18. First Cluster of Root:   ";
    DecHex(out, bpb.GetFirstClusterOfRoot(), 4);
    EndLine(out);
    out << L"19. File System Info Sector: ";
    Dec(out, bpb.GetFileSystemInfoSector());
    EndLine(out);
    out << L"20. Backup Boot Sector:      ";
    Dec(out, bpb.GetBackupBootSector());
    EndLine(out);
    out << L"21. Reserved:                ";
    uint8_t reserved[12];
    bpb.GetReserved(reserved, 0, UINT64_MAX);
    for (uint8_t b : reserved) {
        Hex(out, b, 2);
        out << L" ";
    }
    EndLine(out);
    out << L"22. Disk Unit Number:        ";
    Dec(out, bpb.GetDiskUnitNumber());
    out << L"  (0x";
    Hex(out, bpb.GetDiskUnitNumber(), 2);
    out << L")";
    EndLine(out);
    out << L"23. Reserved For NT:         ";
    Hex0x(out, bpb.GetReservedForNt(), 2);
    EndLine(out);
    out << L"24. Extended Boot Sig:       ";
    Hex0x(out, bpb.GetExtendedBootSignature(), 2);
    EndLine(out);
    out << L"25. Serial Number:           ";
    Hex0x(out, bpb.GetSerialNumber(), 8);
    EndLine(out);
    out << L"26: Volume Name:             ";
    Text(out, bpb.GetVolumeName());
    EndLine(out);
    out << L"27: File System Type:        ";
    Text(out, bpb.GetFileSystemType());
    EndLine(out);
}

void WriteBpbNt(std::wostream& out, const OnDiskBpbNt& bpb) {
    out << kFileSystem << L"NTFS    (BPB NT Version)\n" << RuleEquals84;
    WriteBpb34(out, bpb.GetBpb34());
    out << L"15. Disk Unit Number:        ";
    DecHex(out, bpb.GetDiskUnitNumber(), 2);
    EndLine(out);
    out << L"16. Reserved For NT:         ";
    Hex0x(out, bpb.GetReservedForNt(), 2);
    EndLine(out);
    out << L"17. Extended Boot Sig:       ";
    Hex0x(out, bpb.GetExtendedBootSignature(), 2);
    EndLine(out);
    out << L"18. Reserved:                ";
    Hex0x(out, bpb.GetReserved(), 2);
    EndLine(out);
    out << L"19. Total NTFS Sectors:      ";
    Dec(out, bpb.GetTotalNtfsSectors());
    EndLine(out);
    out << L"20: MFT Start Cluster:       ";
    Dec(out, bpb.GetMftStartCluster());
    EndLine(out);
    out << L"21: MFT Mirror Start Clust:  ";
    Dec(out, bpb.GetMftMirrorStartCluster());
    EndLine(out);
    // Item 22 shows the MFT start cluster a second time; the listing has
    // always read it so and readers compare reports across versions.
    out << L"22: MFT First Cluster:       ";
    Dec(out, bpb.GetMftStartCluster());
    EndLine(out);
    out << L"23: Clusters per FRS:        ";
    Dec(out, bpb.GetClustersPerFileRecordSegment());
    EndLine(out);
    out << L"24: Clusters per Index Blk:  ";
    Dec(out, bpb.GetClustersPerIndexBlock());
    EndLine(out);
    out << L"25: Serical Number:          ";
    Hex0x(out, bpb.GetVolumeSerialNumber(), 8);
    EndLine(out);
    out << L"26: Checksum:                ";
    DecHex(out, bpb.GetChecksum(), 8);
    EndLine(out);
}

void WriteBpbExFat(std::wostream& out, const OnDiskBpbExFat& bpb) {
    out << kFileSystem << L"exFAT   (BPB exFAT Version)\n" << RuleEquals84;
    uint8_t jump[3];
    bpb.GetJump(jump, 0, UINT64_MAX);
    WriteJumpAndOemName(out, jump, bpb.GetOemName());
    out << L" 3. Start Sector:            ";
    Dec(out, bpb.GetPartitionOffset());
    EndLine(out);
    out << L" 4. Sector Count:            ";
    Dec(out, bpb.GetVolumeLength());
    EndLine(out);
    out << L" 5. FAT Table:               ";
    Dec(out, bpb.GetFatOffset());
    EndLine(out);
    out << L" 6. Reserved Sectors:        ";
    Dec(out, bpb.GetClusterHeapOffset());
    EndLine(out);
    out << L" 7. Cluster Count:           ";
    Dec(out, bpb.GetClusterCount());
    EndLine(out);
    // Volume length over cluster count; a damaged sector with no clusters
    // shows 0 rather than stopping the report.
    out << L" 7. Sectors Per Cluster:     ";
    uint64_t clusters = bpb.GetClusterCount();
    Dec(out, clusters ? bpb.GetVolumeLength() / clusters : 0);
    EndLine(out);
    out << L" 8: Serical Number:          ";
    Hex0x(out, bpb.GetVolumeSerialNumber(), 8);
    EndLine(out);
}

}  // namespace

void PrintBpbSector(const uint8_t* sector, size_t size, std::wostream& out) {
    BpbKind kind = DetectBpbKind(sector, size);
    if (kind == BpbKind::None) return;
    DecimalOnExit restore(out);
    // The views read from a buffer of at least a full boot sector, so a
    // short sector reads zeros past its end instead of failing.
    auto buffer = MemoryBuffer::Create(std::max<uint64_t>(size, OnDiskBpbExFat::kSize));
    buffer->Write(sector, 0, size);
    switch (kind) {
        case BpbKind::Fat32:
            WriteBpb70(out, OnDiskBpb70(buffer, 0));
            break;
        case BpbKind::Fat1216:
            WriteBpb40(out, OnDiskBpb40(buffer, 0));
            break;
        case BpbKind::Ntfs:
            WriteBpbNt(out, OnDiskBpbNt(buffer, 0));
            break;
        case BpbKind::ExFat:
            WriteBpbExFat(out, OnDiskBpbExFat(buffer, 0));
            break;
        case BpbKind::Fallback:
            out << L"BPB Version not recognized, using Microsoft BPB Version 3.4\n";
            WriteBpb34(out, OnDiskBpb34(buffer, 0));
            break;
        case BpbKind::None:
            break;
    }
}
