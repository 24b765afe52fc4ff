#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <tuple>
#include <vector>

#include "Base/Dev/BlockArena.h"

// Pieces come back aligned, zero-filled and apart from each other, across
// block boundaries and for requests larger than the first block.
TEST(BlockArena, PiecesAreAlignedZeroedAndDisjoint) {
    BlockArena arena;
    const std::pair<size_t, size_t> sizes[] = {{1, 1},  {1232, 16}, {3, 8}, {512, 64}, {3u << 20, 4096},
                                               {24, 8}, {40u << 10, 16}};  // (bytes, alignment)
    std::vector<std::tuple<unsigned char*, size_t, unsigned char>> given;  // (where, bytes, tag)
    for (int round = 0; round < 6; ++round)
        for (const auto& [bytes, alignment] : sizes) {
            auto* at = static_cast<unsigned char*>(arena.allocate(bytes, alignment));
            EXPECT_EQ(reinterpret_cast<uintptr_t>(at) % alignment, 0u);
            EXPECT_EQ(at[0] | at[bytes / 2] | at[bytes - 1], 0) << "not zero-filled";
            given.emplace_back(at, bytes, static_cast<unsigned char>(given.size() + 1));
            std::memset(at, std::get<2>(given.back()), bytes);
        }
    // A piece that shared bytes with a later one has lost some of its tag.
    for (const auto& [at, bytes, tag] : given)
        for (size_t i = 0; i < bytes; i += 97) ASSERT_EQ(at[i], tag) << "pieces overlap";
    EXPECT_GE(arena.GetBlockBytes(), 6u * (3u << 20));
    EXPECT_THROW((void)arena.allocate(SIZE_MAX / 2, 8), std::bad_alloc);
    BlockArena exact;  // two halves of the first block fill it, no second block
    (void)exact.allocate(1u << 20, 1), (void)exact.allocate(1u << 20, 1);
    EXPECT_EQ(exact.GetBlockBytes(), 2u << 20);
}
