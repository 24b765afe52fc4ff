#pragma once
// Bounds-checked byte buffers. Every operation checks its offsets against the
// buffer's size, in a fixed order, before any byte is touched.

#include <cstdint>
#include <memory>
#include <memory_resource>
#include <vector>

class Buffer;
using BufferHandle = std::shared_ptr<Buffer>;

class Buffer {
public:
    virtual ~Buffer() = default;
    virtual void Write(const void* data, uint64_t offsetInBuffer, uint64_t bytesToWrite) = 0;
    virtual void Read(void* data, uint64_t offsetInBuffer, uint64_t bytesToRead) const = 0;
    virtual void Move(uint64_t newOffset, uint64_t oldOffset, uint64_t bytesToMove) = 0;
    virtual void Copy(uint64_t myOffset, const BufferHandle& source, uint64_t sourceOffset, uint64_t bytesToCopy) = 0;
    virtual void Set(uint64_t offsetInBuffer, uint8_t value, uint64_t bytesToSet) = 0;
    virtual int Compare(const void* data, uint64_t offsetInBuffer, uint64_t bytesToCompare) const = 0;
    virtual bool CompareValue(uint8_t value, uint64_t offsetInBuffer, uint64_t bytesToCompare) const = 0;
};

class MemoryBuffer : public Buffer {
public:
    // A zero-filled buffer of the given size.
    explicit MemoryBuffer(uint64_t size);
    // The same, with the bytes taken from resource (a model's arena).
    MemoryBuffer(uint64_t size, std::pmr::memory_resource* resource);
    static std::shared_ptr<MemoryBuffer> Create(uint64_t size) { return std::make_shared<MemoryBuffer>(size); }

    void Write(const void* data, uint64_t offsetInBuffer, uint64_t bytesToWrite) override;
    void Read(void* data, uint64_t offsetInBuffer, uint64_t bytesToRead) const override;
    void Move(uint64_t newOffset, uint64_t oldOffset, uint64_t bytesToMove) override;
    void Copy(uint64_t myOffset, const BufferHandle& source, uint64_t sourceOffset, uint64_t bytesToCopy) override;
    void Set(uint64_t offsetInBuffer, uint8_t value, uint64_t bytesToSet) override;
    int Compare(const void* data, uint64_t offsetInBuffer, uint64_t bytesToCompare) const override;
    bool CompareValue(uint8_t value, uint64_t offsetInBuffer, uint64_t bytesToCompare) const override;

    uint64_t GetSize() const { return m_uSize; }
    bool IsDirty() const { return mIsDirty; }
    // The storage, for filling straight from a sector source.
    uint8_t* Data() { return mData.data(); }
    const uint8_t* Data() const { return mData.data(); }

private:
    uint64_t m_uSize;
    std::pmr::vector<uint8_t> mData;
    bool mIsDirty = false;
};
