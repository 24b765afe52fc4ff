#pragma once
// The in-memory model of a GPT disk: translation geometry, protective MBR,
// primary and backup tables, the partitions of the primary array in entry
// order and the space they leave free. Built in full by the constructor and
// read-only afterwards.

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "Utility/Layscan/Model/FreeExtentList.h"
#include "Utility/Layscan/Model/Geometry.h"
#include "Utility/Layscan/Model/GptPartition.h"
#include "Utility/Layscan/Model/GptPartitionTable.h"
#include "Utility/Layscan/Model/SectorCopies.h"
#include "Utility/Layscan/Model/VolumePartition.h"

class Mbr;
class SectorProvider;

namespace nsLayout {

// Sector 0 holds a protective MBR (signature 0xAA55, type 0xEE in entry 0) or
// LBA 1 begins with "EFI PART". Asked only after the MBR recogniser declines.
bool IsGpt(SectorProvider& sb);
// The same with what it reads kept in copies, for the model to go on from.
bool IsGpt(SectorProvider& sb, SectorCopies& copies);

using GptPartitionList = std::vector<std::shared_ptr<const GptPartition>>;

class GptDisk {
public:
    // The entry slots the report shows raw: four to a sector from sector 2,
    // while a sector's first slot number is below the limit (slots 0 to 127).
    static constexpr uint64_t kFirstRawSlotSector = 2;
    static constexpr uint32_t kRawSlotsPerSector = 4;
    static constexpr uint32_t kRawSlotLimit = 125;

    // Reads sector 0, the primary table at LBA 1 and the backup table at the
    // LBA the primary header names. A header claiming more than 128 entries
    // stops the build on the entry array's "index < 128". A backup header named
    // beyond the disk's end leaves the model without a backup table: the
    // failure of its read is kept for the report, which ends there. Then reads, into
    // GetSectorCopies(), what else the report shows: the header sector, the
    // raw entry slots, the first sector of whatever a protective MBR entry
    // points at and of every partition.
    explicit GptDisk(SectorProvider& sb);
    // The same going on from what the recogniser already read.
    GptDisk(SectorProvider& sb, SectorCopies copies);
    ~GptDisk();
    GptDisk(const GptDisk&) = delete;
    GptDisk& operator=(const GptDisk&) = delete;

    const SectorCopies& GetSectorCopies() const { return mCopies; }
    const Geometry& GetGeometry() const { return *mGeometry; }
    std::shared_ptr<const Mbr> GetProtectiveMbr() const { return mProtectiveMbr; }
    const GptPartitionTable& GetPrimaryTable() const { return *mPrimary; }
    // Throws the failure of its read when there is none.
    const GptPartitionTable& GetBackupTable() const;
    // Why the backup table could not be read (its header lies beyond the
    // disk's end), or nothing.
    const std::exception_ptr& GetBackupFailure() const { return mBackupFailure; }
    const GptPartitionList& GetPartitions() const { return mPartitions; }
    const FreeExtentList& GetFreeSpace() const { return mFreeSpace; }

    // The alignment label of the in-use entries of the primary array. Each is
    // fed as its first LBA and the entry structure's size (128), so with 512-
    // or 4096-byte sectors no entry fits a class and the label is "None".
    std::wstring DetectAlignment() const;
    // The partitions with their own type GUIDs, in entry order.
    VolumePartitionList GetVolumePartitions() const;

    // The bytes of raw entry slot `index` of `sector`, as wide as the primary
    // header's entry size; false when the slot is one the report leaves out
    // (no width, or wider than it shows). Throws the failure its read met.
    bool GetRawSlot(uint64_t sector, uint32_t index, std::vector<uint8_t>& bytes) const;

private:
    void FetchShownSectors(SectorProvider& sb);

    SectorCopies mCopies;
    std::shared_ptr<const Geometry> mGeometry;
    std::shared_ptr<const Mbr> mProtectiveMbr;
    std::unique_ptr<GptPartitionTable> mPrimary;
    std::unique_ptr<GptPartitionTable> mBackup;
    std::exception_ptr mBackupFailure;
    GptPartitionList mPartitions;
    FreeExtentList mFreeSpace;
};

}  // namespace nsLayout
