#include <gtest/gtest.h>

#include "Base/Dev/AssertionFailure.h"
#include "Utility/Layscan/Report/ColumnLayout.h"

//                              0         1         2         3
//                              0123456789012345678901234567890123456
static const std::wstring kHeader = L"Name        Start  Head Sect  Head Sect";

TEST(ColumnLayout, RowsPlaceNumbersAtTheWordEndAndTextAtTheWordStart) {
    EXPECT_THROW(ColumnLayout(kHeader, {L"Name", L"Count"}), PreconditionFailure);
    // Names are found in order: a name that only occurs before the previous one is missing.
    EXPECT_THROW(ColumnLayout(kHeader, {L"Start", L"Name"}), PreconditionFailure);
    const ColumnLayout layout(kHeader, {L"Name", L"Start", L"Head", L"Sect", L"Head", L"Sect"});
    using Row = ColumnLayout::Row;
    EXPECT_THROW(Row(layout).Right(6, L"1"), PreconditionFailure);
    EXPECT_THROW(Row(layout).Left(6, L"a"), PreconditionFailure);
    const struct {
        const char* what;
        std::wstring row, expected;
    } cases[] = {
        {"number under its word", Row(layout).Right(1, L"42").Text(), L"               42"},
        {"text under its word", Row(layout).Left(2, L"ab").Text(), L"                   ab"},
        {"full row", Row(layout).Left(0, L"NTFS").Right(1, L"2,048").Right(2, L"0").Right(3, L"63").Right(4, L"254")
             .Right(5, L"1").Text(), L"NTFS        2,048     0   63   254    1"},
        {"empty values leave their column blank", Row(layout).Left(0, L"x").Right(1, L"").Right(3, L"7").Text(),
         L"x                          7"},
        {"a wide name pushes the next value after one blank",
         Row(layout).Left(0, L"Extended Partition").Right(1, L"5").Text(), L"Extended Partition 5"},
        {"a value exactly filling the gap still gets its blank",
         Row(layout).Left(0, L"abcdefghijkl").Right(1, L"12345").Text(), L"abcdefghijkl 12345"},
        {"a number wider than the row so far starts the line", Row(layout).Right(0, L"1234567").Text(), L"1234567"},
        {"the push carries on to later columns",
         Row(layout).Left(0, L"a-very-long-label-of-27-chs").Right(1, L"1").Right(2, L"2").Text(),
         L"a-very-long-label-of-27-chs 1 2"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.row, c.expected) << c.what;
}
