#pragma once
// Field readers for little-endian structures. Every read goes through the
// buffer's own bounds checks at the view's zero offset plus the field offset.

#include "Base/Dev/OnDisk/OnDiskEx.h"

class OnDiskExLittleEndian : public OnDiskEx {
public:
    using OnDiskEx::OnDiskEx;

    uint8_t GetUInt8(uint64_t fieldOffset) const { return static_cast<uint8_t>(ReadLe(fieldOffset, 1)); }
    uint16_t GetUInt16(uint64_t fieldOffset) const { return static_cast<uint16_t>(ReadLe(fieldOffset, 2)); }
    uint32_t GetUInt32(uint64_t fieldOffset) const { return static_cast<uint32_t>(ReadLe(fieldOffset, 4)); }
    uint64_t GetUInt64(uint64_t fieldOffset) const { return ReadLe(fieldOffset, 8); }
    // (byte >> bitOffset) & (0xFF >> (8 - nBits)).
    uint32_t GetBits8(uint64_t byteOffset, uint32_t bitOffset, uint32_t nBits) const;
    // Copies count bytes of a byte-array field, starting at element startIndex.
    // Range checks belong to the named getter (ONDISK_ARRAY_RANGE) so that
    // their failures carry its name.
    void GetBytes(uint64_t fieldOffset, void* destination, uint64_t startIndex, uint64_t count) const;

    // The last value a getter read; kept for inspection in a debugger only.
    uint64_t GetShadow() const { return mShadow; }

private:
    uint64_t ReadLe(uint64_t fieldOffset, unsigned width) const;
    mutable uint64_t mShadow = 0;
};
