#include <gtest/gtest.h>

#include <string>

#include "Utility/Layscan/Crc32.h"

TEST(Crc32, KnownVectors) {
    const struct {
        std::string text;
        uint32_t crc;
    } cases[] = {
        {"", 0x00000000u},
        {"a", 0xE8B7BE43u},
        {"123456789", 0xCBF43926u},
        {"The quick brown fox jumps over the lazy dog", 0x414FA339u},
        {std::string(32, '\0'), 0x190A55ADu},
        {std::string(32, '\xFF'), 0xFF6CAB0Bu},
    };
    for (const auto& c : cases) EXPECT_EQ(Crc32(c.text.data(), c.text.size()), c.crc) << c.text;
}

TEST(Crc32, ContinuesOverPiecesAtEverySplit) {
    const std::string text = "The quick brown fox jumps over the lazy dog";
    const uint32_t whole = Crc32(text.data(), text.size());
    for (size_t split = 0; split <= text.size(); ++split) {
        uint32_t first = Crc32(text.data(), split);
        EXPECT_EQ(Crc32(text.data() + split, text.size() - split, first), whole) << split;
    }
    // Three pieces, the middle one empty.
    uint32_t crc = Crc32(text.data(), 10);
    crc = Crc32(text.data(), 0, crc);
    EXPECT_EQ(Crc32(text.data() + 10, text.size() - 10, crc), whole);
}
