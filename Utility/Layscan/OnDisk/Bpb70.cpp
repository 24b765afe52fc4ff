#include "Utility/Layscan/OnDisk/Bpb70.h"

OnDiskBpb70::OnDiskBpb70(BufferHandle bh, uint64_t offset)
    : OnDiskExLittleEndian(std::move(bh), offset, nullptr, 0, 0, "Bpb70") {
    mBpb34.Bind(m_bh, this, 2, 0);
    SetSize(kSize);
    CheckThis();
}

uint64_t OnDiskBpb70::GetStructOffset(uint32_t fieldId, uint64_t index) const {
    if (fieldId != 2) ONDISK_INVALID_FIELD();
    PRECONDITION(index == 0);
    return GetOD_ZeroOffset();
}

void OnDiskBpb70::GetReserved(uint8_t* destination, uint64_t startIndex, uint64_t count) const {
    ONDISK_ARRAY_RANGE(12, startIndex, count);
    GetBytes(Own(16), destination, startIndex, count);
}

std::string OnDiskBpb70::GetVolumeName() const {
    char text[11];
    GetBytes(Own(35), text, 0, sizeof text);
    return std::string(text, sizeof text);
}

std::string OnDiskBpb70::GetFileSystemType() const {
    char text[8];
    GetBytes(Own(46), text, 0, sizeof text);
    return std::string(text, sizeof text);
}
