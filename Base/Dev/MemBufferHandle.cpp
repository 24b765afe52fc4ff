#include "Base/Dev/MemBufferHandle.h"

#include <cstdint>
#include <cstring>
#include <new>

#include "Base/Dev/AssertionFailure.h"

// The end checks are written so that a huge count cannot wrap the sum; their
// texts stay the plain sums that the messages have always shown.

MemoryBuffer::MemoryBuffer(uint64_t size) : MemoryBuffer(size, std::pmr::new_delete_resource()) {}

namespace {
// Even an empty buffer has storage, so Data() is never null; a size no
// allocation can satisfy fails as an allocation failure.
size_t StorageSize(uint64_t size) {
    if (size > static_cast<uint64_t>(PTRDIFF_MAX)) throw std::bad_alloc();
    return size ? static_cast<size_t>(size) : 1;
}
}  // namespace

MemoryBuffer::MemoryBuffer(uint64_t size, std::pmr::memory_resource* resource)
    : m_uSize(size), mData(StorageSize(size), resource) {}

void MemoryBuffer::Write(const void* data, uint64_t offsetInBuffer, uint64_t bytesToWrite) {
    PRECONDITION(bytesToWrite == 0 || data != NULL);
    PRECONDITION(offsetInBuffer < m_uSize);
    PRECONDITION_MSG(bytesToWrite <= m_uSize - offsetInBuffer, "offsetInBuffer + bytesToWrite <= m_uSize");
    if (bytesToWrite == 0) return;
    std::memcpy(mData.data() + offsetInBuffer, data, bytesToWrite);
    mIsDirty = true;
}

void MemoryBuffer::Read(void* data, uint64_t offsetInBuffer, uint64_t bytesToRead) const {
    PRECONDITION(bytesToRead == 0 || data != NULL);
    PRECONDITION(offsetInBuffer < m_uSize);
    PRECONDITION_MSG(bytesToRead <= m_uSize - offsetInBuffer, "offsetInBuffer + bytesToRead <= m_uSize");
    if (bytesToRead == 0) return;
    std::memcpy(data, mData.data() + offsetInBuffer, bytesToRead);
}

void MemoryBuffer::Move(uint64_t newOffset, uint64_t oldOffset, uint64_t bytesToMove) {
    PRECONDITION(oldOffset < m_uSize);
    PRECONDITION(newOffset < m_uSize);
    PRECONDITION_MSG(bytesToMove <= m_uSize - oldOffset, "oldOffset + bytesToMove <= m_uSize");
    PRECONDITION_MSG(bytesToMove <= m_uSize - newOffset, "newOffset + bytesToMove <= m_uSize");
    if (bytesToMove == 0) return;
    std::memmove(mData.data() + newOffset, mData.data() + oldOffset, bytesToMove);
    mIsDirty = true;
}

void MemoryBuffer::Copy(uint64_t myOffset, const BufferHandle& source, uint64_t sourceOffset, uint64_t bytesToCopy) {
    PRECONDITION(myOffset < m_uSize);
    PRECONDITION_MSG(bytesToCopy <= m_uSize - myOffset, "myOffset + bytesToCopy <= m_uSize");
    CHECK(source);
    if (bytesToCopy == 0) return;
    mIsDirty = true;
    // The source applies its own bounds checks.
    source->Read(mData.data() + myOffset, sourceOffset, bytesToCopy);
}

void MemoryBuffer::Set(uint64_t offsetInBuffer, uint8_t value, uint64_t bytesToSet) {
    PRECONDITION(offsetInBuffer < m_uSize);
    PRECONDITION_MSG(bytesToSet <= m_uSize - offsetInBuffer, "offsetInBuffer + bytesToSet <= m_uSize");
    if (bytesToSet == 0) return;
    std::memset(mData.data() + offsetInBuffer, value, bytesToSet);
    mIsDirty = true;
}

int MemoryBuffer::Compare(const void* data, uint64_t offsetInBuffer, uint64_t bytesToCompare) const {
    PRECONDITION(bytesToCompare == 0 || data != NULL);
    PRECONDITION(offsetInBuffer < m_uSize);
    PRECONDITION_MSG(bytesToCompare <= m_uSize - offsetInBuffer, "offsetInBuffer + bytesToCompare <= m_uSize");
    if (bytesToCompare == 0) return 0;
    return std::memcmp(data, mData.data() + offsetInBuffer, bytesToCompare);
}

bool MemoryBuffer::CompareValue(uint8_t value, uint64_t offsetInBuffer, uint64_t bytesToCompare) const {
    PRECONDITION(offsetInBuffer < m_uSize);
    PRECONDITION_MSG(bytesToCompare <= m_uSize - offsetInBuffer, "offsetInBuffer + bytesToCompare <= m_uSize");
    const uint8_t* p = mData.data() + offsetInBuffer;
    for (uint64_t i = 0; i < bytesToCompare; ++i)
        if (p[i] != value) return false;
    return true;
}
