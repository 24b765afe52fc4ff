#include <gtest/gtest.h>

#include <algorithm>

#include "Utility/Layscan/OnDisk/Guid.h"

TEST(Guid, TextSwapsTheFirstThreeGroups) {
    Guid g;
    const uint8_t bytes[16] = {0x01, 0x23, 0x45, 0x67, 0x89, 0x01, 0x23, 0x45,
                               0x67, 0x89, 0x01, 0x23, 0x45, 0x67, 0x89, 0x01};
    std::copy(bytes, bytes + 16, g.bytes.begin());
    EXPECT_EQ(g.ToText(), L"67452301-0189-4523-6789-012345678901");
    EXPECT_EQ(Guid::FromText("67452301-0189-4523-6789-012345678901"), g);
    EXPECT_FALSE(g.IsNull());
    EXPECT_TRUE(Guid().IsNull());
}
