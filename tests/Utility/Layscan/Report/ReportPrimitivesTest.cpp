#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <type_traits>

#include "Utility/Layscan/Report/ColumnLayout.h"
#include "Utility/Layscan/Report/GptSection.h"
#include "Utility/Layscan/Report/JsonText.h"
#include "Utility/Layscan/Report/PartitionTypeName.h"
#include "Utility/Layscan/Report/ReportPrimitives.h"
#include "support/CapturedReport.h"
#include "support/GoldenFile.h"

namespace {

// A text of the value table: \xHH and \uHHHH are one character each, \s a blank.
template <typename S>
S Text(const std::string& field) {
    S text;
    for (size_t i = 0; i < field.size(); ++i) {
        const bool escaped = field[i] == '\\' && i + 1 < field.size(), wide = escaped && field[i + 1] == 'u';
        if (escaped && field[i + 1] == 's') text += typename S::value_type(' '), ++i;
        else if (escaped && (wide || field[i + 1] == 'x'))
            text += typename S::value_type(std::stoul(field.substr(i + 2, wide ? 4 : 2), nullptr, 16)), i += wide ? 5 : 3;
        else text += typename S::value_type(static_cast<unsigned char>(field[i]));
    }
    return text;
}

template <typename S>
std::u32string Units(const S& text) {
    std::u32string units;
    for (const auto c : text) units += char32_t(std::make_unsigned_t<typename S::value_type>(c));
    return units;
}

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

// The rows of tests/golden/report-values.txt, each a function of the report with its arguments.
TEST(ReportValues, FunctionsOfTheTable) {
    using Args = std::vector<std::string>;
    auto number = [](const std::string& text) { return std::stoull(text, nullptr, 0); };
    const std::map<std::string, std::function<std::u32string(const Args&)>> functions = {
        {"thousands", [](const Args& a) { return Units(AddThousandsSeparators(Text<std::wstring>(a[0]), a[1] == "keep")); }},
        {"count", [&](const Args& a) { return Units(ColumnLayout::Count(number(a[0]))); }},
        {"decimal", [&](const Args& a) { return Units(ColumnLayout::Decimal(number(a[0]))); }},
        {"hex", [&](const Args& a) { return Units(ColumnLayout::Hex(number(a[0]), unsigned(number(a[1])))); }},
        {"size", [&](const Args& a) { return Units(FormatHumanSize(number(a[0]))); }},
        {"type", [&](const Args& a) {
             std::string sector = Text<std::string>(a[1]);
             sector.resize(number(a[2]));
             const auto* bytes = reinterpret_cast<const uint8_t*>(sector.data());
             return Units(GetPartitionTypeName(uint8_t(std::stoul(a[0], nullptr, 16)), bytes, uint32_t(sector.size())));
         }},
        {"gptname", [](const Args& a) { return Units(GptNameForReport(Text<std::u16string>(a[0]))); }},
        {"utf8", [](const Args& a) { return Units(Utf8FromUtf16(Text<std::u16string>(a[0]))); }},
    };
    for (const auto& row : golden::Rows("report-values.txt")) {
        ASSERT_TRUE(functions.count(row[0]) && row.size() >= 2) << row[0];
        const Args args(row.begin() + 1, row.end() - 1);
        EXPECT_TRUE(functions.at(row[0])(args) == Text<std::u32string>(row.back())) << row[0] << " " << row[1];
    }
    EXPECT_EQ(Utf8FromWide(L"C:\\ \u00e9"), "C:\\ \xC3\xA9");
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
