#include <gtest/gtest.h>

#include "Utility/Layscan/Model/FreeExtentList.h"

using nsLayout::FreeExtent;

TEST(FreeExtentList, RemovalKeepsOnlyRemaindersOfAtLeast64Sectors) {
    const struct {
        const char* what;
        std::vector<FreeExtent> removals;
        std::vector<FreeExtent> expected;
    } cases[] = {
        {"nothing removed", {}, {{0, 10000}}},
        {"middle", {{2048, 1000}}, {{0, 2048}, {3048, 6952}}},
        {"63-sector remainders are dropped", {{63, 9874}}, {}},
        {"64-sector remainders are kept", {{64, 9872}}, {{0, 64}, {9936, 64}}},
        {"a 63-sector gap between partitions vanishes", {{0, 1000}, {1063, 8937}}, {}},
        {"a 64-sector gap between partitions stays", {{0, 1000}, {1064, 8936}}, {{1000, 64}}},
        {"a range meeting no extent changes nothing", {{0, 5000}, {1000, 100}}, {{5000, 5000}}},
        {"beyond the end", {{20000, 5}}, {{0, 10000}}},
        {"empty range", {{500, 0}}, {{0, 10000}}},
        {"overhanging the end", {{9000, 5000}}, {{0, 9000}}},
        {"straddling two extents cuts into both", {{1000, 1000}, {3000, 1000}, {2500, 2000}},
         {{0, 1000}, {2000, 500}, {4500, 5500}}},
        {"straddling swallows a whole extent between", {{1000, 1000}, {3000, 1000}, {900, 3150}},
         {{0, 900}, {4050, 5950}}},
        {"range reaching the largest LBA", {{5000, UINT64_MAX}}, {{0, 5000}}},
        {"sorted by start whatever the removal order", {{8000, 100}, {2000, 100}, {5000, 100}},
         {{0, 2000}, {2100, 2900}, {5100, 2900}, {8100, 1900}}},
    };
    for (const auto& c : cases) {
        nsLayout::FreeExtentList list;
        list.Add(0, 10000);
        list.Add(20000, 0);  // an empty extent is not kept
        for (const auto& r : c.removals) list.Remove(r.start, r.count);
        EXPECT_EQ(list.GetExtents(), c.expected) << c.what;
        EXPECT_EQ(list.GetCount(), c.expected.size()) << c.what;
        EXPECT_EQ(list.IsEmpty(), c.expected.empty()) << c.what;
    }
}
