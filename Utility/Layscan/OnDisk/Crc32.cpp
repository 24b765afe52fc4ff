#include "Utility/Layscan/OnDisk/Crc32.h"

#include <array>

namespace {

constexpr std::array<uint32_t, 256> MakeTable() {
    std::array<uint32_t, 256> table{};
    for (uint32_t n = 0; n < 256; ++n) {
        uint32_t c = n;
        for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        table[n] = c;
    }
    return table;
}

constexpr std::array<uint32_t, 256> kTable = MakeTable();

}  // namespace

uint32_t Crc32(const void* data, uint64_t length, uint32_t previous) {
    // A finished checksum is stored inverted; undo that to pick up where it left off.
    uint32_t crc = previous == 0xFFFFFFFFu ? previous : ~previous;
    const uint8_t* p = static_cast<const uint8_t*>(data);
    for (uint64_t i = 0; i < length; ++i) crc = kTable[(crc ^ p[i]) & 0xFF] ^ (crc >> 8);
    return ~crc;
}
