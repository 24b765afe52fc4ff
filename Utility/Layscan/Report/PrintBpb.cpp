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

// The decimal value followed by its hexadecimal form in parentheses.
void DecHex(std::wostream& out, uint64_t value, int width, const wchar_t* open) {
    Dec(out, value);
    out << open;
    Hex(out, value, width);
    out << L")";
}

void WriteValue(std::wostream& out, const BpbField& f) {
    switch (f.format) {
        case BpbFormat::Dec:
            return Dec(out, f.number);
        case BpbFormat::Hex2:
            return Hex(out, f.number, 2);
        case BpbFormat::Hex0x2:
        case BpbFormat::Hex0x4:
        case BpbFormat::Hex0x8:
            out << L"0x";
            return Hex(out, f.number, f.format == BpbFormat::Hex0x2 ? 2 : f.format == BpbFormat::Hex0x4 ? 4 : 8);
        case BpbFormat::DecHex2:
            return DecHex(out, f.number, 2, L" (0x");
        case BpbFormat::DecHex4:
            return DecHex(out, f.number, 4, L" (0x");
        case BpbFormat::DecHex8:
            return DecHex(out, f.number, 8, L" (0x");
        case BpbFormat::DecHex2Wide:
            return DecHex(out, f.number, 2, L"  (0x");
        case BpbFormat::Text:
            out << Widen(f.text);
            return;
        case BpbFormat::Bytes:
            for (uint8_t b : f.bytes) {
                Hex(out, b, 2);
                out << L" ";
            }
            return;
        case BpbFormat::Jump:
            for (size_t i = 0; i < f.bytes.size(); ++i) {
                if (i) out << L" ";
                Hex(out, f.bytes[i], 2);
            }
            return;
    }
}

BpbField Number(const wchar_t* label, BpbFormat format, uint64_t value) { return {label, format, value, {}, {}}; }
BpbField Text(const wchar_t* label, std::string value) { return {label, BpbFormat::Text, 0, std::move(value), {}}; }
BpbField Bytes(const wchar_t* label, BpbFormat format, std::vector<uint8_t> value) {
    return {label, format, 0, {}, std::move(value)};
}

// Lines 1 and 2 of both the common and the exFAT listing.
template <class View>
void AddJumpAndOemName(std::vector<BpbField>& fields, const View& bpb) {
    std::vector<uint8_t> jump(3);
    bpb.GetJump(jump.data(), 0, UINT64_MAX);
    fields.push_back(Bytes(L" 1. Jump:                    ", BpbFormat::Jump, std::move(jump)));
    fields.push_back(Text(L" 2. OEM Name:                ", bpb.GetOemName()));
}

void AddBpb34(std::vector<BpbField>& f, const OnDiskBpb34& bpb) {
    AddJumpAndOemName(f, bpb);
    f.push_back(Number(L" 3. Bytes per Sector:        ", BpbFormat::Dec, bpb.GetBytesPerSector()));
    f.push_back(Number(L" 4. Sectors per Cluster:     ", BpbFormat::Dec, bpb.GetSectorsPerCluster()));
    f.push_back(Number(L" 5. Reserved Sectors:        ", BpbFormat::Dec, bpb.GetReservedSectors()));
    f.push_back(Number(L" 6. Number of FATs:          ", BpbFormat::Dec, bpb.GetNumberOfFats()));
    f.push_back(Number(L" 7. Root Dir Entries:        ", BpbFormat::Dec, bpb.GetRootDirEntries()));
    f.push_back(Number(L" 8. Total Sectors:           ", BpbFormat::Dec, bpb.GetTotalSectors()));
    f.push_back(Number(L" 9. Media Descriptor:        ", BpbFormat::Hex2, bpb.GetMediaDescriptor()));
    f.push_back(Number(L"10. Sectors per FAT:         ", BpbFormat::Dec, bpb.GetSectorsPerFat()));
    f.push_back(Number(L"11. Sectors per Track:       ", BpbFormat::DecHex4, bpb.GetSectorsPerTrack()));
    f.push_back(Number(L"12. Number of Heads:         ", BpbFormat::DecHex4, bpb.GetNumberOfHeads()));
    f.push_back(Number(L"13. Hidden Sectors:          ", BpbFormat::DecHex8, bpb.GetHiddenSectors()));
    f.push_back(Number(L"14. Total Sectors (>32 MB):  ", BpbFormat::DecHex8, bpb.GetTotalSectorsLarge()));
}

void AddBpb40(BpbListing& listing, const OnDiskBpb40& bpb) {
    std::vector<BpbField>& f = listing.fields;
    listing.fileSystemType = bpb.GetFileSystemType();
    AddBpb34(f, bpb.GetBpb34());
    f.push_back(Number(L"15. Disk Unit Number:        ", BpbFormat::Dec, bpb.GetDiskUnitNumber()));
    f.push_back(Number(L"16. ChkDsk Flags:            ", BpbFormat::Hex0x2, bpb.GetChkDskFlags()));
    f.push_back(Number(L"17. Signature Byte:          ", BpbFormat::Hex0x2, bpb.GetSignatureByte()));
    f.push_back(Number(L"18. Volume Serical Number:   ", BpbFormat::Hex0x8, bpb.GetVolumeSerialNumber()));
    f.push_back(Text(L"19. Volume Label:            ", bpb.GetVolumeLabel()));
    f.push_back(Text(L"20. File System Type:        ", bpb.GetFileSystemType()));
    f.push_back(Number(L"21. Reserved:                ", BpbFormat::Hex0x8, bpb.GetReserved()));
}

void AddBpb70(BpbListing& listing, const OnDiskBpb70& bpb) {
    std::vector<BpbField>& f = listing.fields;
    listing.fileSystemType = bpb.GetFileSystemType();
    AddBpb34(f, bpb.GetBpb34());
    f.push_back(Number(L"15. Sectors per FAT Ext:     ", BpbFormat::Dec, bpb.GetSectorsPerFatExt()));
    f.push_back(Number(L"16. FAT Flags:               ", BpbFormat::Hex0x4, bpb.GetFatFlags()));
    f.push_back(Number(L"17. File System Version:     ", BpbFormat::Dec, bpb.GetFileSystemVersion()));
    f.push_back(Number(L"18. First Cluster of Root:   ", BpbFormat::DecHex4, bpb.GetFirstClusterOfRoot()));
    f.push_back(Number(L"19. File System Info Sector: ", BpbFormat::Dec, bpb.GetFileSystemInfoSector()));
    f.push_back(Number(L"20. Backup Boot Sector:      ", BpbFormat::Dec, bpb.GetBackupBootSector()));
    std::vector<uint8_t> reserved(12);
    bpb.GetReserved(reserved.data(), 0, UINT64_MAX);
    f.push_back(Bytes(L"21. Reserved:                ", BpbFormat::Bytes, std::move(reserved)));
    f.push_back(Number(L"22. Disk Unit Number:        ", BpbFormat::DecHex2Wide, bpb.GetDiskUnitNumber()));
    f.push_back(Number(L"23. Reserved For NT:         ", BpbFormat::Hex0x2, bpb.GetReservedForNt()));
    f.push_back(Number(L"24. Extended Boot Sig:       ", BpbFormat::Hex0x2, bpb.GetExtendedBootSignature()));
    f.push_back(Number(L"25. Serial Number:           ", BpbFormat::Hex0x8, bpb.GetSerialNumber()));
    f.push_back(Text(L"26: Volume Name:             ", bpb.GetVolumeName()));
    f.push_back(Text(L"27: File System Type:        ", bpb.GetFileSystemType()));
}

void AddBpbNt(BpbListing& listing, const OnDiskBpbNt& bpb) {
    std::vector<BpbField>& f = listing.fields;
    AddBpb34(f, bpb.GetBpb34());
    f.push_back(Number(L"15. Disk Unit Number:        ", BpbFormat::DecHex2, bpb.GetDiskUnitNumber()));
    f.push_back(Number(L"16. Reserved For NT:         ", BpbFormat::Hex0x2, bpb.GetReservedForNt()));
    f.push_back(Number(L"17. Extended Boot Sig:       ", BpbFormat::Hex0x2, bpb.GetExtendedBootSignature()));
    f.push_back(Number(L"18. Reserved:                ", BpbFormat::Hex0x2, bpb.GetReserved()));
    f.push_back(Number(L"19. Total NTFS Sectors:      ", BpbFormat::Dec, bpb.GetTotalNtfsSectors()));
    f.push_back(Number(L"20: MFT Start Cluster:       ", BpbFormat::Dec, bpb.GetMftStartCluster()));
    f.push_back(Number(L"21: MFT Mirror Start Clust:  ", BpbFormat::Dec, bpb.GetMftMirrorStartCluster()));
    // Item 22 shows the MFT start cluster a second time; the listing has
    // always read it so and readers compare reports across versions.
    f.push_back(Number(L"22: MFT First Cluster:       ", BpbFormat::Dec, bpb.GetMftStartCluster()));
    f.push_back(Number(L"23: Clusters per FRS:        ", BpbFormat::Dec, bpb.GetClustersPerFileRecordSegment()));
    f.push_back(Number(L"24: Clusters per Index Blk:  ", BpbFormat::Dec, bpb.GetClustersPerIndexBlock()));
    f.push_back(Number(L"25: Serical Number:          ", BpbFormat::Hex0x8, bpb.GetVolumeSerialNumber()));
    f.push_back(Number(L"26: Checksum:                ", BpbFormat::DecHex8, bpb.GetChecksum()));
}

void AddBpbExFat(BpbListing& listing, const OnDiskBpbExFat& bpb) {
    std::vector<BpbField>& f = listing.fields;
    AddJumpAndOemName(f, bpb);
    f.push_back(Number(L" 3. Start Sector:            ", BpbFormat::Dec, bpb.GetPartitionOffset()));
    f.push_back(Number(L" 4. Sector Count:            ", BpbFormat::Dec, bpb.GetVolumeLength()));
    f.push_back(Number(L" 5. FAT Table:               ", BpbFormat::Dec, bpb.GetFatOffset()));
    f.push_back(Number(L" 6. Reserved Sectors:        ", BpbFormat::Dec, bpb.GetClusterHeapOffset()));
    f.push_back(Number(L" 7. Cluster Count:           ", BpbFormat::Dec, bpb.GetClusterCount()));
    // Volume length over cluster count; a damaged sector with no clusters
    // shows 0 rather than stopping the report.
    const uint64_t clusters = bpb.GetClusterCount();
    const uint64_t sectorsPerCluster = clusters ? bpb.GetVolumeLength() / clusters : 0;
    f.push_back(Number(L" 7. Sectors Per Cluster:     ", BpbFormat::Dec, sectorsPerCluster));
    f.push_back(Number(L" 8: Serical Number:          ", BpbFormat::Hex0x8, bpb.GetVolumeSerialNumber()));
}

}  // namespace

BpbListing ListBpbSector(const uint8_t* sector, size_t size) {
    BpbListing listing;
    listing.kind = DetectBpbKind(sector, size);
    if (listing.kind == BpbKind::None) return listing;
    // The views read from a buffer of at least a full boot sector, so a
    // short sector reads zeros past its end instead of failing.
    auto buffer = MemoryBuffer::Create(std::max<uint64_t>(size, OnDiskBpbExFat::kSize));
    buffer->Write(sector, 0, size);
    switch (listing.kind) {
        case BpbKind::Fat32:
            AddBpb70(listing, OnDiskBpb70(buffer, 0));
            break;
        case BpbKind::Fat1216:
            AddBpb40(listing, OnDiskBpb40(buffer, 0));
            break;
        case BpbKind::Ntfs:
            AddBpbNt(listing, OnDiskBpbNt(buffer, 0));
            break;
        case BpbKind::ExFat:
            AddBpbExFat(listing, OnDiskBpbExFat(buffer, 0));
            break;
        case BpbKind::Fallback:
            AddBpb34(listing.fields, OnDiskBpb34(buffer, 0));
            break;
        case BpbKind::None:
            break;
    }
    return listing;
}

unsigned BpbItemNumber(const BpbField& field) {
    const std::wstring label(field.label);
    return static_cast<unsigned>(std::stoul(label.substr(0, 2)));
}

std::wstring BpbItemName(const BpbField& field) {
    // "nn. Words:" or "nn: Words:", padded with blanks.
    std::wstring name = std::wstring(field.label).substr(4);
    name.erase(name.find_last_not_of(L' ') + 1);
    if (!name.empty() && name.back() == L':') name.pop_back();
    return name;
}

void PrintBpbSector(const uint8_t* sector, size_t size, std::wostream& out) {
    const BpbListing listing = ListBpbSector(sector, size);
    if (listing.kind == BpbKind::None) return;
    DecimalOnExit restore(out);
    switch (listing.kind) {
        case BpbKind::Fat32:
            out << kFileSystem << Widen(listing.fileSystemType) << L"    (BPB Version 7.0)\n" << RuleEquals84;
            break;
        case BpbKind::Fat1216:
            out << kFileSystem << Widen(listing.fileSystemType) << L"    (BPB Version 4.0)\n" << RuleEquals84;
            break;
        case BpbKind::Ntfs:
            out << kFileSystem << L"NTFS    (BPB NT Version)\n" << RuleEquals84;
            break;
        case BpbKind::ExFat:
            out << kFileSystem << L"exFAT   (BPB exFAT Version)\n" << RuleEquals84;
            break;
        case BpbKind::Fallback:
            out << L"BPB Version not recognized, using Microsoft BPB Version 3.4\n";
            break;
        case BpbKind::None:
            break;
    }
    for (const BpbField& field : listing.fields) {
        out << field.label;
        WriteValue(out, field);
        out << L"\n";
    }
}
