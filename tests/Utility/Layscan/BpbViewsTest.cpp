#include <gtest/gtest.h>

#include <functional>

#include "Utility/Layscan/Bpb34.h"
#include "Utility/Layscan/Bpb40.h"
#include "Utility/Layscan/Bpb70.h"
#include "Utility/Layscan/BpbExFat.h"
#include "Utility/Layscan/BpbNt.h"
#include "support/Failure.h"

namespace {

// A sector at byte kBase of a two-sector buffer, each byte holding (its offset
// in the sector * 7 + 1) & 0xFF, so that every field's value tells which bytes
// it was read from.
constexpr uint64_t kBase = 512;

std::shared_ptr<MemoryBuffer> PatternBuffer() {
    auto b = MemoryBuffer::Create(1024);
    for (uint64_t i = 0; i < 512; ++i) {
        const uint8_t v = static_cast<uint8_t>(i * 7 + 1);
        b->Write(&v, kBase + i, 1);
    }
    return b;
}

// The little-endian number (width 1 to 8) or, with text, the bytes at offset.
std::string Expected(uint64_t offset, unsigned width, bool text = false) {
    uint64_t value = 0;
    std::string bytes;
    for (unsigned i = width; i-- > 0;) value = (value << 8) | static_cast<uint8_t>((offset + i) * 7 + 1);
    for (unsigned i = 0; i < width; ++i) bytes += static_cast<char>((offset + i) * 7 + 1);
    return text ? bytes : std::to_string(value);
}

template <typename T>
std::function<std::string()> Num(T get) {
    return [get] { return std::to_string(get()); };
}

}  // namespace

TEST(BpbViews, EveryFieldIsReadFromItsOffset) {
    auto buf = PatternBuffer();
    OnDiskBpb34 alone(buf, kBase);
    OnDiskBpb40 fat16(buf, kBase);
    OnDiskBpb70 fat32(buf, kBase);
    OnDiskBpbNt ntfs(buf, kBase);
    OnDiskBpbExFat exfat(buf, kBase);
    auto bytes = [](auto get, size_t n) {
        return [get, n] {
            std::string s(n, '\0');
            get(reinterpret_cast<uint8_t*>(s.data()));
            return s;
        };
    };
    struct Field {
        const char* name;
        std::function<std::string()> get;
        uint64_t offset;
        unsigned width;
        bool text = false;
    };
    std::vector<Field> fields = {
        {"FAT16 unit", Num([&] { return fat16.GetDiskUnitNumber(); }), 0x24, 1},
        {"FAT16 chkdsk", Num([&] { return fat16.GetChkDskFlags(); }), 0x25, 1},
        {"FAT16 signature", Num([&] { return fat16.GetSignatureByte(); }), 0x26, 1},
        {"FAT16 serial", Num([&] { return fat16.GetVolumeSerialNumber(); }), 0x27, 4},
        {"FAT16 label", [&] { return fat16.GetVolumeLabel(); }, 0x2B, 11, true},
        {"FAT16 type", [&] { return fat16.GetFileSystemType(); }, 0x36, 8, true},
        {"FAT16 reserved", Num([&] { return fat16.GetReserved(); }), 0x3E, 8},
        {"FAT32 FAT size", Num([&] { return fat32.GetSectorsPerFatExt(); }), 0x24, 4},
        {"FAT32 flags", Num([&] { return fat32.GetFatFlags(); }), 0x28, 2},
        {"FAT32 version", Num([&] { return fat32.GetFileSystemVersion(); }), 0x2A, 2},
        {"FAT32 root cluster", Num([&] { return fat32.GetFirstClusterOfRoot(); }), 0x2C, 4},
        {"FAT32 fsinfo", Num([&] { return fat32.GetFileSystemInfoSector(); }), 0x30, 2},
        {"FAT32 backup", Num([&] { return fat32.GetBackupBootSector(); }), 0x32, 2},
        {"FAT32 reserved", bytes([&](uint8_t* o) { fat32.GetReserved(o, 0, UINT64_MAX); }, 12), 0x34, 12, true},
        {"FAT32 reserved tail", bytes([&](uint8_t* o) { fat32.GetReserved(o, 10, UINT64_MAX); }, 2), 0x3E, 2, true},
        {"FAT32 unit", Num([&] { return fat32.GetDiskUnitNumber(); }), 0x40, 1},
        {"FAT32 nt", Num([&] { return fat32.GetReservedForNt(); }), 0x41, 1},
        {"FAT32 signature", Num([&] { return fat32.GetExtendedBootSignature(); }), 0x42, 1},
        {"FAT32 serial", Num([&] { return fat32.GetSerialNumber(); }), 0x43, 4},
        {"FAT32 name", [&] { return fat32.GetVolumeName(); }, 0x47, 11, true},
        {"FAT32 type", [&] { return fat32.GetFileSystemType(); }, 0x52, 8, true},
        {"NTFS unit", Num([&] { return ntfs.GetDiskUnitNumber(); }), 0x24, 1},
        {"NTFS nt", Num([&] { return ntfs.GetReservedForNt(); }), 0x25, 1},
        {"NTFS signature", Num([&] { return ntfs.GetExtendedBootSignature(); }), 0x26, 1},
        {"NTFS reserved", Num([&] { return ntfs.GetReserved(); }), 0x27, 1},
        {"NTFS total", Num([&] { return ntfs.GetTotalNtfsSectors(); }), 0x28, 8},
        {"NTFS mft", Num([&] { return ntfs.GetMftStartCluster(); }), 0x30, 8},
        {"NTFS mirror", Num([&] { return ntfs.GetMftMirrorStartCluster(); }), 0x38, 8},
        {"NTFS frs", Num([&] { return ntfs.GetClustersPerFileRecordSegment(); }), 0x40, 4},
        {"NTFS index", Num([&] { return ntfs.GetClustersPerIndexBlock(); }), 0x44, 4},
        {"NTFS serial", Num([&] { return ntfs.GetVolumeSerialNumber(); }), 0x48, 8},
        {"NTFS checksum", Num([&] { return ntfs.GetChecksum(); }), 0x50, 4},
        {"exFAT OEM", [&] { return exfat.GetOemName(); }, 3, 8, true},
        {"exFAT jump", bytes([&](uint8_t* o) { exfat.GetJump(o, 1, 2); }, 2), 1, 2, true},
        {"exFAT partition offset", Num([&] { return exfat.GetPartitionOffset(); }), 0x40, 8},
        {"exFAT length", Num([&] { return exfat.GetVolumeLength(); }), 0x48, 8},
        {"exFAT FAT offset", Num([&] { return exfat.GetFatOffset(); }), 0x50, 4},
        {"exFAT heap", Num([&] { return exfat.GetClusterHeapOffset(); }), 0x58, 4},
        {"exFAT clusters", Num([&] { return exfat.GetClusterCount(); }), 0x5C, 4},
        {"exFAT serial", Num([&] { return exfat.GetVolumeSerialNumber(); }), 0x64, 4},
    };
    // The common block, standing alone and nested in every block that has one.
    using Common = std::initializer_list<const OnDiskBpb34*>;
    for (const OnDiskBpb34* c : Common{&alone, &fat16.GetBpb34(), &fat32.GetBpb34(), &ntfs.GetBpb34()}) {
        EXPECT_EQ(c->GetOD_ZeroOffset(), kBase);
        fields.insert(fields.end(), {
            {"OEM", [c] { return c->GetOemName(); }, 3, 8, true},
            {"jump", bytes([c](uint8_t* o) { c->GetJump(o, 0, UINT64_MAX); }, 3), 0, 3, true},
            {"bytes per sector", Num([c] { return c->GetBytesPerSector(); }), 0x0B, 2},
            {"sectors per cluster", Num([c] { return c->GetSectorsPerCluster(); }), 0x0D, 1},
            {"reserved sectors", Num([c] { return c->GetReservedSectors(); }), 0x0E, 2},
            {"FATs", Num([c] { return c->GetNumberOfFats(); }), 0x10, 1},
            {"root entries", Num([c] { return c->GetRootDirEntries(); }), 0x11, 2},
            {"total 16", Num([c] { return c->GetTotalSectors(); }), 0x13, 2},
            {"media", Num([c] { return c->GetMediaDescriptor(); }), 0x15, 1},
            {"FAT size 16", Num([c] { return c->GetSectorsPerFat(); }), 0x16, 2},
            {"sectors per track", Num([c] { return c->GetSectorsPerTrack(); }), 0x18, 2},
            {"heads", Num([c] { return c->GetNumberOfHeads(); }), 0x1A, 2},
            {"hidden", Num([c] { return c->GetHiddenSectors(); }), 0x1C, 4},
            {"total 32", Num([c] { return c->GetTotalSectorsLarge(); }), 0x20, 4},
        });
    }
    for (const Field& f : fields) EXPECT_EQ(f.get(), Expected(f.offset, f.width, f.text)) << f.name;
    const std::vector<uint64_t> sizes{alone.GetSize(), fat16.GetSize(), fat32.GetSize(), ntfs.GetSize(), exfat.GetSize()};
    EXPECT_EQ(sizes, std::vector<uint64_t>({36, 70, 90, 84, 512}));
}

TEST(BpbViews, NestingAndRangesAreChecked) {
    auto buf = PatternBuffer();
    OnDiskBpb34 common(buf, 0);
    OnDiskBpb40 fat16(buf, kBase);
    OnDiskBpb70 fat32(buf, kBase);
    OnDiskBpbNt ntfs(buf, kBase);
    OnDiskBpbExFat exfat(buf, 0);
    auto shortBuf = MemoryBuffer::Create(82);  // ends inside the NTFS checksum at 80
    OnDiskBpbNt cut(shortBuf, 0);
    EXPECT_EQ(cut.GetDiskUnitNumber(), 0u);
    // The nested common block is field 2, element 0, and only that.
    for (const OnDiskEx* v : std::initializer_list<const OnDiskEx*>{&fat16, &fat32, &ntfs})
        EXPECT_EQ(v->GetStructOffset(2, 0), kBase);
    uint8_t out[16] = {};
    const struct {
        std::function<void()> op;
        const char* failure;
    } cases[] = {
        {[&] { fat16.GetStructOffset(2, 1); }, "PRECONDITION OnDiskBpb40::GetStructOffset: index == 0"},
        {[&] { fat32.GetStructOffset(2, 1); }, "PRECONDITION OnDiskBpb70::GetStructOffset: index == 0"},
        {[&] { ntfs.GetStructOffset(2, 1); }, "PRECONDITION OnDiskBpbNt::GetStructOffset: index == 0"},
        {[&] { fat16.GetStructOffset(3, 0); }, "CHECK OnDiskBpb40::GetStructOffset: GetStructOffset invalid count"},
        {[&] { fat32.GetStructOffset(3, 0); }, "CHECK OnDiskBpb70::GetStructOffset: GetStructOffset invalid count"},
        {[&] { ntfs.GetStructOffset(3, 0); }, "CHECK OnDiskBpbNt::GetStructOffset: GetStructOffset invalid count"},
        {[&] { common.GetStructOffset(2, 0); }, "CHECK OnDiskBpb34::GetStructOffset: GetStructOffset invalid count"},
        {[&] { exfat.GetStructOffset(2, 0); }, "CHECK OnDiskBpbExFat::GetStructOffset: GetStructOffset invalid count"},
        {[&] { common.GetJump(out, 3, 0); }, "PRECONDITION OnDiskBpb34::GetJump: startIndex < 3"},
        {[&] { common.GetJump(out, 1, 3); }, "PRECONDITION OnDiskBpb34::GetJump: startIndex + count <= 3"},
        {[&] { exfat.GetJump(out, 3, UINT64_MAX); }, "PRECONDITION OnDiskBpbExFat::GetJump: startIndex < 3"},
        {[&] { exfat.GetJump(out, 0, 4); }, "PRECONDITION OnDiskBpbExFat::GetJump: startIndex + count <= 3"},
        {[&] { fat32.GetReserved(out, 12, 0); }, "PRECONDITION OnDiskBpb70::GetReserved: startIndex < 12"},
        {[&] { fat32.GetReserved(out, 11, 2); }, "PRECONDITION OnDiskBpb70::GetReserved: startIndex + count <= 12"},
        // A view past the end of its buffer fails when the field is read.
        {[&] { cut.GetChecksum(); }, "PRECONDITION MemoryBuffer::Read: offsetInBuffer + bytesToRead <= m_uSize"},
    };
    for (const auto& c : cases) EXPECT_EQ(FailureOf(c.op), c.failure);
}
