#pragma once
// The sector sizes and alignment offsets that the storage driver reports for
// a physical disk, for the geometry section.

#include <cstdint>
#include <string>

// The system's storage access alignment descriptor, field for field (28 bytes).
// A non-zero Version after the query means that the other fields are valid.
struct StorageAccessAlignmentDescriptor {
    uint32_t Version = 0;
    uint32_t Size = 0;
    uint32_t BytesPerCacheLine = 0;
    uint32_t BytesOffsetForCacheAlignment = 0;
    uint32_t BytesPerLogicalSector = 0;
    uint32_t BytesPerPhysicalSector = 0;
    uint32_t BytesOffsetForSectorAlignment = 0;
};
static_assert(sizeof(StorageAccessAlignmentDescriptor) == 28, "the descriptor is exchanged with the driver as is");

// Fills the descriptor of physical drive diskNumber. Never fails: a drive that
// cannot be opened or does not report the property leaves Version 0.
void QueryAccessAlignment(uint16_t diskNumber, StorageAccessAlignmentDescriptor& descriptor);

// Linux build only: fills the descriptor from the block-device attributes under
// sysfsRoot ("/sys" on a running system) of the whole disk diskName ("sdb"):
// queue/logical_block_size, queue/physical_block_size and alignment_offset.
// Linux has no cache-line property, so both cache fields are 0. Version is 1
// and Size 28 only when all three attributes read as unsigned 32-bit numbers;
// otherwise the descriptor is left with Version 0 and everything else 0.
void ReadSysfsAccessAlignment(const std::string& sysfsRoot, const std::string& diskName,
                              StorageAccessAlignmentDescriptor& descriptor);
