#pragma once
// What -verify checks on a GPT disk beyond the per-header and per-entry
// warnings: the two headers against each other and against the disk's size,
// where the entry arrays and the usable area lie, the in-use entries' extents
// and GUIDs, and the protective (or hybrid) MBR. The checks read only the
// plain facts below, which GptLayoutFactsOf copies out of the model.

#include <array>
#include <cstdint>
#include <vector>

#include "Utility/Layscan/Model/ConsistencyFinding.h"
#include "Utility/Layscan/Model/MbrEntryFacts.h"
#include "Utility/Layscan/OnDisk/Guid.h"

namespace nsLayout {
class GptDisk;
}

struct GptHeaderFacts {
    bool hasSignature = false;  // "EFI PART"; without it the other fields mean nothing
    uint64_t readAt = 0;        // where the model read it
    uint64_t myLba = 0;
    uint64_t alternateLba = 0;
    uint64_t firstUsableLba = 0;
    uint64_t lastUsableLba = 0;
    uint64_t entriesLba = 0;
    Guid diskGuid;
    uint32_t headerSize = 0;
    uint32_t entryCount = 0;
    uint32_t entrySize = 0;
    uint32_t entriesCrc = 0;
    // The bytes after the header size up to the end of its sector (of its
    // first 512 bytes where sectors are smaller) are zero.
    bool tailIsZero = true;
};

struct GptEntryFacts {
    uint32_t index = 0;
    Guid typeGuid;
    Guid uniqueGuid;
    uint64_t firstLba = 0;
    uint64_t lastLba = 0;
};

struct GptLayoutFacts {
    uint64_t sectorCount = 0;
    uint32_t sectorSize = 0;
    GptHeaderFacts primary;
    GptHeaderFacts backup;  // read where the primary names it; no signature when beyond the disk
    // The backup array holds the same bytes as the primary over the primary's
    // count x size (cut to what the model read).
    bool entryArraysEqual = true;
    // The entries of the primary array with a non-zero type or unique GUID.
    std::vector<GptEntryFacts> entries;
    std::array<MbrEntryFacts, 4> mbr{};
};

GptLayoutFacts GptLayoutFactsOf(const nsLayout::GptDisk& disk);

ConsistencyFindings CheckGptConsistency(const GptLayoutFacts& facts);
