#include "Utility/Layscan/OnDisk/Bpb40.h"

OnDiskBpb40::OnDiskBpb40(BufferHandle bh, uint64_t offset)
    : OnDiskExLittleEndian(std::move(bh), offset, nullptr, 0, 0, "Bpb40") {
    mBpb34.Bind(m_bh, this, 2, 0);
    SetSize(kSize);
    CheckThis();
}

uint64_t OnDiskBpb40::GetStructOffset(uint32_t fieldId, uint64_t index) const {
    if (fieldId != 2) ONDISK_INVALID_FIELD();
    PRECONDITION(index == 0);
    return GetOD_ZeroOffset();
}

std::string OnDiskBpb40::GetVolumeLabel() const {
    char text[11];
    GetBytes(Own(7), text, 0, sizeof text);
    return std::string(text, sizeof text);
}

std::string OnDiskBpb40::GetFileSystemType() const {
    char text[8];
    GetBytes(Own(18), text, 0, sizeof text);
    return std::string(text, sizeof text);
}
