#include "Utility/Layscan/OnDisk/BpbKind.h"

#include <cstring>

namespace {

bool IsExtendedSignature(uint8_t b) { return b == 0x28 || b == 0x29; }

// True when the 8-byte type text at `offset` is plain ASCII. A boot sector
// whose signature byte only happens to be 0x28/0x29 seldom passes this.
bool IsAsciiType(const uint8_t* sector, size_t offset) {
    for (size_t i = offset; i < offset + 8; ++i)
        if (sector[i] >= 0x80) return false;
    return true;
}

bool HasText(const uint8_t* sector, size_t size, size_t offset, const char* text) {
    size_t n = std::strlen(text);
    return offset + n <= size && std::memcmp(sector + offset, text, n) == 0;
}

}  // namespace

BpbKind DetectBpbKind(const uint8_t* sector, size_t size) {
    if (size == 0 || sector == nullptr) return BpbKind::None;
    // Every byte equals the first when every byte equals the next; the first
    // sectors of a long chain's logical partitions are mostly empty.
    if (std::memcmp(sector, sector + 1, size - 1) == 0) return BpbKind::None;

    if (size >= 0x5A && IsExtendedSignature(sector[0x42]) && IsAsciiType(sector, 0x52)) return BpbKind::Fat32;
    if (size >= 0x3E && IsExtendedSignature(sector[0x26]) && IsAsciiType(sector, 0x36)) return BpbKind::Fat1216;
    if ((size > 0x26 && sector[0x26] == 0x80) || HasText(sector, size, 3, "NTFS")) return BpbKind::Ntfs;
    if (HasText(sector, size, 3, "EXFAT")) return BpbKind::ExFat;
    return BpbKind::Fallback;
}
