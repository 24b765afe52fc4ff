#include "Utility/Layscan/OnDisk/BpbNt.h"

OnDiskBpbNt::OnDiskBpbNt(BufferHandle bh, uint64_t offset)
    : OnDiskExLittleEndian(std::move(bh), offset, nullptr, 0, 0, "BpbNt") {
    mBpb34.Bind(m_bh, this, 2, 0);
    SetSize(kSize);
    CheckThis();
}

uint64_t OnDiskBpbNt::GetStructOffset(uint32_t fieldId, uint64_t index) const {
    if (fieldId != 2) ONDISK_INVALID_FIELD();
    PRECONDITION(index == 0);
    return GetOD_ZeroOffset();
}
