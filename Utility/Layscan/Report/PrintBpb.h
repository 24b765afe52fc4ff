#pragma once
// The listing of a volume boot sector's BIOS parameter block, field by field,
// in the shape its detected kind calls for (see BpbKind.h).

#include <cstddef>
#include <cstdint>
#include <ostream>

class SectorProvider;

// Reads the sector at `lba` and lists it; writes nothing for a sector of one
// repeated byte. A failed read propagates the source's failure.
void PrintBpb(SectorProvider& source, uint64_t lba, std::wostream& out);

// The same for a sector already in memory.
void PrintBpbSector(const uint8_t* sector, size_t size, std::wostream& out);
