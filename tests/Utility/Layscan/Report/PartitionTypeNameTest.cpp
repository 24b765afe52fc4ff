#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

#include "Base/Dev/Result.h"
#include "Utility/Layscan/Report/PartitionTypeName.h"
#include "support/GoldenFile.h"

// Every named type byte with its label, six to a line; all others are "Unknown".
TEST(PartitionTypeName, LabelOfEveryTypeByte) {
    const std::vector<uint8_t> zeros(512, 0);
    std::string text = "Type bytes not listed are \"Unknown\".\n";
    for (int type = 0, named = 0; type < 256; ++type) {
        const std::string label = Narrow(GetPartitionTypeName(static_cast<uint8_t>(type), zeros.data(), 512));
        EXPECT_LE(label.size(), 13u) << type;  // the width of the table's label column
        if (label == "Unknown") continue;
        char cell[32];
        std::snprintf(cell, sizeof cell, "%02X %-13s%s", type, label.c_str(), ++named % 6 ? " " : "\n");
        text += cell;
        if (text.ends_with("\n")) text.erase(text.find_last_not_of(" \n") + 1) += "\n";
    }
    golden::ExpectMatches("partition-type-names.txt", text.erase(text.find_last_not_of(' ') + 1) + "\n");
}
