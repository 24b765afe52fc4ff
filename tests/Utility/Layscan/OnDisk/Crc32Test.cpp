#include <gtest/gtest.h>

#include <string>

#include "Utility/Layscan/OnDisk/Crc32.h"

TEST(Crc32, KnownVectorsAndContinuationAtEverySplit) {
    const std::pair<std::string, uint32_t> vectors[] = {
        {"", 0}, {"a", 0xE8B7BE43u}, {"123456789", 0xCBF43926u}, {std::string(32, '\0'), 0x190A55ADu}};
    for (const auto& [text, crc] : vectors) EXPECT_EQ(Crc32(text.data(), text.size()), crc) << text;

    const std::string text = "The quick brown fox jumps over the lazy dog";
    ASSERT_EQ(Crc32(text.data(), text.size()), 0x414FA339u);
    for (size_t split = 0; split <= text.size(); ++split)
        EXPECT_EQ(Crc32(text.data() + split, text.size() - split, Crc32(text.data(), split)), 0x414FA339u) << split;
}
