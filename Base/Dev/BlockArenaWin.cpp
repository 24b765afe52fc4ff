#include <windows.h>

#include "Base/Dev/BlockArena.h"

void* AllocateArenaBlock(size_t bytes) {
    return VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void ReleaseArenaBlock(void* base, size_t) { VirtualFree(base, 0, MEM_RELEASE); }
