#pragma once
// The in-memory model of a GPT disk: translation geometry, protective MBR,
// primary and backup tables, the partitions of the primary array in entry
// order and the space they leave free. Built in full by the constructor and
// read-only afterwards.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Utility/Layscan/Model/FreeExtentList.h"
#include "Utility/Layscan/Model/Geometry.h"
#include "Utility/Layscan/Model/GptPartition.h"
#include "Utility/Layscan/Model/GptPartitionTable.h"
#include "Utility/Layscan/Model/VolumePartition.h"

class Mbr;
class SectorProvider;

namespace nsLayout {

// Sector 0 holds a protective MBR (signature 0xAA55, type 0xEE in entry 0) or
// LBA 1 begins with "EFI PART". Asked only after the MBR recogniser declines.
bool IsGpt(SectorProvider& sb);

using GptPartitionList = std::vector<std::shared_ptr<const GptPartition>>;

class GptDisk {
public:
    // Reads sector 0, the primary table at LBA 1 and the backup table at the
    // LBA the primary header names. A header claiming more than 128 entries
    // stops the build on the entry array's "index < 128".
    explicit GptDisk(SectorProvider& sb);
    virtual ~GptDisk();
    GptDisk(const GptDisk&) = delete;
    GptDisk& operator=(const GptDisk&) = delete;

    virtual SectorProvider& GetSectorProvider() const { return mSectors; }
    virtual const Geometry& GetGeometry() const { return *mGeometry; }
    virtual std::shared_ptr<const Mbr> GetProtectiveMbr() const { return mProtectiveMbr; }
    virtual const GptPartitionTable& GetPrimaryTable() const { return *mPrimary; }
    virtual const GptPartitionTable& GetBackupTable() const { return *mBackup; }
    virtual const GptPartitionList& GetPartitions() const { return mPartitions; }
    virtual const FreeExtentList& GetFreeSpace() const { return mFreeSpace; }

    // The alignment label of the in-use entries of the primary array. Each is
    // fed as its first LBA and the entry structure's size (128), so with 512-
    // or 4096-byte sectors no entry fits a class and the label is "None".
    std::wstring DetectAlignment() const;
    // The partitions with their own type GUIDs, in entry order.
    VolumePartitionList GetVolumePartitions() const;

private:
    SectorProvider& mSectors;
    std::shared_ptr<const Geometry> mGeometry;
    std::shared_ptr<const Mbr> mProtectiveMbr;
    std::unique_ptr<GptPartitionTable> mPrimary;
    std::unique_ptr<GptPartitionTable> mBackup;
    GptPartitionList mPartitions;
    FreeExtentList mFreeSpace;
};

// The variant the disk report builds, writes from and destroys per disk.
class DiagnosticGptDisk : public GptDisk {
public:
    explicit DiagnosticGptDisk(SectorProvider& sb) : GptDisk(sb) {}
};

}  // namespace nsLayout
