#include "Utility/Layscan/Report/JsonText.h"

#include <cstdint>

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char32_t u) { return u >= 0xD800 && u <= 0xDBFF; }
bool IsLowSurrogate(char32_t u) { return u >= 0xDC00 && u <= 0xDFFF; }

void Append(char32_t c, std::string& out) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = kReplacement;
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

template <class Unit>
std::string FromUtf16(std::basic_string_view<Unit> units) {
    std::string out;
    out.reserve(units.size());
    for (size_t i = 0; i < units.size(); ++i) {
        const char32_t u = static_cast<uint16_t>(units[i]);
        if (IsHighSurrogate(u) && i + 1 < units.size() && IsLowSurrogate(static_cast<uint16_t>(units[i + 1]))) {
            const char32_t low = static_cast<uint16_t>(units[++i]);
            Append(0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00), out);
        } else {
            Append(u, out);  // an unpaired surrogate comes out as U+FFFD
        }
    }
    return out;
}

}  // namespace

std::string Utf8FromUtf16(std::u16string_view units) { return FromUtf16(units); }

std::string Utf8FromWide(std::wstring_view text) {
    if constexpr (sizeof(wchar_t) == 2) {
        return FromUtf16(text);
    } else {
        std::string out;
        out.reserve(text.size());
        for (wchar_t c : text) Append(static_cast<char32_t>(c), out);
        return out;
    }
}
