#include <gtest/gtest.h>

#include <algorithm>

#include "Utility/Layscan/Guid.h"

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

TEST(Guid, WellKnownTypesInOnDiskOrder) {
    // The basic data GUID as it lies in a partition entry.
    const uint8_t onDisk[16] = {0xA2, 0xA0, 0xD0, 0xEB, 0xE5, 0xB9, 0x33, 0x44,
                                0x87, 0xC0, 0x68, 0xB6, 0xB7, 0x26, 0x99, 0xC7};
    Guid g;
    std::copy(onDisk, onDisk + 16, g.bytes.begin());
    EXPECT_EQ(g, Guid::BasicData());
    EXPECT_EQ(Guid::EfiSystemPartition().ToText(), L"c12a7328-f81f-11d2-ba4b-00a0c93ec93b");
}
