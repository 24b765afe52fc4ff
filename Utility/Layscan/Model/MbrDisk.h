#pragma once
// The in-memory model of an MBR disk: the MBR, every EPBR of every extended
// partition's chain, the primary and logical partitions sorted by start, and
// the space that no partition uses. Built once by the constructor and never
// changed afterwards; the boot records keep their sector copies for its
// lifetime.

#include <memory>
#include <string>
#include <vector>

#include "Utility/Layscan/Model/Epbr.h"
#include "Utility/Layscan/Model/FreeExtentList.h"
#include "Utility/Layscan/Model/Geometry.h"
#include "Utility/Layscan/Model/LogicalSlotIndex.h"
#include "Utility/Layscan/Model/Mbr.h"
#include "Utility/Layscan/Model/MbrPartition.h"
#include "Utility/Layscan/Model/SectorCopies.h"
#include "Utility/Layscan/Model/VolumePartition.h"

class SectorProvider;

namespace nsLayout {

// Sector 0 holds a signed MBR that is not a GPT's protective one. Judged with
// the translation geometry.
bool IsMbr(SectorProvider& sb);
// The same with sector 0 read into copies, for the model to go on from.
bool IsMbr(SectorProvider& sb, SectorCopies& copies);

class MbrDisk {
public:
    // An EPBR whose link leads back to an EPBR already read: the walk ended there.
    struct ChainLoop {
        uint64_t epbrLba;
        uint64_t targetLba;
    };
    using PartitionList = std::vector<std::shared_ptr<const MbrPartition>>;
    using EpbrList = std::vector<std::shared_ptr<Epbr>>;

    // geometry is the disk's reported shape, kept for the report; the boot
    // records judge and convert CHS values with the translation geometry of
    // the source's sector size and count. Throws when sb does not hold an MBR
    // disk (see IsMbr); read failures of the boot records pass through.
    // Every other sector the report shows is read here too, into
    // GetSectorCopies(): each partition's first sector, and the first sector
    // of whatever an entry points at, for its type label.
    MbrDisk(SectorProvider& sb, const Geometry& geometry);
    // The same going on from what the recogniser already read.
    MbrDisk(SectorProvider& sb, const Geometry& geometry, SectorCopies copies);
    ~MbrDisk();
    MbrDisk(const MbrDisk&) = delete;
    MbrDisk& operator=(const MbrDisk&) = delete;

    // Every EPBR in the order the chains were walked, one extended partition after the other.
    const EpbrList& GetEpbrList() const { return mEpbrs; }
    const std::shared_ptr<Mbr>& GetMbr() const { return mMbr; }
    // The geometry the disk was built with (the reported one).
    const Geometry& GetGeometry() const { return mGeometry; }
    // The sectors the report shows besides the boot records.
    const SectorCopies& GetSectorCopies() const { return mCopies; }

    // Primary and logical partitions in ascending start; equal starts in no set order.
    const PartitionList& GetPartitions() const { return mPartitions; }
    const FreeExtentList& GetUnallocated() const { return mUnallocated; }
    const FreeExtentList& GetExtendedUnallocated() const { return mExtendedUnallocated; }
    // The last extended entry of the MBR (types 0x05, 0x0F, 0x85); null when there is none.
    const std::shared_ptr<const MbrPartition>& GetExtendedPartition() const { return mExtendedPartition; }

    // The alignment label of the MBR's non-empty entries.
    std::wstring DetectAlignment() const;
    // The partitions as the boot-record section reads them, in model order.
    VolumePartitionList GetVolumePartitions() const;
    // The links that closed a loop, in the order the chains were walked.
    const std::vector<ChainLoop>& GetChainLoops() const { return mChainLoops; }
    // Every EPBR's logical slots, indexed for the overlap check; built on first use.
    const LogicalSlotIndex& GetLogicalSlotIndex() const;

private:
    void WalkChain(SectorProvider& sb, uint64_t extendedStart);
    void FetchShownSectors(SectorProvider& sb);

    // Holds every EPBR, its sector copy and every logical partition: a chain
    // can be hundreds of thousands long.
    std::shared_ptr<BlockArena> mArena;
    PartitionList mPartitions;
    FreeExtentList mUnallocated;
    FreeExtentList mExtendedUnallocated;
    std::shared_ptr<const MbrPartition> mExtendedPartition;
    EpbrList mEpbrs;
    std::vector<ChainLoop> mChainLoops;
    SectorCopies mCopies;
    Geometry mGeometry;
    // Shared by the MBR and every EPBR.
    std::shared_ptr<const Geometry> mTranslation;
    std::shared_ptr<Mbr> mMbr;
    mutable std::unique_ptr<LogicalSlotIndex> mLogicalSlotIndex;
};

}  // namespace nsLayout
