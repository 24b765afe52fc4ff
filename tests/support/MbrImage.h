#pragma once
// Writes MBR and EPBR sectors into a test disk: partition entries with their
// CHS values (calculated with the translation geometry unless given) and the
// boot signature.

#include <cstdint>
#include <memory>

#include "support/SparseSectorProvider.h"

namespace mbrimage {

struct Chs {
    uint32_t cylinder, head, sector;
};

// The translation geometry's CHS of an LBA, with 1023/254/63 beyond its reach.
inline Chs ChsOf(uint64_t lba) {
    const uint64_t cylinder = lba / 63 / 254;
    if (cylinder > 1023) return {1023, 253, 63};
    return {static_cast<uint32_t>(cylinder), static_cast<uint32_t>(lba / 63 % 254), static_cast<uint32_t>(lba % 63 + 1)};
}

inline void PutChs(std::vector<uint8_t>& s, size_t at, Chs chs) {
    s[at] = static_cast<uint8_t>(chs.head);
    s[at + 1] = static_cast<uint8_t>((chs.sector & 0x3F) | ((chs.cylinder >> 2) & 0xC0));
    s[at + 2] = static_cast<uint8_t>(chs.cylinder & 0xFF);
}

inline void Put32(std::vector<uint8_t>& s, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) s[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

class Disk {
public:
    explicit Disk(uint64_t sectorCount, uint32_t bytesPerSector = 512)
        : mProvider(std::make_shared<SparseSectorProvider>(sectorCount, bytesPerSector)) {}

    // An entry of the record at lba; absoluteBase is what its start counts
    // from, for calculating its CHS values.
    Disk& Entry(uint64_t lba, int slot, uint8_t type, uint32_t start, uint32_t count, uint64_t absoluteBase = 0,
                uint8_t boot = 0) {
        auto& s = Sign(lba);
        const size_t at = 446 + 16 * slot;
        s[at] = boot;
        s[at + 4] = type;
        Put32(s, at + 8, start);
        Put32(s, at + 12, count);
        PutChs(s, at + 1, ChsOf(absoluteBase + start));
        PutChs(s, at + 5, ChsOf(absoluteBase + start + count - 1));
        return *this;
    }
    // An EPBR at lba with a logical entry in slot 0 (relative to lba) and, unless
    // next is 0, a link in slot 1 to the EPBR at next (relative to extendedStart).
    Disk& ChainEpbr(uint64_t extendedStart, uint64_t lba, uint32_t logicalStart, uint32_t logicalCount, uint64_t next,
                    uint8_t type = 0x07) {
        Entry(lba, 0, type, logicalStart, logicalCount, lba);
        if (next) Entry(lba, 1, 0x05, static_cast<uint32_t>(next - extendedStart), 100, extendedStart);
        return Signature(lba, 0xAA55);
    }
    Disk& BeginChs(uint64_t lba, int slot, Chs chs) { return PutChs(Sign(lba), 446 + 16 * slot + 1, chs), *this; }
    Disk& EndChs(uint64_t lba, int slot, Chs chs) { return PutChs(Sign(lba), 446 + 16 * slot + 5, chs), *this; }
    Disk& Boot(uint64_t lba, int slot, uint8_t indicator) { return Sign(lba)[446 + 16 * slot] = indicator, *this; }
    Disk& Signature(uint64_t lba, uint16_t signature) {
        auto& s = mProvider->Sector(lba);
        s[510] = static_cast<uint8_t>(signature);
        s[511] = static_cast<uint8_t>(signature >> 8);
        return *this;
    }

    SparseSectorProvider& Provider() { return *mProvider; }
    std::shared_ptr<SparseSectorProvider> SharedProvider() { return mProvider; }

private:
    std::vector<uint8_t>& Sign(uint64_t lba) {
        auto& s = mProvider->Sector(lba);
        if (s[510] == 0 && s[511] == 0) {
            s[510] = 0x55;
            s[511] = 0xAA;
        }
        return s;
    }

    std::shared_ptr<SparseSectorProvider> mProvider;
};

}  // namespace mbrimage
