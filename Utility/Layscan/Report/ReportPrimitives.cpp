#include "Utility/Layscan/Report/ReportPrimitives.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>
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
    size_t unit = 0;
    uint64_t whole = bytes;
    int tenth = -1;  // none below 1024 bytes
    if (bytes >= 1024) {
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
        whole = tenths / 10;
        tenth = static_cast<int>(tenths % 10);
    }
    // Built from the end in one buffer: every row of the partition list has a size.
    wchar_t text[32];
    wchar_t* first = std::end(text);
    const std::wstring_view unitText = units[unit];
    first -= unitText.size();
    std::copy(unitText.begin(), unitText.end(), first);
    *--first = L' ';
    if (tenth >= 0) {
        *--first = static_cast<wchar_t>(L'0' + tenth);
        *--first = L'.';
    }
    do {
        *--first = static_cast<wchar_t>(L'0' + whole % 10);
        whole /= 10;
    } while (whole != 0);
    return std::wstring(first, std::end(text));
}

namespace {

const char hexDigits[] = "0123456789ABCDEF";
// The dump's byte index is 16 bits wide; the model reads no more for it.
constexpr uint64_t maxDumpBytes = nsLayout::SectorCopies::kMaxShownBytes;
constexpr size_t bytesPerLine = 16;
constexpr char offsetSeparator[] = ":  ";
constexpr char columnGap[] = "       ";
constexpr size_t kOffsetDigits = 6;
constexpr size_t kSeparatorLength = std::size(offsetSeparator) - 1;
constexpr size_t kGapLength = std::size(columnGap) - 1;

// The two hex digits of every byte value.
constexpr struct HexPairs {
    char pairs[256][2];
    constexpr HexPairs() : pairs() {
        for (int b = 0; b < 256; ++b) {
            pairs[b][0] = hexDigits[b >> 4];
            pairs[b][1] = hexDigits[b & 0xF];
        }
    }
} kHexPairs;

// The offset column: upper-case hex, right-aligned in six blanks, then the
// separator. The dump's offsets are 16 bits wide, so six places always hold them.
constexpr size_t kOffsetColumn = kOffsetDigits + kSeparatorLength;
char* WriteLineStart(char* out, uint64_t offset) {
    char* digit = out + kOffsetDigits;
    do {
        *--digit = hexDigits[offset & 0xF];
        offset >>= 4;
    } while (offset != 0);
    return std::copy(offsetSeparator, offsetSeparator + kSeparatorLength, out + kOffsetDigits);
}

}  // namespace

void DumpHex(const uint8_t* bytes, uint64_t byteCount, ReportStream& stream, const std::wstring& heading) {
    if (byteCount == 0 || byteCount > maxDumpBytes) return;
    // Every byte equals the first when every byte equals the next.
    if (std::memcmp(bytes, bytes + 1, byteCount - 1) == 0) return;

    // One narrow text for the whole dump, sized once and filled through a
    // pointer, then written as the report's bytes: boot records are dumped
    // for every EPBR of a chain. Every character of the dump but the heading's
    // is a byte already. A line is the offset column, three characters per
    // byte, the gap, one character per byte and the line end; the last line
    // is not padded, so its character column follows its last byte directly.
    const uint64_t fullLines = byteCount / bytesPerLine;
    const uint64_t lastBytes = byteCount % bytesPerLine;
    auto lineLength = [](uint64_t n) { return kOffsetColumn + 4 * n + kGapLength + 1; };
    std::string text(heading.size() + fullLines * lineLength(bytesPerLine) + (lastBytes ? lineLength(lastBytes) : 0),
                     ' ');
    char* out = text.data();
    for (const wchar_t c : heading) *out++ = static_cast<char>(static_cast<uint32_t>(c) > 255 ? '?' : c);
    for (uint64_t lineStart = 0; lineStart < byteCount; lineStart += bytesPerLine) {
        const uint8_t* const line = bytes + lineStart;
        const size_t lineBytes = static_cast<size_t>(std::min<uint64_t>(bytesPerLine, byteCount - lineStart));
        out = WriteLineStart(out, lineStart);
        // The blank after each byte and the gap are there already.
        for (size_t i = 0; i < lineBytes; ++i) std::memcpy(out + 3 * i, kHexPairs.pairs[line[i]], 2);
        out += 3 * lineBytes + kGapLength;
        for (size_t i = 0; i < lineBytes; ++i) out[i] = line[i] < 33 ? '.' : static_cast<char>(line[i]);
        out += lineBytes;
        *out++ = '\n';
    }
    stream.WriteBytes(text);
}
