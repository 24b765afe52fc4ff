#pragma once
// Stands between a disk's report and the disk's sector source and keeps the
// evidence: every sector the report reads goes into a new sector file, and
// every read that fails is listed there as bad sectors, so that the file read
// back answers the report as the disk did, failures included. Reads pass
// through unchanged; a failure to write the file never disturbs the report,
// it is told by Finish.

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include "SectorBuffer/Dev/SectorProvider.h"

class SectorFile;

class SectorCapture : public SectorProvider {
public:
    // Sectors at the start and at the end of a disk kept whatever the report read.
    static constexpr uint64_t kHeadSectors = 34;
    static constexpr uint64_t kTailSectors = 33;

    // Starts the sector file at path (a temporary file until Finish); throws
    // Result when it cannot be made.
    SectorCapture(std::shared_ptr<SectorProvider> source, const std::wstring& path);
    ~SectorCapture() override;

    using SectorProvider::Read;
    using SectorProvider::Write;
    void Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) override;
    void Write(uint64_t firstSector, uint64_t sectorCount, const void* buffer) override;
    uint32_t GetBytesPerSector() const override;
    uint64_t GetSectorCount() const override;
    void DisableCache(bool disable) override;

    // Adds the head and tail sectors not read yet and puts the file under its
    // path. Throws Result when a write failed at any point; no file is then left.
    void Finish();

private:
    void Keep(uint64_t firstSector, uint64_t sectorCount, const void* buffer);
    void KeepFailure(uint64_t firstSector, uint64_t sectorCount);
    void KeepRange(uint64_t firstSector, uint64_t sectorCount);

    std::shared_ptr<SectorProvider> mSource;
    std::unique_ptr<SectorFile> mFile;
    std::exception_ptr mWriteFailure;
};
