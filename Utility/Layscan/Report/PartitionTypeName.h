#pragma once
// The short label the report gives an MBR partition for its one-byte type.

#include <cstddef>
#include <cstdint>
#include <string>

// firstSector holds the partition's first sector (size bytes of it); only type
// 0x07 looks at it, at bytes 3 to 7, to tell exFAT ("exFat") from NTFS. A
// sector too short to hold those bytes counts as NTFS. Unlisted types are
// "Unknown". Labels are at most 13 characters. Never fails.
std::wstring GetPartitionTypeName(uint8_t type, const uint8_t* firstSector, size_t size);
