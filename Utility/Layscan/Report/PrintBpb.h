#pragma once
// The listing of a volume boot sector's BIOS parameter block, field by field,
// in the shape its detected kind calls for (see BpbKind.h).

#include <cstddef>
#include <cstdint>
#include <ostream>

// Lists the boot sector (size bytes of it); writes nothing for a sector of
// one repeated byte.
void PrintBpbSector(const uint8_t* sector, size_t size, std::wostream& out);
