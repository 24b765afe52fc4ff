#pragma once
// One copy of a GUID partition table: the header read at a given LBA and the
// entry array read at the LBA the header names, with the disk's sector count,
// answering the questions that need all three.

#include <cstdint>
#include <memory>

#include "Base/Dev/MemBufferHandle.h"
#include "Utility/Layscan/OnDisk/GptHeader.h"
#include "Utility/Layscan/OnDisk/GptPartitionEntries.h"

class SectorProvider;

namespace nsLayout {
class SectorCopies;
}

class GptPartitionTable {
public:
    // Reads the first 512 bytes of the sector(s) at headerLba, then 16,384
    // bytes of the entry array from the LBA the header names. A read that
    // would run past the disk's last sector is refused with a precondition
    // failure before the sector source is asked, which ends the disk's report.
    GptPartitionTable(SectorProvider& sectors, uint64_t headerLba);
    // The same, reading through copies, which keep the sectors for the report.
    GptPartitionTable(SectorProvider& sectors, nsLayout::SectorCopies& copies, uint64_t headerLba);
    GptPartitionTable(const GptPartitionTable&) = delete;
    GptPartitionTable& operator=(const GptPartitionTable&) = delete;

    const OnDiskGptHeader& GetHeader() const { return *mHeader; }
    const OnDiskGptPartitionEntries& GetEntries() const { return *mEntries; }
    const OnDiskGptPartitionEntry& GetEntry(uint64_t index) const { return mEntries->GetEntries(index); }
    uint64_t GetHeaderLba() const { return mHeaderLba; }
    uint64_t GetSectorCount() const { return mSectorCount; }
    // The bytes as read: the header's 512 and the array's 16,384.
    const MemoryBuffer& GetHeaderBytes() const { return *mHeaderBuffer; }
    const MemoryBuffer& GetEntriesBytes() const { return *mEntriesBuffer; }

    // The stored header checksum matches one computed over the header-size
    // bytes with the checksum field zeroed; a size beyond the 512 bytes read
    // is cut to them.
    bool IsHeaderCrcValid() const;
    // The stored array checksum matches one computed over count x size bytes,
    // cut to the 16,384 bytes read.
    bool IsEntryArrayCrcValid() const;
    // The primary (read at LBA 1) names the last sector as its copy; any
    // other header names LBA 1.
    bool IsAlternateLbaValid() const;
    // Last or first LBA strictly above the sector count.
    bool IsBeyondEndOfDisk(uint64_t index) const;
    // Both the type GUID and the unique GUID are non-zero.
    bool IsEntryInUse(uint64_t index) const;

private:
    static std::shared_ptr<MemoryBuffer> ReadBytes(SectorProvider& sectors, nsLayout::SectorCopies& copies,
                                                   uint64_t lba, uint64_t bytes);

    uint64_t mHeaderLba;
    uint64_t mSectorCount;
    std::shared_ptr<MemoryBuffer> mHeaderBuffer;
    std::shared_ptr<MemoryBuffer> mEntriesBuffer;
    std::unique_ptr<OnDiskGptHeader> mHeader;
    std::unique_ptr<OnDiskGptPartitionEntries> mEntries;
};
