#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "Utility/Layscan/Model/GptDisk.h"
#include "support/SparseSectorProvider.h"

using nsLayout::GptDisk;

TEST(GptDisk, Recogniser) {
    // (what, sectors, 0xAA55 in sector 0, type of MBR entry 0, "EFI PART" at LBA 1, taken)
    const std::tuple<const char*, uint64_t, bool, uint8_t, bool, bool> cases[] = {
        {"protective MBR", 100, true, 0xEE, false, true}, {"header only", 100, false, 0, true, true},
        {"other MBR", 100, true, 0x07, false, false},     {"0xEE unsigned", 100, false, 0xEE, false, false},
        {"one sector", 1, true, 0xEE, false, true},       {"empty", 0, false, 0, false, false},
        {"one sector, no header to look for", 1, false, 0, false, false},
    };
    for (const auto& [what, count, signature, type, header, gpt] : cases) {
        std::vector<uint8_t> bytes(count * 512);
        if (signature) bytes[510] = 0x55, bytes[511] = 0xAA;
        if (count) bytes[446 + 4] = type;
        if (header) std::memcpy(&bytes[512], "EFI PART", 8);
        SparseSectorProvider sectors(bytes, 512);
        EXPECT_EQ(nsLayout::IsGpt(sectors), gpt) << what;
    }
}
