#include <gtest/gtest.h>

#include <functional>

#include "Utility/Layscan/Bpb34.h"
#include "Utility/Layscan/Bpb40.h"
#include "Utility/Layscan/Bpb70.h"
#include "Utility/Layscan/BpbExFat.h"
#include "Utility/Layscan/BpbNt.h"

namespace {

// A sector placed at byte `base` of a two-sector buffer, each byte holding
// (its offset in the sector * 7 + 1) & 0xFF, so that every field of a view
// has a value that tells which bytes it was read from.
constexpr uint64_t kBase = 512;

std::shared_ptr<MemoryBuffer> PatternBuffer() {
    auto b = MemoryBuffer::Create(1024);
    for (uint64_t i = 0; i < 512; ++i) {
        uint8_t v = static_cast<uint8_t>(i * 7 + 1);
        b->Write(&v, kBase + i, 1);
    }
    return b;
}

uint64_t Expected(uint64_t offset, unsigned width) {
    uint64_t value = 0;
    for (unsigned i = width; i-- > 0;) value = (value << 8) | static_cast<uint8_t>((offset + i) * 7 + 1);
    return value;
}

std::string ExpectedText(uint64_t offset, size_t length) {
    std::string s;
    for (size_t i = 0; i < length; ++i) s += static_cast<char>(static_cast<uint8_t>((offset + i) * 7 + 1));
    return s;
}

struct Field {
    const char* name;
    std::function<uint64_t()> get;
    uint64_t offset;
    unsigned width;
};

void ExpectFields(const std::vector<Field>& fields) {
    for (const Field& f : fields) EXPECT_EQ(f.get(), Expected(f.offset, f.width)) << f.name;
}

std::vector<Field> CommonFields(const OnDiskBpb34& c) {
    return {
        {"bytes per sector", [&c] { return c.GetBytesPerSector(); }, 0x0B, 2},
        {"sectors per cluster", [&c] { return c.GetSectorsPerCluster(); }, 0x0D, 1},
        {"reserved sectors", [&c] { return c.GetReservedSectors(); }, 0x0E, 2},
        {"FATs", [&c] { return c.GetNumberOfFats(); }, 0x10, 1},
        {"root entries", [&c] { return c.GetRootDirEntries(); }, 0x11, 2},
        {"total 16", [&c] { return c.GetTotalSectors(); }, 0x13, 2},
        {"media", [&c] { return c.GetMediaDescriptor(); }, 0x15, 1},
        {"FAT size 16", [&c] { return c.GetSectorsPerFat(); }, 0x16, 2},
        {"sectors per track", [&c] { return c.GetSectorsPerTrack(); }, 0x18, 2},
        {"heads", [&c] { return c.GetNumberOfHeads(); }, 0x1A, 2},
        {"hidden", [&c] { return c.GetHiddenSectors(); }, 0x1C, 4},
        {"total 32", [&c] { return c.GetTotalSectorsLarge(); }, 0x20, 4},
    };
}

void ExpectFailure(const std::function<void()>& op, const std::string& function, const std::string& expression) {
    try {
        op();
        ADD_FAILURE() << "no failure for " << expression;
    } catch (const AssertionFailure& f) {
        EXPECT_EQ(f.Function(), function);
        EXPECT_EQ(f.Expression(), expression);
    }
}

}  // namespace

TEST(BpbViews, CommonBlockStandingAloneAndNestedInEveryBlock) {
    auto buf = PatternBuffer();
    OnDiskBpb34 alone(buf, kBase);
    OnDiskBpb40 fat16(buf, kBase);
    OnDiskBpb70 fat32(buf, kBase);
    OnDiskBpbNt ntfs(buf, kBase);
    for (const OnDiskBpb34* c : std::vector<const OnDiskBpb34*>{&alone, &fat16.GetBpb34(), &fat32.GetBpb34(), &ntfs.GetBpb34()}) {
        EXPECT_EQ(c->GetSize(), 36u);
        EXPECT_EQ(c->GetOD_ZeroOffset(), kBase);
        ExpectFields(CommonFields(*c));
        EXPECT_EQ(c->GetOemName(), ExpectedText(3, 8));
        uint8_t jump[3] = {};
        c->GetJump(jump, 0, UINT64_MAX);
        EXPECT_EQ(std::string(jump, jump + 3), ExpectedText(0, 3));
    }
    EXPECT_EQ(alone.GetName(), "Bpb34");
    EXPECT_EQ(fat16.GetName(), "Bpb40");
    EXPECT_EQ(fat32.GetName(), "Bpb70");
    EXPECT_EQ(ntfs.GetName(), "BpbNt");
}

TEST(BpbViews, Fat1216Fields) {
    auto buf = PatternBuffer();
    OnDiskBpb40 v(buf, kBase);
    EXPECT_EQ(v.GetSize(), 70u);
    ExpectFields({
        {"unit", [&] { return v.GetDiskUnitNumber(); }, 0x24, 1},
        {"chkdsk", [&] { return v.GetChkDskFlags(); }, 0x25, 1},
        {"signature", [&] { return v.GetSignatureByte(); }, 0x26, 1},
        {"serial", [&] { return v.GetVolumeSerialNumber(); }, 0x27, 4},
        {"reserved", [&] { return v.GetReserved(); }, 0x3E, 8},
    });
    EXPECT_EQ(v.GetVolumeLabel(), ExpectedText(0x2B, 11));
    EXPECT_EQ(v.GetFileSystemType(), ExpectedText(0x36, 8));
}

TEST(BpbViews, Fat32Fields) {
    auto buf = PatternBuffer();
    OnDiskBpb70 v(buf, kBase);
    EXPECT_EQ(v.GetSize(), 90u);
    ExpectFields({
        {"FAT size 32", [&] { return v.GetSectorsPerFatExt(); }, 0x24, 4},
        {"flags", [&] { return v.GetFatFlags(); }, 0x28, 2},
        {"version", [&] { return v.GetFileSystemVersion(); }, 0x2A, 2},
        {"root cluster", [&] { return v.GetFirstClusterOfRoot(); }, 0x2C, 4},
        {"fsinfo", [&] { return v.GetFileSystemInfoSector(); }, 0x30, 2},
        {"backup", [&] { return v.GetBackupBootSector(); }, 0x32, 2},
        {"unit", [&] { return v.GetDiskUnitNumber(); }, 0x40, 1},
        {"nt", [&] { return v.GetReservedForNt(); }, 0x41, 1},
        {"signature", [&] { return v.GetExtendedBootSignature(); }, 0x42, 1},
        {"serial", [&] { return v.GetSerialNumber(); }, 0x43, 4},
    });
    EXPECT_EQ(v.GetVolumeName(), ExpectedText(0x47, 11));
    EXPECT_EQ(v.GetFileSystemType(), ExpectedText(0x52, 8));
    uint8_t reserved[12] = {};
    v.GetReserved(reserved, 0, UINT64_MAX);
    EXPECT_EQ(std::string(reserved, reserved + 12), ExpectedText(0x34, 12));
    uint8_t tail[2] = {};
    v.GetReserved(tail, 10, UINT64_MAX);  // to the end: two bytes
    EXPECT_EQ(std::string(tail, tail + 2), ExpectedText(0x34 + 10, 2));
}

TEST(BpbViews, NtfsFields) {
    auto buf = PatternBuffer();
    OnDiskBpbNt v(buf, kBase);
    EXPECT_EQ(v.GetSize(), 84u);
    ExpectFields({
        {"unit", [&] { return v.GetDiskUnitNumber(); }, 0x24, 1},
        {"nt", [&] { return v.GetReservedForNt(); }, 0x25, 1},
        {"signature", [&] { return v.GetExtendedBootSignature(); }, 0x26, 1},
        {"reserved", [&] { return v.GetReserved(); }, 0x27, 1},
        {"total", [&] { return v.GetTotalNtfsSectors(); }, 0x28, 8},
        {"mft", [&] { return v.GetMftStartCluster(); }, 0x30, 8},
        {"mirror", [&] { return v.GetMftMirrorStartCluster(); }, 0x38, 8},
        {"frs", [&] { return v.GetClustersPerFileRecordSegment(); }, 0x40, 4},
        {"index", [&] { return v.GetClustersPerIndexBlock(); }, 0x44, 4},
        {"serial", [&] { return v.GetVolumeSerialNumber(); }, 0x48, 8},
        {"checksum", [&] { return v.GetChecksum(); }, 0x50, 4},
    });
}

TEST(BpbViews, ExFatFields) {
    auto buf = PatternBuffer();
    OnDiskBpbExFat v(buf, kBase);
    EXPECT_EQ(v.GetSize(), 512u);
    EXPECT_EQ(v.GetName(), "BpbExFat");
    ExpectFields({
        {"partition offset", [&] { return v.GetPartitionOffset(); }, 0x40, 8},
        {"length", [&] { return v.GetVolumeLength(); }, 0x48, 8},
        {"FAT offset", [&] { return v.GetFatOffset(); }, 0x50, 4},
        {"heap", [&] { return v.GetClusterHeapOffset(); }, 0x58, 4},
        {"clusters", [&] { return v.GetClusterCount(); }, 0x5C, 4},
        {"serial", [&] { return v.GetVolumeSerialNumber(); }, 0x64, 4},
    });
    EXPECT_EQ(v.GetOemName(), ExpectedText(3, 8));
    uint8_t jump[2] = {};
    v.GetJump(jump, 1, 2);
    EXPECT_EQ(std::string(jump, jump + 2), ExpectedText(1, 2));
}

TEST(BpbViews, NestedBlockIsFieldTwoElementZeroOnly) {
    auto buf = PatternBuffer();
    OnDiskBpb40 fat16(buf, kBase);
    OnDiskBpb70 fat32(buf, kBase);
    OnDiskBpbNt ntfs(buf, kBase);
    const OnDiskEx* views[] = {&fat16, &fat32, &ntfs};
    const char* names[] = {"OnDiskBpb40::GetStructOffset", "OnDiskBpb70::GetStructOffset",
                           "OnDiskBpbNt::GetStructOffset"};
    for (int i = 0; i < 3; ++i) {
        const OnDiskEx* v = views[i];
        EXPECT_EQ(v->GetStructOffset(2, 0), kBase);
        ExpectFailure([v] { v->GetStructOffset(2, 1); }, names[i], "index == 0");
        ExpectFailure([v] { v->GetStructOffset(3, 0); }, names[i], "GetStructOffset invalid count");
    }
    OnDiskBpb34 alone(buf, 0);
    OnDiskBpbExFat exfat(buf, 0);
    ExpectFailure([&] { alone.GetStructOffset(2, 0); }, "OnDiskBpb34::GetStructOffset",
                  "GetStructOffset invalid count");
    ExpectFailure([&] { exfat.GetStructOffset(2, 0); }, "OnDiskBpbExFat::GetStructOffset",
                  "GetStructOffset invalid count");
}

TEST(BpbViews, ArrayRangesAreChecked) {
    auto buf = PatternBuffer();
    OnDiskBpb34 common(buf, 0);
    OnDiskBpbExFat exfat(buf, 0);
    OnDiskBpb70 fat32(buf, 0);
    uint8_t out[16] = {};
    const struct {
        std::function<void()> op;
        const char* function;
        const char* expression;
    } cases[] = {
        {[&] { common.GetJump(out, 3, 0); }, "OnDiskBpb34::GetJump", "startIndex < 3"},
        {[&] { common.GetJump(out, 1, 3); }, "OnDiskBpb34::GetJump", "startIndex + count <= 3"},
        {[&] { exfat.GetJump(out, 3, UINT64_MAX); }, "OnDiskBpbExFat::GetJump", "startIndex < 3"},
        {[&] { exfat.GetJump(out, 0, 4); }, "OnDiskBpbExFat::GetJump", "startIndex + count <= 3"},
        {[&] { fat32.GetReserved(out, 12, 0); }, "OnDiskBpb70::GetReserved", "startIndex < 12"},
        {[&] { fat32.GetReserved(out, 11, 2); }, "OnDiskBpb70::GetReserved", "startIndex + count <= 12"},
    };
    for (const auto& c : cases) ExpectFailure(c.op, c.function, c.expression);
}

TEST(BpbViews, AViewPastTheEndOfItsBufferFailsOnRead) {
    auto buf = MemoryBuffer::Create(82);  // ends inside the checksum at 80
    OnDiskBpbNt v(buf, 0);
    EXPECT_EQ(v.GetDiskUnitNumber(), 0u);
    ExpectFailure([&] { v.GetChecksum(); }, "MemoryBuffer::Read", "offsetInBuffer + bytesToRead <= m_uSize");
}
