#include "Base/Dev/OnDisk/OnDiskExLittleEndian.h"

uint64_t OnDiskExLittleEndian::ReadLe(uint64_t fieldOffset, unsigned width) const {
    CheckThis();
    uint64_t zero = GetOD_ZeroOffset();
    uint8_t bytes[8] = {};
    m_bh->Read(bytes, zero + fieldOffset, width);
    uint64_t value = 0;
    for (unsigned i = width; i-- > 0;) value = (value << 8) | bytes[i];
    mShadow = value;
    return value;
}

uint32_t OnDiskExLittleEndian::GetBits8(uint64_t byteOffset, uint32_t bitOffset, uint32_t nBits) const {
    PRECONDITION(bitOffset + nBits <= 8);
    uint32_t byte = GetUInt8(byteOffset);
    uint32_t value = (byte >> bitOffset) & (0xFFu >> (8 - nBits));
    mShadow = value;
    return value;
}

void OnDiskExLittleEndian::GetBytes(uint64_t fieldOffset, void* destination, uint64_t startIndex,
                                     uint64_t count) const {
    CheckThis();
    uint64_t zero = GetOD_ZeroOffset();
    if (count) m_bh->Read(destination, zero + fieldOffset + startIndex, count);
}
