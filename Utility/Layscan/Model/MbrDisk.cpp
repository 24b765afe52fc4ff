#include "Utility/Layscan/Model/MbrDisk.h"

#include <algorithm>
#include <unordered_set>
#include <vector>

#include "SectorBuffer/Dev/SectorProvider.h"
#include "Utility/Layscan/Model/AlignmentClassifier.h"

namespace nsLayout {

namespace {

constexpr uint8_t kGptProtectiveType = 0xEE;

Guid VolumeTypeGuid(uint8_t type) {
    switch (type) {
        case 0x01: case 0x04: case 0x06: case 0x07: case 0x0B: case 0x0C: case 0x0E: return Guid::BasicData();
        case 0xEF: return Guid::EfiSystemPartition();
        default: return Guid();
    }
}

bool IsMbrRecord(const Mbr& mbr) {
    return mbr.HasValidSignature() && mbr.GetEntry(0).GetPartitionType() != kGptProtectiveType;
}

// Sector 0 as a record, read into copies unless it is there already.
std::shared_ptr<Mbr> ReadMbr(SectorProvider& sb, SectorCopies& copies, std::shared_ptr<const Geometry> geometry) {
    copies.Fetch(sb, 0, 1);
    std::vector<uint8_t> sector;
    copies.Get(0, 1, sector);
    return std::make_shared<Mbr>(sector.data(), copies.GetBytesPerSector(), std::move(geometry));
}

}  // namespace

bool IsMbr(SectorProvider& sb) {
    SectorCopies copies(sb.GetBytesPerSector(), sb.GetSectorCount());
    return IsMbr(sb, copies);
}

bool IsMbr(SectorProvider& sb, SectorCopies& copies) {
    const auto translation =
        std::make_shared<const Geometry>(Geometry::Translation(sb.GetBytesPerSector(), sb.GetSectorCount()));
    return IsMbrRecord(*ReadMbr(sb, copies, translation));
}

MbrDisk::MbrDisk(SectorProvider& sb, const Geometry& geometry)
    : MbrDisk(sb, geometry, SectorCopies(sb.GetBytesPerSector(), sb.GetSectorCount())) {}

MbrDisk::MbrDisk(SectorProvider& sb, const Geometry& geometry, SectorCopies copies)
    : mArena(std::make_shared<BlockArena>()),
      mCopies(std::move(copies)),
      mGeometry(geometry),
      mTranslation(std::make_shared<const Geometry>(Geometry::Translation(sb.GetBytesPerSector(), sb.GetSectorCount()))),
      mMbr(ReadMbr(sb, mCopies, mTranslation)) {
    // The recogniser's verdict on the record just read: the failure text
    // names the recogniser, as a caller knows it.
    const auto IsMbr = [this](SectorProvider&) { return IsMbrRecord(*mMbr); };
    PRECONDITION(IsMbr(sb));
    mUnallocated.Add(0, mGeometry.GetSectorCount());
    for (uint32_t i = 0; i < mMbr->GetMaxEntries(); ++i) {
        const auto& entry = mMbr->GetEntry(i);
        const uint8_t type = entry.GetPartitionType();
        if (type == 0) continue;
        const uint64_t start = entry.GetStartSector();
        const uint64_t count = entry.GetSectorCount();
        if (StartsChain(type)) {
            mExtendedPartition = std::make_shared<const MbrPartition>(MbrPartition::FromEntry(entry, start, false));
            mUnallocated.Remove(start, count);
            // The extended partition's first sector holds its first EPBR. An
            // empty extended partition has no space at all.
            if (count) mExtendedUnallocated.Add(start + 1, count - 1);
            if (start != 0) WalkChain(sb, start);
        } else {
            mPartitions.push_back(std::make_shared<const MbrPartition>(MbrPartition::FromEntry(entry, start, false)));
            mUnallocated.Remove(start, count);
        }
    }
    // One sort at the end gives the same list as keeping it sorted on every insertion.
    std::sort(mPartitions.begin(), mPartitions.end(),
              [](const auto& a, const auto& b) { return a->startLba < b->startLba; });
    FetchShownSectors(sb);
}

void MbrDisk::FetchShownSectors(SectorProvider& sb) {
    // A boot record's copy serves an entry that points at its sector: a link
    // entry's label needs nothing of it but that it was read.
    for (const auto& epbr : mEpbrs) mCopies.Hold(epbr->GetMyLba(), epbr->GetBuffer()->Data(), OnDiskMbrRecord::kSize);
    // Type labels look at the first sector of every used entry that starts on the disk.
    const uint64_t sectorCount = sb.GetSectorCount();
    auto fetchLabelSectors = [&](const BootRecordBase& record) {
        for (uint32_t slot = 0; slot < record.GetMaxEntries(); ++slot) {
            const uint64_t start = record.GetStartLba(slot);
            if (record.GetEntry(slot).GetPartitionType() != 0 && start < sectorCount) mCopies.FetchPrefix(sb, start);
        }
    };
    fetchLabelSectors(*mMbr);
    for (const auto& epbr : mEpbrs) fetchLabelSectors(*epbr);
    // The volume boot record section shows each partition's first sector, wherever it lies.
    for (const auto& partition : mPartitions) mCopies.Fetch(sb, partition->startLba, 1);
}

MbrDisk::~MbrDisk() = default;

void MbrDisk::WalkChain(SectorProvider& sb, uint64_t extendedStart) {
    // The visited set is the only bound on a chain: a link back to an EPBR
    // already read ends the walk, and every other link leads to a new sector.
    std::unordered_set<uint64_t> visited;
    for (uint64_t lba = extendedStart; lba != 0;) {
        visited.insert(lba);
        auto epbr = std::allocate_shared<Epbr>(ArenaAllocator<Epbr>(mArena), sb, mTranslation, lba, extendedStart,
                                               true, mArena);
        mEpbrs.push_back(epbr);
        for (uint32_t j = 0; j < 4; ++j) {
            const auto& entry = epbr->GetEntry(j);
            if (!IsDataType(entry.GetPartitionType())) continue;
            auto partition = std::allocate_shared<const MbrPartition>(
                ArenaAllocator<MbrPartition>(mArena), MbrPartition::FromEntry(entry, epbr->GetStartLba(j), true));
            mExtendedUnallocated.Remove(partition->startLba, partition->sectorCount);
            mPartitions.push_back(std::move(partition));
        }
        lba = epbr->GetNextEpbrLba();
        if (visited.count(lba)) {
            mChainLoops.push_back({epbr->GetMyLba(), lba});
            lba = 0;
        }
    }
}

std::wstring MbrDisk::DetectAlignment() const {
    AlignmentClassifier classifier(mTranslation->GetSectorsPerTrack());
    for (uint32_t i = 0; i < mMbr->GetMaxEntries(); ++i) {
        const auto& entry = mMbr->GetEntry(i);
        if (entry.GetPartitionType() != 0)
            classifier.Add(entry.GetStartSector(), entry.GetSectorCount(), mTranslation->GetBytesPerSector());
    }
    return classifier.GetLabel();
}

VolumePartitionList MbrDisk::GetVolumePartitions() const {
    VolumePartitionList list;
    list.reserve(mPartitions.size());
    for (const auto& p : mPartitions) list.push_back({VolumeTypeGuid(p->type), p->startLba, p->startLba + p->sectorCount - 1});
    return list;
}

const LogicalSlotIndex& MbrDisk::GetLogicalSlotIndex() const {
    if (!mLogicalSlotIndex) mLogicalSlotIndex = std::make_unique<LogicalSlotIndex>(mEpbrs);
    return *mLogicalSlotIndex;
}

}  // namespace nsLayout
