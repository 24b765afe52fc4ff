#pragma once
// Writes MBR and EPBR sectors into a test disk: partition entries with their
// CHS values (calculated with the translation geometry unless given) and the
// boot signature; Build makes a whole disk from one string.

#include <cstdint>
#include <cstdio>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>

#include "support/FileBytes.h"
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

// The record at byte `record` of bytes, given the boot signature unless it has one.
inline std::vector<uint8_t>& Signed(std::vector<uint8_t>& bytes, size_t record = 0) {
    if (bytes[record + 510] == 0 && bytes[record + 511] == 0) bytes[record + 510] = 0x55, bytes[record + 511] = 0xAA;
    return bytes;
}

// An entry in slot `slot` of the record at byte `record` of bytes, its CHS values counted from base; the
// record gets the boot signature unless it has one.
inline void PutEntry(std::vector<uint8_t>& bytes, size_t record, int slot, uint8_t type, uint32_t start,
                     uint32_t count, uint64_t base, uint8_t boot = 0) {
    const size_t at = record + 446 + 16 * size_t(slot);
    Signed(bytes, record);
    bytes[at] = boot;
    bytes[at + 4] = type;
    PutLittleEndian(bytes, at + 8, start, 4);
    PutLittleEndian(bytes, at + 12, count, 4);
    PutChs(bytes, at + 1, ChsOf(base + start));
    PutChs(bytes, at + 5, ChsOf(base + start + count - 1));
}

class Disk {
public:
    explicit Disk(uint64_t sectorCount, uint32_t bytesPerSector = 512)
        : mProvider(std::make_shared<SparseSectorProvider>(sectorCount, bytesPerSector)) {}

    // An entry of the record at lba; absoluteBase is what its start counts
    // from, for calculating its CHS values.
    Disk& Entry(uint64_t lba, int slot, uint8_t type, uint32_t start, uint32_t count, uint64_t absoluteBase = 0,
                uint8_t boot = 0) {
        PutEntry(mProvider->Sector(lba), 0, slot, type, start, count, absoluteBase, boot);
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
    Disk& Boot(uint64_t lba, int slot, uint8_t indicator) {
        return Signed(mProvider->Sector(lba))[446 + 16 * slot] = indicator, *this;
    }
    Disk& Signature(uint64_t lba, uint16_t signature) {
        return PutLittleEndian(mProvider->Sector(lba), 510, signature, 2), *this;
    }

    SparseSectorProvider& Provider() { return *mProvider; }
    std::shared_ptr<SparseSectorProvider> SharedProvider() { return mProvider; }

private:
    std::shared_ptr<SparseSectorProvider> mProvider;
};

// A disk in one string of items: #SECTORS[/BYTES] its size (default 100000/512);
// R.S:TT:START+COUNT[*][@BASE] an entry of type TT (hex) in slot S of the record at LBA R,
// its CHS calculated from BASE (default R), active when marked *;
// R.S<C,H,S and R.S>C,H,S its begin and end CHS; R!XXXX the record's signature;
// R@OFF=XX/W the little-endian hex value XX, W bytes wide, at byte OFF of sector R.
// Any record written gets the boot signature. cR:START+COUNT[:TT] an EPBR at R
// in a chain whose extended partition (MBR slot 0, 60000 sectors) starts at
// the first one, its logical of type TT (default 07); each links to the next,
// the last one to the LBA of loop=R (default none).
inline Disk Build(const std::string& layout) {
    unsigned long long r = 100000, loopTo = 0, base, value;
    unsigned bytes = 512, slot, type, start, count, c, h, s;
    char op;
    std::sscanf(layout.c_str() + std::min(layout.find('#'), layout.size()), "#%llu/%u", &r, &bytes);
    std::sscanf(layout.c_str() + std::min(layout.find("loop="), layout.size()), "loop=%llu", &loopTo);
    Disk d(r, bytes);
    std::vector<std::tuple<uint64_t, unsigned, unsigned, unsigned>> chain;  // LBA, start, count, type
    std::istringstream links(layout);
    for (std::string item; links >> item;)
        if (type = 7; std::sscanf(item.c_str(), "c%llu:%u+%u:%x", &r, &start, &count, &type) >= 3)
            chain.emplace_back(r, start, count, type);
    for (size_t i = 0; i < chain.size(); ++i) {
        const auto [lba, first, size, logical] = chain[i];
        if (i == 0) d.Entry(0, 0, 0x05, static_cast<uint32_t>(lba), 60000);
        d.ChainEpbr(std::get<0>(chain[0]), lba, first, size, i + 1 < chain.size() ? std::get<0>(chain[i + 1]) : loopTo,
                    static_cast<uint8_t>(logical));
    }
    std::istringstream items(layout);
    for (std::string item; items >> item;) {
        const char* at = item.c_str();
        if (std::sscanf(at, "%llu.%u:%x:%u+%u", &r, &slot, &type, &start, &count) == 5) {
            base = item.find('@') == std::string::npos ? r : std::stoull(item.substr(item.find('@') + 1));
            d.Entry(r, int(slot), uint8_t(type), start, count, base, item.find('*') != std::string::npos ? 0x80 : 0);
        } else if (std::sscanf(at, "%llu.%u%c%u,%u,%u", &r, &slot, &op, &c, &h, &s) == 6) {
            PutChs(Signed(d.Provider().Sector(r)), 446 + 16 * slot + (op == '<' ? 1 : 5), {c, h, s});
        } else if (std::sscanf(at, "%llu!%x", &r, &type) == 2) {
            d.Signature(r, uint16_t(type));
        } else if (std::sscanf(at, "%llu@%u=%llx/%u", &r, &start, &value, &count) == 4) {
            PutLittleEndian(d.Provider().Sector(r), start, value, count);
        } else if (item[0] != '#' && item[0] != 'c' && !item.starts_with("loop=")) {
            throw std::invalid_argument("not an MBR disk item: " + item);
        }
    }
    return d;
}

}  // namespace mbrimage
