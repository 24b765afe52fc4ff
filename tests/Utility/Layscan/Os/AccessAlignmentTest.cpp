#include <gtest/gtest.h>

#include "Utility/Layscan/Os/AccessAlignment.h"

using nsLayout::StorageAccessAlignmentDescriptor;

TEST(AccessAlignment, DriveThatDoesNotExistLeavesTheDescriptorInvalid) {
    StorageAccessAlignmentDescriptor d;
    d.Version = 7;
    QueryAccessAlignment(999, d);
    EXPECT_EQ(d.Version, 0u);
}
