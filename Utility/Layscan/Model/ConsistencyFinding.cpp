#include "Utility/Layscan/Model/ConsistencyFinding.h"

#include <cwchar>

std::wstring FindingDecimal(uint64_t value) { return std::to_wstring(value); }

std::wstring FindingHex(uint64_t value, int digits) {
    wchar_t text[24];
    std::swprintf(text, 24, L"0x%0*llX", digits, static_cast<unsigned long long>(value));
    return text;
}
