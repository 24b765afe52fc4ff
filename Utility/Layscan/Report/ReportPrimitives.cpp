#include "Utility/Layscan/Report/ReportPrimitives.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <vector>

#include "Utility/Layscan/Model/SectorCopies.h"
#include "Utility/Layscan/Report/ReportStream.h"

const std::wstring RuleEquals121 = std::wstring(121, L'=') + L"\n";
const std::wstring RuleDots121 = std::wstring(121, L'.') + L"\n";
const std::wstring RuleEquals116 = std::wstring(116, L'=') + L"\n";
const std::wstring RuleDots137 = std::wstring(137, L'.') + L"\n";
const std::wstring RuleDashes137 = std::wstring(137, L'-') + L"\n";
const std::wstring RuleEquals84 = std::wstring(84, L'=') + L"\n";

std::wstring AddThousandsSeparators(const std::wstring& text, bool keepWidth) {
    std::wstring result = text;
    const size_t firstDigit = text.find_first_not_of(L' ');
    if (firstDigit == std::wstring::npos) return result;
    const size_t digitCount = text.size() - firstDigit;
    if (digitCount < 4) return result;

    const size_t firstGroup = digitCount % 3 == 0 ? 3 : digitCount % 3;
    result.erase(firstDigit);
    result.reserve(text.size() + digitCount / 3);
    for (size_t i = 0; i < digitCount; ++i) {
        if (i >= firstGroup && (i - firstGroup) % 3 == 0) result += L',';
        result += text[firstDigit + i];
    }
    if (keepWidth && result.size() > text.size()) result.erase(0, result.size() - text.size());
    return result;
}

uint64_t ByteSize(uint64_t count, uint64_t bytesPerSector) {
    if (bytesPerSector != 0 && count > std::numeric_limits<uint64_t>::max() / bytesPerSector)
        return std::numeric_limits<uint64_t>::max();
    return count * bytesPerSector;
}

uint64_t ExtentBytes(uint64_t first, uint64_t last, uint64_t bytesPerSector) {
    if (last < first) return 0;
    // The whole 64-bit range has one sector more than a count can hold.
    if (last - first == std::numeric_limits<uint64_t>::max()) return ByteSize(last - first, bytesPerSector);
    return ByteSize(last - first + 1, bytesPerSector);
}

std::wstring FormatHumanSize(uint64_t bytes) {
    static const wchar_t* const units[] = {L"B", L"KB", L"MB", L"GB", L"TB", L"PB", L"EB"};
    constexpr size_t lastUnit = sizeof(units) / sizeof(units[0]) - 1;
    if (bytes < 1024) return std::to_wstring(bytes) + L" " + units[0];

    size_t unit = 0;
    uint64_t divisor = 1;
    while (unit < lastUnit && bytes / divisor >= 1024) {
        divisor *= 1024;
        ++unit;
    }
    // Tenths of the unit, rounded half up; the remainder is below 2^60, so
    // ten times it still fits.
    auto tenthsOf = [bytes](uint64_t d) { return bytes / d * 10 + (bytes % d * 10 + d / 2) / d; };
    uint64_t tenths = tenthsOf(divisor);
    if (tenths >= 10240 && unit < lastUnit) {
        divisor *= 1024;
        ++unit;
        tenths = tenthsOf(divisor);
    }
    return std::to_wstring(tenths / 10) + L"." + std::to_wstring(tenths % 10) + L" " + units[unit];
}

namespace {

const wchar_t hexDigits[] = L"0123456789ABCDEF";
// The dump's byte index is 16 bits wide; the model reads no more for it.
constexpr uint64_t maxDumpBytes = nsLayout::SectorCopies::kMaxShownBytes;
constexpr size_t bytesPerLine = 16;
constexpr wchar_t offsetSeparator[] = L":  ";
constexpr wchar_t columnGap[] = L"       ";
constexpr size_t kOffsetDigits = 6;
constexpr size_t kSeparatorLength = std::size(offsetSeparator) - 1;
constexpr size_t kGapLength = std::size(columnGap) - 1;

// The offset column: upper-case hex, right-aligned in six blanks, then the
// separator. The dump's offsets are 16 bits wide, so six places always hold them.
constexpr size_t kOffsetColumn = kOffsetDigits + kSeparatorLength;
wchar_t* WriteLineStart(wchar_t* out, uint64_t offset) {
    wchar_t* digit = out + kOffsetDigits;
    do {
        *--digit = hexDigits[offset & 0xF];
        offset >>= 4;
    } while (offset != 0);
    return std::copy(offsetSeparator, offsetSeparator + kSeparatorLength, out + kOffsetDigits);
}

}  // namespace

void DumpHex(const uint8_t* bytes, uint64_t byteCount, ReportStream& stream, const std::wstring& heading) {
    if (byteCount == 0 || byteCount > maxDumpBytes) return;
    bool uniform = true;
    for (uint64_t i = 1; i < byteCount && uniform; ++i) uniform = bytes[i] == bytes[0];
    if (uniform) return;

    // One string for the whole dump, sized once and filled through a pointer:
    // boot records are dumped for every EPBR of a chain. A line is the offset
    // column, three characters per byte, the gap, one character per byte and
    // the line end; the last line is not padded, so its character column
    // follows its last byte directly.
    const uint64_t fullLines = byteCount / bytesPerLine;
    const uint64_t lastBytes = byteCount % bytesPerLine;
    auto lineLength = [](uint64_t n) { return kOffsetColumn + 4 * n + kGapLength + 1; };
    std::wstring text(heading.size() + fullLines * lineLength(bytesPerLine) + (lastBytes ? lineLength(lastBytes) : 0),
                      L' ');
    wchar_t* out = std::copy(heading.begin(), heading.end(), text.data());
    for (uint64_t lineStart = 0; lineStart < byteCount; lineStart += bytesPerLine) {
        const uint64_t lineBytes = std::min<uint64_t>(bytesPerLine, byteCount - lineStart);
        out = WriteLineStart(out, lineStart);
        for (uint64_t i = lineStart; i < lineStart + lineBytes; ++i) {
            *out++ = hexDigits[bytes[i] >> 4];
            *out++ = hexDigits[bytes[i] & 0xF];
            *out++ = L' ';
        }
        out = std::copy(columnGap, columnGap + kGapLength, out);
        for (uint64_t i = lineStart; i < lineStart + lineBytes; ++i)
            *out++ = bytes[i] < 33 ? L'.' : static_cast<wchar_t>(bytes[i]);
        *out++ = L'\n';
    }
    stream << text;
}
