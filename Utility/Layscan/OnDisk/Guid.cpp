#include "Utility/Layscan/OnDisk/Guid.h"

#include <cctype>

namespace {

// The text position of each on-disk byte, in text order.
constexpr int kTextOrder[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return (c >= 'a' && c <= 'f') ? c - 'a' + 10 : 0;
}

}  // namespace

bool Guid::IsNull() const {
    for (uint8_t b : bytes)
        if (b) return false;
    return true;
}

std::wstring Guid::ToText() const {
    static const wchar_t digits[] = L"0123456789abcdef";
    std::wstring text;
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += L'-';
        uint8_t b = bytes[kTextOrder[i]];
        text += digits[b >> 4];
        text += digits[b & 0xF];
    }
    return text;
}

Guid Guid::FromText(const char* text) {
    Guid g;
    int i = 0;
    for (const char* p = text; *p && i < 16;) {
        if (*p == '-') {
            ++p;
            continue;
        }
        if (!p[1]) break;
        g.bytes[kTextOrder[i++]] = static_cast<uint8_t>(HexValue(p[0]) << 4 | HexValue(p[1]));
        p += 2;
    }
    return g;
}

const Guid& Guid::EfiSystemPartition() {
    static const Guid g = FromText("C12A7328-F81F-11D2-BA4B-00A0C93EC93B");
    return g;
}

const Guid& Guid::BasicData() {
    static const Guid g = FromText("EBD0A0A2-B9E5-4433-87C0-68B6B72699C7");
    return g;
}
