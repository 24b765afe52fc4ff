#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <sstream>
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

const ColumnLayout kLayout(L"Name        Start  Head Sect  Head Sect",
                           {L"Name", L"Start", L"Head", L"Sect", L"Head", L"Sect"});

std::wstring Dump(const std::vector<uint8_t>& bytes, uint64_t count, const std::wstring& heading = L"") {
    CapturedReport report;
    DumpHex(bytes.data(), count, report.Stream(), heading);
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
        {"row", [](const Args& a) {
             ColumnLayout::Row row(kLayout);
             std::istringstream cells(a[0]);
             for (std::string c; cells >> c;) {
                 const std::wstring text = Text<std::wstring>(c.substr(3));
                 c[0] == 'L' ? row.Left(size_t(c[1] - '0'), text) : row.Right(size_t(c[1] - '0'), text);
             }
             return Units(row.Text());
         }},
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
    EXPECT_EQ(Utf8FromWide(L"C:\\ \u00e9\U0001F600"), "C:\\ \xC3\xA9\xF0\x9F\x98\x80");
}

// The dumps of tests/golden/hex-dump-cases.txt, their bytes in runs FIRST+STEP*COUNT (FIRST in hex,
// wrapping at 256).
TEST(DumpHex, CasesOfTheTable) {
    golden::ExpectCaseTable("hex-dump-cases.txt", [](const std::string& heading, const std::string& runs) {
        std::vector<uint8_t> bytes;
        std::istringstream in(runs);
        unsigned first, step, count;
        for (std::string run; in >> run && std::sscanf(run.c_str(), "%x+%u*%u", &first, &step, &count) == 3;)
            for (unsigned i = 0; i < count; ++i) bytes.push_back(uint8_t(first + step * i));
        return Narrow(Dump(bytes, bytes.size(), heading == "-" ? L"" : Widen(heading + " ")));
    });
    // The longest range the index reaches: 4096 lines, the last one short.
    std::vector<uint8_t> bytes(65535);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = uint8_t(i);
    const std::wstring text = Dump(bytes, 65535);
    EXPECT_EQ(std::count(text.begin(), text.end(), L'\n'), 4096);
    const std::wstring lastLine = text.substr(text.rfind(L'\n', text.size() - 2) + 1);
    EXPECT_EQ(lastLine.substr(0, 9), L"  FFF0:  ");
    EXPECT_EQ(lastLine.size(), 9 + 15 * 3 + 7 + 15 + 1u);
}
