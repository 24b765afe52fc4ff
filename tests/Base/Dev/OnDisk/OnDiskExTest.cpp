#include <gtest/gtest.h>

#include <functional>

#include "Base/Dev/OnDisk/OnDiskExLittleEndian.h"
#include "support/Failure.h"

namespace {

// A three-level structure: Outer holds an array of two Middles at 4; each
// Middle holds an Inner at 2. Inner has a u16 at 0.
class Inner : public OnDiskExLittleEndian {
public:
    Inner() : OnDiskExLittleEndian(nullptr, 0, nullptr, 0, 0, "Inner") { CheckThis(); }
    uint64_t GetStructOffset(uint32_t, uint64_t) const override { ONDISK_INVALID_FIELD(); }
    uint16_t GetValue() const { return GetUInt16(0); }
};

class Middle : public OnDiskExLittleEndian {
public:
    Middle() : OnDiskExLittleEndian(nullptr, 0, nullptr, 0, 0, "Middle") { CheckThis(); }
    uint64_t GetStructOffset(uint32_t fieldId, uint64_t index) const override {
        if (fieldId != 3) ONDISK_INVALID_FIELD();
        PRECONDITION(index == 0);
        return GetOD_ZeroOffset() + 2;
    }
    void Bind(const BufferHandle& bh, OnDiskEx* container, uint64_t index) {
        SetUpSubStruct(bh, container, 2, index);
        inner.SetUpSubStruct(bh, this, 3, 0);
        inner.SetSize(2);
        SetSize(2 + inner.GetSize());
    }
    Inner inner;
};

class Outer : public OnDiskExLittleEndian {
public:
    Outer(BufferHandle bh, uint64_t offset) : OnDiskExLittleEndian(std::move(bh), offset, nullptr, 0, 0, "Outer") {
        for (uint64_t i = 0; i < 2; ++i) middles[i].Bind(m_bh, this, i);
        SetSize(4 + 2 * middles[0].GetSize());
        CheckThis();
    }
    uint64_t GetStructOffset(uint32_t fieldId, uint64_t index) const override {
        if (fieldId != 2) ONDISK_INVALID_FIELD();
        PRECONDITION(index < 2);
        return GetOD_ZeroOffset() + 4 + 4 * index;
    }
    void GetTag(uint8_t* out, uint64_t startIndex, uint64_t count) const {
        ONDISK_ARRAY_RANGE(4, startIndex, count);
        GetBytes(0, out, startIndex, count);
    }
    Middle middles[2];
};

std::shared_ptr<MemoryBuffer> Bytes(std::initializer_list<uint8_t> bytes, uint64_t size) {
    auto b = MemoryBuffer::Create(size);
    uint64_t i = 0;
    for (uint8_t v : bytes) b->Write(&v, i++, 1);
    return b;
}

}  // namespace

TEST(OnDiskEx, NestedViewsResolveThroughTheContainerChainOnEveryAccess) {
    auto buf = Bytes({}, 64);
    Outer outer(buf, 16);
    EXPECT_EQ(outer.GetSize(), 12u);
    uint8_t v[2] = {0x34, 0x12};
    buf->Write(v, 16 + 4 + 4 + 2, 2);  // second middle's inner
    EXPECT_EQ(outer.middles[1].inner.GetOD_ZeroOffset(), 26u);
    EXPECT_EQ(outer.middles[1].inner.GetValue(), 0x1234);
    v[0] = 0x99;
    buf->Write(v, 26, 1);
    EXPECT_EQ(outer.middles[1].inner.GetValue(), 0x1299) << "views must not cache";
    EXPECT_EQ(outer.middles[1].inner.GetShadow(), 0x1299u);
}

TEST(OnDiskEx, FieldsAndFailures) {
    auto buf = Bytes({'A', 'B', 0xC5, 'D'}, 12);
    auto other = Bytes({}, 12);
    Outer outer(buf, 0);
    Outer second(buf, 8);
    uint8_t tag[4] = {};
    outer.GetTag(tag, 1, UINT64_MAX);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(tag), 3), "B\xC5" "D");
    EXPECT_EQ(outer.GetBits8(2, 6, 2), 3u);
    EXPECT_EQ(outer.GetBits8(2, 0, 6), 5u);
    EXPECT_EQ(outer.GetBits8(2, 0, 8), 0xC5u);
    // Rebinding to the same buffer and container is fine.
    outer.middles[0].SetUpSubStruct(buf, &outer, 2, 1);
    EXPECT_EQ(outer.middles[0].GetOD_ZeroOffset(), 8u);
    Outer copy(outer);  // member-wise copy keeps the original's self pointer
    const struct {
        std::function<void()> op;
        const char* failure;
    } cases[] = {
        {[&] { outer.GetTag(tag, 4, 0); }, "PRECONDITION `anonymous-namespace'::Outer::GetTag: startIndex < 4"},
        {[&] { outer.GetTag(tag, 2, 3); },
         "PRECONDITION `anonymous-namespace'::Outer::GetTag: startIndex + count <= 4"},
        {[&] { outer.GetStructOffset(2, 2); }, "PRECONDITION `anonymous-namespace'::Outer::GetStructOffset: index < 2"},
        {[&] { outer.GetStructOffset(7, 0); },
         "CHECK `anonymous-namespace'::Outer::GetStructOffset: GetStructOffset invalid count"},
        {[&] { outer.middles[0].inner.GetStructOffset(2, 0); },
         "CHECK `anonymous-namespace'::Inner::GetStructOffset: GetStructOffset invalid count"},
        {[&] { Inner().GetValue(); }, "CHECK OnDiskEx::GetOD_ZeroOffset: m_bh"},
        {[&] { outer.GetBits8(0, 4, 5); }, "PRECONDITION OnDiskExLittleEndian::GetBits8: bitOffset + nBits <= 8"},
        {[&] { outer.GetUInt64(8); }, "PRECONDITION MemoryBuffer::Read: offsetInBuffer + bytesToRead <= m_uSize"},
        {[&] { outer.middles[0].SetUpSubStruct(other, &outer, 2, 0); },
         "CHECK OnDiskEx::SetUpSubStruct: !m_bh || m_bh.get() == bh.get()"},
        {[&] { outer.middles[0].SetUpSubStruct(buf, &second, 2, 0); },
         "CHECK OnDiskEx::SetUpSubStruct: m_containingStruct == NULL || m_containingStruct == containingStruct"},
        {[&] { copy.GetUInt16(0); }, "CHECK OnDiskEx::CheckThis: m_base == this"},
    };
    for (const auto& c : cases) EXPECT_EQ(FailureOf(c.op), c.failure);
    EXPECT_EQ(outer.GetUInt16(0), 0x4241);
}
