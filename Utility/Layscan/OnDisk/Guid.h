#pragma once
// A GUID as its 16 bytes lie on disk (the first three groups little-endian).

#include <array>
#include <cstdint>
#include <string>

struct Guid {
    std::array<uint8_t, 16> bytes{};

    bool IsNull() const;
    bool operator==(const Guid& other) const { return bytes == other.bytes; }
    // 8-4-4-4-12 lower-case hexadecimal digits, no braces: bytes 3 2 1 0, 5 4, 7 6, 8 9, 10..15.
    std::wstring ToText() const;
    // The inverse of ToText, for constants; the text must be well formed.
    static Guid FromText(const char* text);

    static const Guid& EfiSystemPartition();  // C12A7328-F81F-11D2-BA4B-00A0C93EC93B
    static const Guid& BasicData();           // EBD0A0A2-B9E5-4433-87C0-68B6B72699C7
};
