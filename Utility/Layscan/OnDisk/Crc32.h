#pragma once
// The CRC-32 of the GUID partition table: the reflected IEEE 802.3 checksum
// (polynomial 0xEDB88320, register preset to all ones, result inverted).

#include <cstdint>

// A previous value of 0xFFFFFFFF starts a new checksum; any other previous
// value is a checksum returned earlier and is continued over the next piece.
uint32_t Crc32(const void* data, uint64_t length, uint32_t previous = 0xFFFFFFFFu);
