#include <gtest/gtest.h>

#include <sstream>

#include "Utility/Layscan/Model/FreeExtentList.h"
#include "support/GoldenFile.h"

using nsLayout::FreeExtent;

// Each line of tests/golden/free-extent-removals.txt: the ranges removed in
// order from 0-9999 (START+COUNT), then the extents left.
TEST(FreeExtentList, RemovalKeepsOnlyRemaindersOfAtLeast64Sectors) {
    for (const std::string& line : golden::Lines(golden::ReadFile(LAYSCAN_SOURCE_DIR "/tests/golden/free-extent-removals.txt"))) {
        std::istringstream in(line);
        std::vector<FreeExtent> lists[2];
        for (auto& list : lists)
            for (FreeExtent e; (in >> e.start && in.ignore() >> e.count) || (in.clear(), in.ignore(2), false);)
                list.push_back(e);
        nsLayout::FreeExtentList list;
        list.Add(0, 10000);
        list.Add(20000, 0);  // an empty extent is not kept
        for (const auto& r : lists[0]) list.Remove(r.start, r.count);
        EXPECT_EQ(list.GetExtents(), lists[1]) << line;
        EXPECT_EQ(list.GetCount(), lists[1].size()) << line;
        EXPECT_EQ(list.IsEmpty(), lists[1].empty()) << line;
    }
}
