#include "Utility/Layscan/OnDisk/BpbExFat.h"

OnDiskBpbExFat::OnDiskBpbExFat(BufferHandle bh, uint64_t offset)
    : OnDiskExLittleEndian(std::move(bh), offset, nullptr, 0, 0, "BpbExFat") {
    SetSize(kSize);
    CheckThis();
}

uint64_t OnDiskBpbExFat::GetStructOffset(uint32_t, uint64_t) const { ONDISK_INVALID_FIELD(); }

void OnDiskBpbExFat::GetJump(uint8_t* destination, uint64_t startIndex, uint64_t count) const {
    ONDISK_ARRAY_RANGE(3, startIndex, count);
    GetBytes(0x00, destination, startIndex, count);
}

std::string OnDiskBpbExFat::GetOemName() const {
    char text[8];
    GetBytes(0x03, text, 0, sizeof text);
    return std::string(text, sizeof text);
}
