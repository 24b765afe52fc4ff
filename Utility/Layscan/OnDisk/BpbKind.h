#pragma once
// Which BIOS parameter block a volume boot sector carries, decided from its
// bytes alone. The tests run in a fixed order and the first that passes wins:
// FAT32, FAT12/16, NTFS, exFAT; anything else gets the common block only, and
// a sector of one repeated byte gets nothing at all.

#include <cstddef>
#include <cstdint>

enum class BpbKind { None, Fat32, Fat1216, Ntfs, ExFat, Fallback };

// A test that needs bytes beyond `size` fails, so a short sector can only be
// None or Fallback.
BpbKind DetectBpbKind(const uint8_t* sector, size_t size);
