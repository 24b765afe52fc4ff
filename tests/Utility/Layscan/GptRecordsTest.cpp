#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "Utility/Layscan/GptHeader.h"
#include "Utility/Layscan/GptPartitionEntries.h"
#include "Utility/Layscan/GptPartitionEntry.h"

namespace {

std::shared_ptr<MemoryBuffer> Filled(uint64_t size) {
    auto b = MemoryBuffer::Create(size);
    for (uint64_t i = 0; i < size; ++i) {
        uint8_t v = static_cast<uint8_t>(i * 7 + 3);
        b->Write(&v, i, 1);
    }
    return b;
}

uint64_t Le(const MemoryBuffer& b, uint64_t offset, unsigned width) {
    uint64_t v = 0;
    for (unsigned i = width; i-- > 0;) v = v << 8 | b.Data()[offset + i];
    return v;
}

void ExpectFailure(const std::function<void()>& op, const char* function, const char* expression) {
    try {
        op();
        ADD_FAILURE() << "no failure for " << expression;
    } catch (const AssertionFailure& f) {
        EXPECT_EQ(f.Function(), function) << expression;
        EXPECT_EQ(f.Expression(), expression);
    }
}

}  // namespace

TEST(OnDiskGptHeader, FieldsAtTheirOffsets) {
    auto buf = Filled(600);
    const uint64_t at = 40;  // bound away from 0 so the zero offset is used
    OnDiskGptHeader h(buf, at);
    EXPECT_EQ(h.GetSize(), 512u);
    const struct {
        uint64_t value;
        uint64_t offset;
        unsigned width;
    } fields[] = {
        {h.GetRevision(), 8, 4},          {h.GetHeaderSize(), 12, 4},
        {h.GetHeaderCrc32(), 16, 4},      {h.GetMyLba(), 24, 8},
        {h.GetAlternateLba(), 32, 8},     {h.GetFirstUsableLba(), 40, 8},
        {h.GetLastUsableLba(), 48, 8},    {h.GetPartitionEntryLba(), 72, 8},
        {h.GetNumberOfPartitionEntries(), 80, 4}, {h.GetSizeOfPartitionEntry(), 84, 4},
        {h.GetPartitionEntryArrayCrc32(), 88, 4},
    };
    for (const auto& f : fields) EXPECT_EQ(f.value, Le(*buf, at + f.offset, f.width)) << f.offset;
    uint8_t bytes[16];
    h.GetReserved1(bytes, 1, 3);
    EXPECT_EQ(std::memcmp(bytes, buf->Data() + at + 21, 3), 0);
    h.GetDiskGUID(bytes, 0, 16);
    EXPECT_EQ(std::memcmp(bytes, buf->Data() + at + 56, 16), 0);
    EXPECT_EQ(std::memcmp(h.GetDiskGuid().bytes.data(), buf->Data() + at + 56, 16), 0);
}

TEST(OnDiskGptHeader, SignatureAndRevisionText) {
    auto buf = MemoryBuffer::Create(512);
    OnDiskGptHeader h(buf, 0);
    EXPECT_FALSE(h.IsSignatureValid());
    EXPECT_EQ(h.GetRevisionText(), L"Unknown");
    buf->Write("EFI PART", 0, 8);
    const uint8_t rev[4] = {0, 0, 1, 0};
    buf->Write(rev, 8, 4);
    EXPECT_TRUE(h.IsSignatureValid());
    EXPECT_EQ(h.GetRevisionText(), L"1.0");
    buf->Write("efi", 0, 3);
    EXPECT_FALSE(h.IsSignatureValid());
    const uint8_t rev2[4] = {0, 1, 1, 0};
    buf->Write(rev2, 8, 4);
    EXPECT_EQ(h.GetRevisionText(), L"Unknown");
}

TEST(OnDiskGptRecords, PreconditionTextsNameTheGetter) {
    auto buf = Filled(16384);
    OnDiskGptHeader h(buf, 0);
    OnDiskGptPartitionEntries entries(buf, 0);
    const OnDiskGptPartitionEntry& e = entries.GetEntries(3);
    uint8_t bytes[40];
    char16_t units[40];
    const struct {
        std::function<void()> op;
        const char* function;
        const char* expression;
    } cases[] = {
        {[&] { h.GetReserved1(bytes, 4, 0); }, "OnDiskGptHeader::GetReserved1", "startIndex < 4"},
        {[&] { h.GetReserved1(bytes, 1, 4); }, "OnDiskGptHeader::GetReserved1", "startIndex + count <= 4"},
        {[&] { h.GetDiskGUID(bytes, 16, 1); }, "OnDiskGptHeader::GetDiskGUID", "startIndex < 16"},
        {[&] { h.GetDiskGUID(bytes, 15, 2); }, "OnDiskGptHeader::GetDiskGUID", "startIndex + count <= 16"},
        {[&] { h.GetStructOffset(2, 0); }, "OnDiskGptHeader::GetStructOffset", "GetStructOffset invalid count"},
        {[&] { e.GetPartitionTypeGUID(bytes, 16, 0); }, "OnDiskGptPartitionEntry::GetPartitionTypeGUID",
         "startIndex < 16"},
        {[&] { e.GetUniquePartitionGUID(bytes, 8, 9); }, "OnDiskGptPartitionEntry::GetUniquePartitionGUID",
         "startIndex + count <= 16"},
        {[&] { e.GetPartitionName(units, 30, 7); }, "OnDiskGptPartitionEntry::GetPartitionName",
         "startIndex + count <= 36"},
        {[&] { e.GetStructOffset(2, 0); }, "OnDiskGptPartitionEntry::GetStructOffset",
         "GetStructOffset invalid count"},
        {[&] { entries.GetEntriesOffset(128); }, "OnDiskGptPartitionEntries::GetEntriesOffset", "index < 128"},
        {[&] { entries.GetStructOffset(2, 128); }, "OnDiskGptPartitionEntries::GetEntriesOffset", "index < 128"},
        {[&] { entries.GetEntries(128); }, "OnDiskGptPartitionEntries::GetEntries", "index < 128"},
        {[&] { entries.GetStructOffset(3, 0); }, "OnDiskGptPartitionEntries::GetStructOffset",
         "GetStructOffset invalid count"},
        {[&] { OnDiskGptPartitionEntry().GetFirstLba(); }, "OnDiskEx::GetOD_ZeroOffset", "m_bh"},
    };
    for (const auto& c : cases) ExpectFailure(c.op, c.function, c.expression);
}

TEST(OnDiskGptPartitionEntries, EntriesLieAt128ByteStepsFromTheArrayOffset) {
    auto buf = Filled(16384 + 256);
    OnDiskGptPartitionEntries entries(buf, 256);
    EXPECT_EQ(entries.GetSize(), 16384u);
    for (uint64_t i : {0u, 1u, 5u, 127u}) {
        const OnDiskGptPartitionEntry& e = entries.GetEntries(i);
        const uint64_t at = 256 + 128 * i;
        EXPECT_EQ(e.GetSize(), 128u);
        EXPECT_EQ(entries.GetEntriesOffset(i), at);
        EXPECT_EQ(e.GetOD_ZeroOffset(), at);
        EXPECT_EQ(e.GetFirstLba(), Le(*buf, at + 32, 8));
        EXPECT_EQ(e.GetLastLba(), Le(*buf, at + 40, 8));
        EXPECT_EQ(e.GetAttributes(), Le(*buf, at + 48, 8));
        EXPECT_EQ(std::memcmp(e.GetPartitionTypeGuid().bytes.data(), buf->Data() + at, 16), 0);
        EXPECT_EQ(std::memcmp(e.GetUniquePartitionGuid().bytes.data(), buf->Data() + at + 16, 16), 0);
        char16_t units[2];
        e.GetPartitionName(units, 34, 2);
        EXPECT_EQ(units[1], static_cast<char16_t>(Le(*buf, at + 56 + 70, 2)));
    }
    // The last entry ends exactly at the buffer's end: one byte short would fail.
    auto shortBuf = MemoryBuffer::Create(16383);
    OnDiskGptPartitionEntries tooShort(shortBuf, 0);
    char16_t unit;
    EXPECT_NO_THROW(tooShort.GetEntries(127).GetPartitionName(&unit, 34, 1));
    ExpectFailure([&] { tooShort.GetEntries(127).GetPartitionName(&unit, 35, 1); }, "MemoryBuffer::Read",
                  "offsetInBuffer + bytesToRead <= m_uSize");
}

TEST(OnDiskGptPartitionEntry, NameStopsAtTheFirstNulAndKeepsWideUnits) {
    auto buf = MemoryBuffer::Create(128);
    OnDiskGptPartitionEntry e(buf, 0);
    EXPECT_EQ(e.GetPartitionNameText(), L"");
    const uint8_t name[] = {'E', 0, 'F', 0, 0x3A, 0x04, 0, 0, 'X', 0};
    buf->Write(name, 56, sizeof name);
    EXPECT_EQ(e.GetPartitionNameText(), std::wstring(L"EF") + wchar_t(0x043A));
    // A name that fills all 36 units has no terminator.
    for (uint64_t i = 0; i < 36; ++i) buf->Write("Z", 56 + 2 * i, 2);
    EXPECT_EQ(e.GetPartitionNameText(), std::wstring(36, L'Z'));
}
