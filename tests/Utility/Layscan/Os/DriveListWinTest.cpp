#include <gtest/gtest.h>

#include "Utility/Layscan/Os/DriveList.h"

TEST(DriveListWin, TypedTextIsAppendedAsTyped) {
    EXPECT_EQ(PhysicalDrivePath(L"0"), L"\\\\.\\PHYSICALDRIVE0");
    EXPECT_EQ(PhysicalDrivePath(L"007"), L"\\\\.\\PHYSICALDRIVE007");
}
