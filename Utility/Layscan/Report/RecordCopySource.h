#pragma once
// The copy of its sector that a boot record keeps, served as a disk of one
// sector, so that the report dumps the bytes the record was judged by rather
// than what the disk holds by the time the dump is written.

#include <cstdint>

#include "SectorBuffer/Dev/SectorProvider.h"

class BootRecordBase;

class RecordCopySource : public SectorProvider {
public:
    // The record must outlive the source.
    explicit RecordCopySource(const BootRecordBase& record) : mRecord(record) {}

    using SectorProvider::Read;
    using SectorProvider::Write;
    // Sector 0 is the copy; nothing else exists.
    void Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) override;
    // The copy is never written.
    void Write(uint64_t firstSector, uint64_t sectorCount, const void* buffer) override;
    uint32_t GetBytesPerSector() const override;
    uint64_t GetSectorCount() const override { return 1; }

private:
    const BootRecordBase& mRecord;
};
