#include <gtest/gtest.h>

#include <algorithm>

#include "Utility/Layscan/Report/ReportPrimitives.h"
#include "support/CapturedReport.h"

namespace {

// Bytes first, first + 1, ... (wrapping at 256).
std::vector<uint8_t> Sequence(size_t count, uint8_t first) {
    std::vector<uint8_t> v(count);
    for (size_t i = 0; i < count; ++i) v[i] = static_cast<uint8_t>(first + i);
    return v;
}

std::wstring Dump(const std::vector<uint8_t>& bytes, uint64_t offset, uint64_t count,
                  const std::wstring& heading = L"") {
    CapturedReport report;
    DumpHex(bytes.data() + offset, count, report.Stream(), heading);
    return report.Text();
}

}  // namespace

TEST(AddThousandsSeparators, Examples) {
    const std::tuple<const wchar_t*, bool, const wchar_t*> cases[] = {
        {L"   1234567", true, L" 1,234,567"}, {L"1234567", true, L"234,567"}, {L"999", false, L"999"},
        {L"1000", false, L"1,000"},           {L"", false, L""},             {L"    ", true, L"    "},
        {L"   123", true, L"   123"},         {L"  123456", true, L" 123,456"}, {L"  123456", false, L"  123,456"},
        {L"18446744073709551615", false, L"18,446,744,073,709,551,615"},
        {L"      18446744073709551615", true, L"18,446,744,073,709,551,615"},
        {L"     18446744073709551615", true, L"8,446,744,073,709,551,615"},
    };
    for (const auto& [input, keepWidth, expected] : cases)
        EXPECT_EQ(AddThousandsSeparators(input, keepWidth), expected) << "\"" << input << "\" " << keepWidth;
}

TEST(FormatHumanSize, UnitsAndRounding) {
    const uint64_t KB = 1024, EB = KB * KB * KB * KB * KB * KB;
    const std::pair<uint64_t, const wchar_t*> cases[] = {
        // 1.0498 KB rounds down, 1.0507 up; 1023.999 KB rounds into the next unit.
        {1023, L"1023 B"}, {1024, L"1.0 KB"}, {1536, L"1.5 KB"}, {1024 + 51, L"1.0 KB"}, {1024 + 52, L"1.1 KB"},
        {1024 * KB - 1, L"1.0 MB"}, {1024 * KB - 60, L"1023.9 KB"}, {2000398934016ull, L"1.8 TB"},
        {15 * EB + EB / 10, L"15.1 EB"}, {UINT64_MAX, L"16.0 EB"},
    };
    for (const auto& [bytes, expected] : cases) EXPECT_EQ(FormatHumanSize(bytes), expected) << bytes;
}

// Uniform ranges and ranges beyond the 16-bit index write nothing, not even the heading.
TEST(DumpHex, NothingForUniformOrOverlongRanges) {
    const std::vector<uint8_t> zeros(512, 0), sevens(512, 0x77), bytes = Sequence(65536, 0);
    EXPECT_EQ(Dump(zeros, 0, 512, L"Boot sector\n"), L"");
    EXPECT_EQ(Dump(zeros, 0, 0, L"Empty\n"), L"");
    EXPECT_EQ(Dump(sevens, 0, 512, L"Uniform\n"), L"");
    EXPECT_EQ(Dump(bytes, 0, 65536, L"Too long\n"), L"");
    // The longest range the index reaches: 4096 lines, the last one short.
    const std::wstring text = Dump(bytes, 0, 65535);
    EXPECT_EQ(std::count(text.begin(), text.end(), L'\n'), 4096);
    const std::wstring lastLine = text.substr(text.rfind(L'\n', text.size() - 2) + 1);
    EXPECT_EQ(lastLine.substr(0, 9), L"  FFF0:  ");
    EXPECT_EQ(lastLine.size(), 9 + 15 * 3 + 7 + 15 + 1u);
}

TEST(DumpHex, LinesOfSixteenBytesAndAnUnpaddedLastLine) {
    std::vector<uint8_t> bytes(1024, 0);
    const auto seq = Sequence(20, 0x10);
    std::copy(seq.begin(), seq.end(), bytes.begin() + 512 + 8);
    EXPECT_EQ(Dump(bytes, 512 + 8, 20, L"Heading: "),
              L"Heading:      0:  10 11 12 13 14 15 16 17 18 19 1A 1B 1C 1D 1E 1F        ................\n"
              L"    10:  20 21 22 23        .!\"#\n");
    // Controls and blank show as dots, 0x7F and high bytes as themselves.
    std::vector<uint8_t> chars = Sequence(32, 0x00);
    chars.insert(chars.end(), {0x20, 0x21, 0x7E, 0x7F, 0xFF});
    EXPECT_EQ(Dump(chars, 0, 37),
              L"     0:  00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F        ................\n"
              L"    10:  10 11 12 13 14 15 16 17 18 19 1A 1B 1C 1D 1E 1F        ................\n"
              L"    20:  20 21 7E 7F FF        .!~\x7F\xFF\n");
}
