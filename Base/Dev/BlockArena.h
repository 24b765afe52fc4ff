#pragma once
// Memory for a model that is built once and freed as a whole. A long EPBR
// chain makes hundreds of thousands of small records; carved out of large
// blocks, which the platform hands over already backed by memory, they cost
// neither a heap allocation nor a first-touch page fault each.

#include <cstddef>
#include <memory>
#include <memory_resource>
#include <vector>

class BlockArena : public std::pmr::memory_resource {
public:
    BlockArena() = default;
    ~BlockArena() override;
    BlockArena(const BlockArena&) = delete;
    BlockArena& operator=(const BlockArena&) = delete;

    // Bytes taken from the platform so far.
    size_t GetBlockBytes() const;

protected:
    // Throws std::bad_alloc when the platform has no block to give.
    void* do_allocate(size_t bytes, size_t alignment) override;
    // Nothing goes back before the arena goes: its records live as long as their model.
    void do_deallocate(void*, size_t, size_t) override {}
    bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override { return this == &other; }

private:
    struct Block {
        void* base;
        size_t size;
    };
    std::vector<Block> mBlocks;
    char* mNext = nullptr;
    size_t mLeft = 0;
};

// The platform's source of blocks: zero-filled whole pages, or nullptr.
void* AllocateArenaBlock(size_t bytes);
void ReleaseArenaBlock(void* base, size_t bytes);

// For std::allocate_shared: every object made with it holds the arena, so the
// arena outlives the last of them whoever keeps them.
template <class T>
class ArenaAllocator {
public:
    using value_type = T;
    explicit ArenaAllocator(std::shared_ptr<BlockArena> arena) : mArena(std::move(arena)) {}
    template <class U>
    ArenaAllocator(const ArenaAllocator<U>& other) : mArena(other.GetArena()) {}

    T* allocate(size_t n) { return static_cast<T*>(mArena->allocate(n * sizeof(T), alignof(T))); }
    void deallocate(T* p, size_t n) { mArena->deallocate(p, n * sizeof(T), alignof(T)); }
    const std::shared_ptr<BlockArena>& GetArena() const { return mArena; }

    template <class U>
    bool operator==(const ArenaAllocator<U>& other) const {
        return mArena == other.GetArena();
    }

private:
    std::shared_ptr<BlockArena> mArena;
};
