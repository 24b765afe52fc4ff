#pragma once
// The small pieces every report section writes with: separator rules, decimal
// counts with thousands separators, human-readable sizes and the hex dump of
// bytes.

#include <cstdint>
#include <string>

class ReportStream;

// Separator lines; each already ends in a line end.
extern const std::wstring RuleEquals121;
extern const std::wstring RuleDots121;
extern const std::wstring RuleEquals116;
extern const std::wstring RuleDots137;
extern const std::wstring RuleDashes137;
extern const std::wstring RuleEquals84;

// Inserts "," between groups of three digits of a decimal text that may be
// preceded by blanks (a right-aligned, blank-filled field). With keepWidth the
// result is cut at the front by as many characters as were added, so the field
// keeps its width; the cut characters are not checked, so a field with too few
// leading blanks loses leading digits.
std::wstring AddThousandsSeparators(const std::wstring& text, bool keepWidth);

// Bytes of count sectors, held at the largest value rather than wrapping.
uint64_t ByteSize(uint64_t count, uint64_t bytesPerSector);
// Bytes of the sectors first..last inclusive, none when the ends are reversed.
uint64_t ExtentBytes(uint64_t first, uint64_t last, uint64_t bytesPerSector);

// A short figure with a unit for people: below 1024 bytes the exact count and
// "B" ("512 B"); above, one decimal in binary units of 1024, rounded half up
// ("1.0 KB", "31.5 MB", "1.8 TB"), moving to the next unit when the rounding
// reaches 1024.0 ("1.0 MB" rather than "1024.0 KB"). Units run up to "EB".
std::wstring FormatHumanSize(uint64_t bytes);

// Writes the hex dump of byteCount bytes: the heading as it stands, then 16
// bytes per line with the offset from the first byte, the hex bytes and a
// character column. Bytes that all equal the first one (zeros, no bytes at
// all) write nothing at all, nor do more than 65,535 bytes. The stream's
// formatting state is left as it was.
void DumpHex(const uint8_t* bytes, uint64_t byteCount, ReportStream& stream, const std::wstring& heading);
