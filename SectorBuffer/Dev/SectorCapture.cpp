#include "SectorBuffer/Dev/SectorCapture.h"

#include <algorithm>
#include <vector>

#include "SectorBuffer/Dev/SectorFile.h"

SectorCapture::SectorCapture(std::shared_ptr<SectorProvider> source, const std::wstring& path)
    : mSource(std::move(source)) {
    // A record's length field has 16 bits: sectors too large for a stored
    // record go into a file of raw records.
    const uint32_t bytesPerSector = mSource->GetBytesPerSector();
    const bool compressed = bytesPerSector + SectorFile::kRecordHeadSize <= UINT16_MAX;
    mFile = SectorFile::Create(path, bytesPerSector, mSource->GetSectorCount(), SectorFile::kCurrentVersion, compressed);
}

SectorCapture::~SectorCapture() = default;

uint32_t SectorCapture::GetBytesPerSector() const { return mSource->GetBytesPerSector(); }

uint64_t SectorCapture::GetSectorCount() const { return mSource->GetSectorCount(); }

void SectorCapture::DisableCache(bool disable) { mSource->DisableCache(disable); }

void SectorCapture::Write(uint64_t firstSector, uint64_t sectorCount, const void* buffer) {
    mSource->Write(firstSector, sectorCount, buffer);
}

void SectorCapture::Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) {
    try {
        mSource->Read(firstSector, sectorCount, buffer);
    } catch (...) {
        KeepFailure(firstSector, sectorCount);
        throw;
    }
    Keep(firstSector, sectorCount, buffer);
}

void SectorCapture::Keep(uint64_t firstSector, uint64_t sectorCount, const void* buffer) {
    if (!mFile) return;
    const uint32_t bytesPerSector = GetBytesPerSector();
    const auto* bytes = static_cast<const uint8_t*>(buffer);
    try {
        // Runs of sectors not held yet: the first bytes read of a sector are
        // what the report saw first.
        for (uint64_t i = 0; i < sectorCount;) {
            if (mFile->Holds(firstSector + i)) {
                ++i;
                continue;
            }
            uint64_t n = 1;
            while (i + n < sectorCount && !mFile->Holds(firstSector + i + n)) ++n;
            mFile->Write(firstSector + i, n, bytes + i * bytesPerSector);
            i += n;
        }
    } catch (...) {
        mWriteFailure = std::current_exception();
        mFile.reset();
    }
}

void SectorCapture::KeepFailure(uint64_t firstSector, uint64_t sectorCount) {
    if (!mFile) return;
    // Only sectors of the disk can be bad; a read beyond its end fails again
    // on the file by itself. Sectors already held stay readable, so earlier
    // reads of them still succeed on the file.
    const uint64_t sectors = GetSectorCount();
    if (firstSector >= sectors) return;
    const uint64_t end = firstSector + std::min(sectorCount, sectors - firstSector);
    for (uint64_t s = firstSector; s < end; ++s)
        if (!mFile->Holds(s)) mFile->AddBadSector(s);
}

void SectorCapture::KeepRange(uint64_t firstSector, uint64_t sectorCount) {
    std::vector<uint8_t> sector(GetBytesPerSector());
    for (uint64_t s = firstSector; s < firstSector + sectorCount && mFile; ++s) {
        if (mFile->Holds(s)) continue;
        try {
            Read(s, 1, sector.data());
        } catch (...) {
            // Listed as bad by Read; the capture goes on.
        }
    }
}

void SectorCapture::Finish() {
    const uint64_t sectors = GetSectorCount();
    if (mFile) {
        KeepRange(0, std::min(sectors, kHeadSectors));
        const uint64_t tail = std::min(sectors, kTailSectors);
        KeepRange(sectors - tail, tail);
    }
    if (mWriteFailure) std::rethrow_exception(mWriteFailure);
    mFile->Close();
}
