#include "Base/Dev/BlockArena.h"

#include <algorithm>
#include <cstdint>
#include <new>

namespace {
// Blocks are whole huge pages (2 MiB), so that where the platform has them a
// block costs one page fault, or none. The first block holds the model of a
// thousand-partition chain; a longer chain takes blocks twice that size, so
// at most 4 MiB are held unused.
constexpr size_t kFirstBlockBytes = 2 * 1024 * 1024;
constexpr size_t kLargestBlockBytes = 4 * 1024 * 1024;
}  // namespace

BlockArena::~BlockArena() {
    for (const Block& block : mBlocks) ReleaseArenaBlock(block.base, block.size);
}

size_t BlockArena::GetBlockBytes() const {
    size_t bytes = 0;
    for (const Block& block : mBlocks) bytes += block.size;
    return bytes;
}

void* BlockArena::do_allocate(size_t bytes, size_t alignment) {
    auto aligned = [&] {
        const size_t pad = (alignment - reinterpret_cast<uintptr_t>(mNext) % alignment) % alignment;
        return pad <= mLeft && bytes <= mLeft - pad ? pad : SIZE_MAX;
    };
    size_t pad = mNext ? aligned() : SIZE_MAX;
    if (pad == SIZE_MAX) {
        if (bytes > kLargestBlockBytes) throw std::bad_alloc();
        const size_t previous = mBlocks.empty() ? kFirstBlockBytes / 2 : mBlocks.back().size;
        const size_t size = std::max(std::min(2 * previous, kLargestBlockBytes), bytes + alignment);
        void* base = AllocateArenaBlock(size);
        if (!base) throw std::bad_alloc();
        mBlocks.push_back({base, size});
        mNext = static_cast<char*>(base);
        mLeft = size;
        pad = aligned();
    }
    void* result = mNext + pad;
    mNext += pad + bytes;
    mLeft -= pad + bytes;
    return result;
}
