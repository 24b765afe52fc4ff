#include "SectorBuffer/Dev/SectorProvider.h"

Result SectorProvider::Read(MultiSectorBuffer&) {
    return Result(SECTORBUFFER_USE_DEFAULT_IMPLEMENTATION, {}, "SectorProvider::Read");
}

Result SectorProvider::Write(const MultiSectorBuffer&) {
    return Result(SECTORBUFFER_USE_DEFAULT_IMPLEMENTATION, {}, "SectorProvider::Write");
}

void SectorProvider::DisableCache(bool) {}
