#pragma once
// The master boot record in sector 0.

#include "Utility/Layscan/Model/BootRecordBase.h"

class Mbr : public BootRecordBase {
public:
    Mbr(SectorProvider& sectors, std::shared_ptr<const Geometry> geometry);
    Mbr(SectorProvider& sectors, const Geometry& geometry);
    // Over sector 0 already read (sectorSize bytes).
    Mbr(const uint8_t* sector, uint32_t sectorSize, std::shared_ptr<const Geometry> geometry);

    // A primary entry is also invalid when it overlaps another entry or runs
    // past the end of the disk.
    bool IsEntryValid(uint32_t index) const override;
    // The validity test the report asks of the MBR; the record's own rule.
    bool IsMbrValid(bool signatureOnly) const;

    // The first other non-empty slot, in slot order, whose range meets entry
    // index's. Every sum is 32-bit on the raw fields, as the entries store them.
    bool FindOverlappingEntry(uint32_t index, uint32_t& slot) const;
    // u32(start + count) beyond the geometry's sector count.
    bool ExtendsBeyondDisk(uint32_t index) const;
};

