#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include "Base/Dev/BlockArena.h"

// Pieces come back aligned, zero-filled and apart from each other, across
// block boundaries and for requests larger than the first block.
TEST(BlockArena, PiecesAreAlignedZeroedAndDisjoint) {
    BlockArena arena;
    struct Piece {
        size_t bytes, alignment;
    };
    const Piece sizes[] = {{1, 1}, {1232, 16}, {3, 8}, {512, 64}, {3u << 20, 4096}, {24, 8}, {40u << 10, 16}};
    struct Given {
        unsigned char* at;
        size_t bytes;
        unsigned char tag;
    };
    std::vector<Given> given;
    for (int round = 0; round < 6; ++round)
        for (const auto& p : sizes) {
            auto* at = static_cast<unsigned char*>(arena.allocate(p.bytes, p.alignment));
            EXPECT_EQ(reinterpret_cast<uintptr_t>(at) % p.alignment, 0u);
            EXPECT_EQ(at[0] | at[p.bytes / 2] | at[p.bytes - 1], 0) << "not zero-filled";
            given.push_back({at, p.bytes, static_cast<unsigned char>(given.size() + 1)});
            std::memset(at, given.back().tag, p.bytes);
        }
    // A piece that shared bytes with a later one has lost some of its tag.
    for (const auto& g : given)
        for (size_t i = 0; i < g.bytes; i += 97) ASSERT_EQ(g.at[i], g.tag) << "pieces overlap";
    EXPECT_GE(arena.GetBlockBytes(), 6u * (3u << 20));
    EXPECT_THROW((void)arena.allocate(SIZE_MAX / 2, 8), std::bad_alloc);
}
