#pragma once
// Asks the storage driver of a physical disk for its sector sizes and
// alignment offsets.

#include <cstdint>
#include <string>

#include "Utility/Layscan/Model/StorageAccessAlignmentDescriptor.h"

// Fills the descriptor of physical drive diskNumber. Never fails: a drive that
// cannot be opened or does not report the property leaves Version 0.
void QueryAccessAlignment(uint16_t diskNumber, nsLayout::StorageAccessAlignmentDescriptor& descriptor);

// Linux build only: fills the descriptor from the block-device attributes under
// sysfsRoot ("/sys" on a running system) of the whole disk diskName ("sdb"):
// queue/logical_block_size, queue/physical_block_size and alignment_offset.
// Linux has no cache-line property, so both cache fields are 0. Version is 1
// and Size 28 only when all three attributes read as unsigned 32-bit numbers;
// otherwise the descriptor is left with Version 0 and everything else 0.
void ReadSysfsAccessAlignment(const std::string& sysfsRoot, const std::string& diskName,
                              nsLayout::StorageAccessAlignmentDescriptor& descriptor);
