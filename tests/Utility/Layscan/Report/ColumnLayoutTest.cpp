#include <gtest/gtest.h>

#include "Base/Dev/AssertionFailure.h"
#include "Utility/Layscan/Report/ColumnLayout.h"

// The rows themselves are in tests/golden/report-values.txt.
TEST(ColumnLayout, NamesMissingInOrderAndColumnsPastTheLastAreRefused) {
    const std::wstring header = L"Name        Start  Head Sect  Head Sect";
    EXPECT_THROW(ColumnLayout(header, {L"Name", L"Count"}), PreconditionFailure);
    // Names are found in order: a name that only occurs before the previous one is missing.
    EXPECT_THROW(ColumnLayout(header, {L"Start", L"Name"}), PreconditionFailure);
    const ColumnLayout layout(header, {L"Name", L"Start", L"Head", L"Sect", L"Head", L"Sect"});
    EXPECT_THROW(ColumnLayout::Row(layout).Right(6, L"1"), PreconditionFailure);
    EXPECT_THROW(ColumnLayout::Row(layout).Left(6, L"a"), PreconditionFailure);
}
