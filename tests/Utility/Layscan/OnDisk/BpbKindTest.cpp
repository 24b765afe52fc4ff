#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "Utility/Layscan/OnDisk/BpbKind.h"
#include "support/GoldenFile.h"
#include "support/VolumeImages.h"

// Each case of tests/golden/bpb-kinds.txt is built and detected; the kind after "=>" is
// replaced by the one found and the file compared.
TEST(BpbKind, DecisionOrderAndShortSectors) {
    const char* const names[] = {"None", "Fat32", "Fat1216", "Ntfs", "ExFat", "Fallback"};
    golden::ExpectOutcomes("bpb-kinds.txt", [&](const std::string& line) {
        std::istringstream in(line.substr(line.find(" | ") + 3));
        std::string fill, bar, puts;
        size_t size = 0;
        in >> fill >> bar >> std::hex >> size >> bar;
        std::getline(in, puts);
        const std::vector<uint8_t> s = testimages::BootSector(fill, puts);
        return std::string(" ") + names[int(DetectBpbKind(s.data(), size))];
    });
    EXPECT_EQ(DetectBpbKind(nullptr, 512), BpbKind::None);
}
