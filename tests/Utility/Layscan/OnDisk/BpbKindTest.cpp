#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "Utility/Layscan/OnDisk/BpbKind.h"
#include "support/GoldenFile.h"

// Each case of tests/golden/bpb-kinds.txt is built and detected; the kind after "=>" is
// replaced by the one found and the file compared.
TEST(BpbKind, DecisionOrderAndShortSectors) {
    const char* const names[] = {"None", "Fat32", "Fat1216", "Ntfs", "ExFat", "Fallback"};
    std::string text;
    const std::string cases = golden::ReadFile(LAYSCAN_SOURCE_DIR "/tests/golden/bpb-kinds.txt");
    for (const std::string& line : golden::Lines(cases)) {
        const size_t arrow = line.find(" =>");
        if (line.starts_with("#")) {
            text += line + "\n";
            continue;
        }
        std::istringstream in(line.substr(line.find(" | ") + 3));
        std::string fill, bar, put;
        size_t size = 0;
        in >> fill >> bar >> std::hex >> size >> bar;
        std::vector<uint8_t> s(512, fill == "plain" ? 0 : uint8_t(std::stoul(fill, nullptr, 16)));
        if (fill == "plain") s[0] = 0xEB, s[1] = 0x58, s[2] = 0x90, s[510] = 0x55, s[511] = 0xAA;
        while (in >> put && put != "=>")
            for (size_t at = std::stoul(put, nullptr, 16), i = put.find('=') + 1; i < put.size(); i += 2)
                s.at(at++) = uint8_t(std::stoul(put.substr(i, 2), nullptr, 16));
        text += line.substr(0, arrow) + " => " + names[int(DetectBpbKind(s.data(), size))] + "\n";
    }
    golden::ExpectMatches("bpb-kinds.txt", text);
    EXPECT_EQ(DetectBpbKind(nullptr, 512), BpbKind::None);
}
