#include <gtest/gtest.h>

#include <functional>

#include "Base/Dev/OnDisk/OnDiskExLittleEndian.h"
#include "support/Failure.h"

namespace {

// Outer holds a 4-byte tag, then two Inners (field 2) at 4 and 6; an Inner is one u16.
class Inner : public OnDiskExLittleEndian {
public:
    Inner() : OnDiskExLittleEndian(nullptr, 0, nullptr, 0, 0, "Inner") { SetSize(2); }
    uint64_t GetStructOffset(uint32_t, uint64_t) const override { ONDISK_INVALID_FIELD(); }
    uint16_t GetValue() const { return GetUInt16(0); }
};

class Outer : public OnDiskExLittleEndian {
public:
    Outer(BufferHandle bh, uint64_t offset) : OnDiskExLittleEndian(std::move(bh), offset, nullptr, 0, 0, "Outer") {
        for (uint64_t i = 0; i < 2; ++i) inner[i].SetUpSubStruct(m_bh, this, 2, i);
        SetSize(8);
    }
    uint64_t GetStructOffset(uint32_t, uint64_t index) const override { return GetOD_ZeroOffset() + 4 + 2 * index; }
    void GetTag(uint8_t* out, uint64_t startIndex, uint64_t count) const {
        ONDISK_ARRAY_RANGE(4, startIndex, count);
        GetBytes(0, out, startIndex, count);
    }
    Inner inner[2];
};

}  // namespace

TEST(OnDiskEx, ViewsResolveThroughTheirContainerOnEveryAccessAndFailWithTheirName) {
    auto buf = MemoryBuffer::Create(32);
    buf->Write("AB\xC5" "D" "\0\0\x34\x12", 16, 8);
    Outer outer(buf, 16), other(buf, 0);
    EXPECT_EQ(outer.inner[1].GetOD_ZeroOffset(), 22u);
    EXPECT_EQ(outer.inner[1].GetValue(), 0x1234);
    buf->Write("\x99", 22, 1);
    EXPECT_EQ(outer.inner[1].GetValue(), 0x1299) << "views must not cache";
    EXPECT_EQ(outer.inner[1].GetShadow(), 0x1299u);
    uint8_t tag[4] = {};
    outer.GetTag(tag, 1, UINT64_MAX);  // to the end of the array
    EXPECT_EQ(std::string(reinterpret_cast<char*>(tag), 3), "B\xC5" "D");
    EXPECT_EQ(std::vector<uint32_t>({outer.GetBits8(2, 6, 2), outer.GetBits8(2, 0, 6), outer.GetBits8(2, 0, 8)}),
              std::vector<uint32_t>({3, 5, 0xC5}));
    // Rebinding to the same buffer and container is fine.
    outer.inner[0].SetUpSubStruct(buf, &outer, 2, 1);
    EXPECT_EQ(outer.inner[0].GetOD_ZeroOffset(), 22u);
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { outer.GetTag(tag, 2, 3); },
         "PRECONDITION `anonymous-namespace'::Outer::GetTag: startIndex + count <= 4"},
        {[&] { outer.GetBits8(0, 4, 5); }, "PRECONDITION OnDiskExLittleEndian::GetBits8: bitOffset + nBits <= 8"},
        {[&] { outer.inner[0].SetUpSubStruct(MemoryBuffer::Create(32), &outer, 2, 0); },
         "CHECK OnDiskEx::SetUpSubStruct: !m_bh || m_bh.get() == bh.get()"},
        {[&] { outer.inner[0].SetUpSubStruct(buf, &other, 2, 0); },
         "CHECK OnDiskEx::SetUpSubStruct: m_containingStruct == NULL || m_containingStruct == containingStruct"},
    };
    for (const auto& [op, failure] : cases) EXPECT_EQ(FailureOf(op), failure);
    EXPECT_EQ(outer.GetUInt16(0), 0x4241);
}
