#pragma once
// The listing of a volume boot sector's BIOS parameter block, field by field,
// in the shape its detected kind calls for (see BpbKind.h). The listing is
// built once as fields with their values; the report writes it as text and
// the JSON document takes its values.

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

#include "Utility/Layscan/OnDisk/BpbKind.h"

// How a field's value is written in the text listing.
enum class BpbFormat {
    Dec,          // decimal
    Hex2,         // two upper-case hex digits, no "0x"
    Hex0x2,       // "0x" and at least 2, 4 or 8 upper-case hex digits
    Hex0x4,
    Hex0x8,
    DecHex2,      // decimal, then " (0x" and at least 2, 4 or 8 hex digits and ")"
    DecHex4,
    DecHex8,
    DecHex2Wide,  // decimal, then "  (0x" (two blanks), 2 hex digits and ")"
    Text,         // the raw bytes, one character each
    Bytes,        // each byte as 2 hex digits followed by a blank
    Jump,         // the bytes as 2 hex digits each, blank-separated
};

struct BpbField {
    // The 29-character label as the listing writes it, number and padding included.
    const wchar_t* label;
    BpbFormat format;
    uint64_t number = 0;            // for the number formats
    std::string text;               // for Text
    std::vector<uint8_t> bytes;     // for Bytes and Jump
};

struct BpbListing {
    BpbKind kind = BpbKind::None;
    std::string fileSystemType;  // the FAT kinds' type text, for the heading
    std::vector<BpbField> fields;
};

// The listing of a sector in memory; kind None (no fields) for a sector of
// one repeated byte.
BpbListing ListBpbSector(const uint8_t* sector, size_t size);

// A listing's label split into its item number and its words ("Jump").
unsigned BpbItemNumber(const BpbField& field);
std::wstring BpbItemName(const BpbField& field);

// Lists the boot sector (size bytes of it); writes nothing for a sector of
// one repeated byte.
void PrintBpbSector(const uint8_t* sector, size_t size, std::wostream& out);
