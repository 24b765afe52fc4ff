#include <gtest/gtest.h>

#include <functional>

#include "Base/Dev/MemBufferHandle.h"
#include "support/Failure.h"

namespace {

// The failed expression of a MemoryBuffer precondition, or "" when op went through.
std::string FailedExpression(const std::function<void()>& op) {
    const std::string failure = FailureOf(op);
    EXPECT_TRUE(failure.empty() || failure.starts_with("PRECONDITION MemoryBuffer::")) << failure;
    return failure.empty() ? failure : failure.substr(failure.find(": ") + 2);
}

}  // namespace

TEST(MemoryBuffer, ChecksRunInOrderAndTouchNothingOnFailure) {
    MemoryBuffer b(512), empty(0);
    b.Set(0, 0xAB, 512);
    uint8_t out[32] = {};
    auto src = MemoryBuffer::Create(16);
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { b.Read(out, 0, 0); }, ""},
        {[&] { b.Read(out, 512, 0); }, "offsetInBuffer < m_uSize"},
        {[&] { empty.Read(out, 0, 0); }, "offsetInBuffer < m_uSize"},
        {[&] { b.Read(out, 500, 16); }, "offsetInBuffer + bytesToRead <= m_uSize"},
        {[&] { b.Read(out, 8, UINT64_MAX); }, "offsetInBuffer + bytesToRead <= m_uSize"},
        {[&] { b.Read(nullptr, 600, 1); }, "bytesToRead == 0 || data != NULL"},
        {[&] { b.Write(nullptr, 0, 4); }, "bytesToWrite == 0 || data != NULL"},
        {[&] { b.Write(out, 512, 0); }, "offsetInBuffer < m_uSize"},
        {[&] { b.Write(out, 510, 4); }, "offsetInBuffer + bytesToWrite <= m_uSize"},
        {[&] { b.Move(0, 512, 0); }, "oldOffset < m_uSize"},
        {[&] { b.Move(512, 0, 0); }, "newOffset < m_uSize"},
        {[&] { b.Move(0, 500, 13); }, "oldOffset + bytesToMove <= m_uSize"},
        {[&] { b.Move(500, 0, 13); }, "newOffset + bytesToMove <= m_uSize"},
        {[&] { b.Set(512, 0, 0); }, "offsetInBuffer < m_uSize"},
        {[&] { b.Set(511, 0, 2); }, "offsetInBuffer + bytesToSet <= m_uSize"},
        {[&] { b.Compare(nullptr, 0, 1); }, "bytesToCompare == 0 || data != NULL"},
        {[&] { b.Compare(out, 505, 8); }, "offsetInBuffer + bytesToCompare <= m_uSize"},
        {[&] { b.CompareValue(0, 512, 0); }, "offsetInBuffer < m_uSize"},
        {[&] { b.CompareValue(0, 0, 513); }, "offsetInBuffer + bytesToCompare <= m_uSize"},
        // Copy pulls from the source through the source's own checks.
        {[&] { b.Copy(0, src, 14, 4); }, "offsetInBuffer + bytesToRead <= m_uSize"},
        {[&] { b.Copy(510, src, 0, 4); }, "myOffset + bytesToCopy <= m_uSize"},
        {[&] { b.Copy(512, src, 0, 0); }, "myOffset < m_uSize"},
    };
    for (const auto& [op, expected] : cases) EXPECT_EQ(FailedExpression(op), expected);
    EXPECT_TRUE(b.CompareValue(0xAB, 0, 512)) << "a failed check changed bytes";
}

TEST(MemoryBuffer, DirtyOnlyWhenBytesChange) {
    MemoryBuffer b(64);
    uint8_t data[4] = {1, 2, 3, 4}, moved[4];
    b.Write(data, 0, 0);
    EXPECT_FALSE(b.IsDirty());
    b.Write(data, 60, 4);
    EXPECT_TRUE(b.IsDirty());
    EXPECT_EQ(b.Compare(data, 60, 4), 0);
    EXPECT_TRUE(b.CompareValue(0, 0, 60));
    EXPECT_TRUE(b.CompareValue(9, 10, 0)) << "an empty range is uniform";
    EXPECT_FALSE(b.CompareValue(0, 56, 8));
    auto src = MemoryBuffer::Create(16);
    src->Write(data, 12, 4);
    MemoryBuffer dst(8);
    dst.Copy(2, src, 12, 4);
    EXPECT_TRUE(dst.IsDirty());
    dst.Move(0, 2, 6);
    dst.Read(moved, 0, 4);
    EXPECT_EQ(std::vector<uint8_t>(moved, moved + 4), std::vector<uint8_t>(data, data + 4));
}
