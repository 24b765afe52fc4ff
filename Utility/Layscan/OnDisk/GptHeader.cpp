#include "Utility/Layscan/OnDisk/GptHeader.h"

#include <cstring>

OnDiskGptHeader::OnDiskGptHeader(BufferHandle bh, uint64_t offset)
    : OnDiskExLittleEndian(std::move(bh), offset, nullptr, 0, 0, "GptHeader") {
    SetSize(kSectorBytes);
    CheckThis();
}

uint64_t OnDiskGptHeader::GetStructOffset(uint32_t, uint64_t) const { ONDISK_INVALID_FIELD(); }

void OnDiskGptHeader::GetSignature(uint8_t* destination, uint64_t startIndex, uint64_t count) const {
    ONDISK_ARRAY_RANGE(8, startIndex, count);
    GetBytes(0, destination, startIndex, count);
}

void OnDiskGptHeader::GetReserved1(uint8_t* destination, uint64_t startIndex, uint64_t count) const {
    ONDISK_ARRAY_RANGE(4, startIndex, count);
    GetBytes(20, destination, startIndex, count);
}

void OnDiskGptHeader::GetDiskGUID(uint8_t* destination, uint64_t startIndex, uint64_t count) const {
    ONDISK_ARRAY_RANGE(16, startIndex, count);
    GetBytes(56, destination, startIndex, count);
}

Guid OnDiskGptHeader::GetDiskGuid() const {
    Guid g;
    GetDiskGUID(g.bytes.data(), 0, g.bytes.size());
    return g;
}

bool OnDiskGptHeader::IsSignatureValid() const {
    uint8_t signature[8];
    GetSignature(signature, 0, sizeof signature);
    return std::memcmp(signature, "EFI PART", sizeof signature) == 0;
}

std::wstring OnDiskGptHeader::GetRevisionText() const {
    return GetRevision() == kRevision1_0 ? L"1.0" : L"Unknown";
}
