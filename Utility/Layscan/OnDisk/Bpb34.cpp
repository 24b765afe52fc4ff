#include "Utility/Layscan/OnDisk/Bpb34.h"

OnDiskBpb34::OnDiskBpb34(BufferHandle bh, uint64_t offset)
    : OnDiskExLittleEndian(std::move(bh), offset, nullptr, 0, 0, "Bpb34") {
    SetSize(kSize);
    CheckThis();
}

OnDiskBpb34::OnDiskBpb34() : OnDiskExLittleEndian(nullptr, 0, nullptr, 0, 0, "Bpb34") { CheckThis(); }

void OnDiskBpb34::Bind(const BufferHandle& bh, OnDiskEx* container, uint32_t fieldId, uint64_t index) {
    SetUpSubStruct(bh, container, fieldId, index);
    SetSize(kSize);
}

uint64_t OnDiskBpb34::GetStructOffset(uint32_t, uint64_t) const { ONDISK_INVALID_FIELD(); }

void OnDiskBpb34::GetJump(uint8_t* destination, uint64_t startIndex, uint64_t count) const {
    ONDISK_ARRAY_RANGE(3, startIndex, count);
    GetBytes(0x00, destination, startIndex, count);
}

std::string OnDiskBpb34::GetOemName() const {
    char text[8];
    GetBytes(0x03, text, 0, sizeof text);
    return std::string(text, sizeof text);
}
