#include <sys/mman.h>

#include "Base/Dev/BlockArena.h"

void* AllocateArenaBlock(size_t bytes) {
    void* base = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED) return nullptr;
    // Huge pages where the kernel offers them, and every page backed now in
    // one call: on a virtual machine a page fault per 4 KiB costs more than
    // building the records that fill it. Both are hints; without them the
    // pages are backed on first touch as usual.
    madvise(base, bytes, MADV_HUGEPAGE);
#ifdef MADV_POPULATE_WRITE
    madvise(base, bytes, MADV_POPULATE_WRITE);
#endif
    return base;
}

void ReleaseArenaBlock(void* base, size_t bytes) { munmap(base, bytes); }
