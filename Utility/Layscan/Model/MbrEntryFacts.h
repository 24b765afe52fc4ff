#pragma once
// The raw fields of one MBR partition entry that the consistency checks judge,
// copied out of the record so that the checks need no sector and no view.

#include <cstdint>

struct MbrEntryFacts {
    uint8_t bootIndicator = 0;
    uint8_t type = 0;
    uint32_t startSector = 0;
    uint32_t sectorCount = 0;
};
