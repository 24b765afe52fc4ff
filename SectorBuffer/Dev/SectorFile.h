#pragma once
// A saved sector file: a header, a sector map, optional bad-sector block and
// raw or run-length compressed sector records. Every size and offset in it is
// untrusted.

#include <cstdint>
#include <string>

#include "SectorBuffer/Dev/SectorProvider.h"

class SectorFile : public SectorProvider {
public:
    // Opens and validates the file; throws Result or CheckFailure on a bad file.
    SectorFile(const std::wstring& path, bool readOnly);
    ~SectorFile() override;

    using SectorProvider::Read;
    using SectorProvider::Write;
    void Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) override;
    void Write(uint64_t firstSector, uint64_t sectorCount, const void* buffer) override;
    uint32_t GetBytesPerSector() const override;
    uint64_t GetSectorCount() const override;
};
