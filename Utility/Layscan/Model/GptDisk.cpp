#include "Utility/Layscan/Model/GptDisk.h"

#include <vector>

#include "SectorBuffer/Dev/SectorProvider.h"
#include "Utility/Layscan/Model/AlignmentClassifier.h"
#include "Utility/Layscan/Model/Mbr.h"

namespace nsLayout {

namespace {

constexpr uint8_t kProtectiveType = 0xEE;
constexpr uint64_t kPrimaryHeaderLba = 1;

std::shared_ptr<const Mbr> ReadMbr(SectorProvider& sb, SectorCopies& copies,
                                   const std::shared_ptr<const Geometry>& geometry) {
    copies.Fetch(sb, 0, 1);
    std::vector<uint8_t> sector;
    copies.Get(0, 1, sector);
    return std::make_shared<const Mbr>(sector.data(), copies.GetBytesPerSector(), geometry);
}

bool HasProtectiveMbr(SectorProvider& sb, SectorCopies& copies, const std::shared_ptr<const Geometry>& geometry) {
    if (sb.GetSectorCount() < 1) return false;
    const auto mbr = ReadMbr(sb, copies, geometry);
    return mbr->HasValidSignature() && mbr->GetEntry(0).GetPartitionType() == kProtectiveType;
}

bool HasHeaderSignatureAtLba1(SectorProvider& sb, SectorCopies& copies) {
    const uint32_t sectorSize = sb.GetBytesPerSector();
    if (sb.GetSectorCount() <= kPrimaryHeaderLba || sectorSize < 8) return false;
    std::vector<uint8_t> sector;
    copies.Fetch(sb, kPrimaryHeaderLba, 1);
    copies.Get(kPrimaryHeaderLba, 1, sector);
    auto buffer = MemoryBuffer::Create(sectorSize);
    buffer->Write(sector.data(), 0, sectorSize);
    // The header view describes 512 bytes but only its signature is read here.
    return OnDiskGptHeader(buffer, 0).IsSignatureValid();
}

std::shared_ptr<const Geometry> TranslationGeometry(SectorProvider& sb) {
    return std::make_shared<const Geometry>(Geometry::Translation(sb.GetBytesPerSector(), sb.GetSectorCount()));
}

}  // namespace

bool IsGpt(SectorProvider& sb) {
    SectorCopies copies(sb.GetBytesPerSector(), sb.GetSectorCount());
    return IsGpt(sb, copies);
}

bool IsGpt(SectorProvider& sb, SectorCopies& copies) {
    return HasProtectiveMbr(sb, copies, TranslationGeometry(sb)) || HasHeaderSignatureAtLba1(sb, copies);
}

GptDisk::GptDisk(SectorProvider& sb) : GptDisk(sb, SectorCopies(sb.GetBytesPerSector(), sb.GetSectorCount())) {}

GptDisk::GptDisk(SectorProvider& sb, SectorCopies copies) : mCopies(std::move(copies)) {
    mGeometry = TranslationGeometry(sb);
    mProtectiveMbr = ReadMbr(sb, mCopies, mGeometry);
    mPrimary = std::make_unique<GptPartitionTable>(sb, mCopies, kPrimaryHeaderLba);
    mFreeSpace.Add(0, sb.GetSectorCount());
    // The counter is 16-bit; a count above 128 reaches the entry array's
    // index check long before the counter could wrap.
    for (uint16_t index = 0; index < mPrimary->GetHeader().GetNumberOfPartitionEntries(); ++index) {
        const OnDiskGptPartitionEntry& entry = mPrimary->GetEntry(index);
        if (entry.GetPartitionTypeGuid().IsNull()) continue;
        auto partition = std::make_shared<const GptPartition>(entry, index);
        mFreeSpace.Remove(partition->GetStart(), partition->GetSize());
        mPartitions.push_back(std::move(partition));
    }
    const uint64_t backupLba = mPrimary->GetHeader().GetAlternateLba();
    try {
        mBackup = std::make_unique<GptPartitionTable>(sb, mCopies, backupLba);
    } catch (...) {
        // A disk that shrank below its header's size still has a model for
        // the consistency checks to say so; any other failure ends the build.
        if (backupLba < sb.GetSectorCount()) throw;
        mBackupFailure = std::current_exception();
    }
    FetchShownSectors(sb);
}

void GptDisk::FetchShownSectors(SectorProvider& sb) {
    const uint64_t sectorCount = sb.GetSectorCount();
    for (uint32_t slot = 0; slot < mProtectiveMbr->GetMaxEntries(); ++slot) {
        const uint64_t start = mProtectiveMbr->GetStartLba(slot);
        if (mProtectiveMbr->GetEntry(slot).GetPartitionType() != 0 && start < sectorCount) mCopies.FetchPrefix(sb, start);
    }
    mCopies.Fetch(sb, kPrimaryHeaderLba, 1);
    const uint64_t entrySize = mPrimary->GetHeader().GetSizeOfPartitionEntry();
    if (entrySize != 0 && entrySize <= SectorCopies::kMaxShownBytes) {
        uint64_t sector = kFirstRawSlotSector;
        for (uint32_t slot = 0; slot < kRawSlotLimit; slot += kRawSlotsPerSector, ++sector)
            for (uint32_t index = 0; index < kRawSlotsPerSector; ++index)
                mCopies.FetchBytes(sb, sector, index * entrySize, entrySize);
    }
    for (const auto& p : mPartitions) mCopies.Fetch(sb, p->GetFirstLba(), 1);
}

bool GptDisk::GetRawSlot(uint64_t sector, uint32_t index, std::vector<uint8_t>& bytes) const {
    const uint64_t entrySize = mPrimary->GetHeader().GetSizeOfPartitionEntry();
    if (entrySize == 0 || entrySize > SectorCopies::kMaxShownBytes) return false;
    mCopies.GetBytes(sector, index * entrySize, entrySize, bytes);
    return true;
}

GptDisk::~GptDisk() = default;

const GptPartitionTable& GptDisk::GetBackupTable() const {
    if (mBackupFailure) std::rethrow_exception(mBackupFailure);
    return *mBackup;
}

std::wstring GptDisk::DetectAlignment() const {
    AlignmentClassifier classifier(mGeometry->GetSectorsPerTrack());
    const OnDiskGptPartitionEntries& entries = mPrimary->GetEntries();
    for (uint64_t index = 0; index < OnDiskGptPartitionEntries::kEntryCount; ++index) {
        if (!mPrimary->IsEntryInUse(index)) continue;
        const OnDiskGptPartitionEntry& entry = entries.GetEntries(index);
        classifier.Add(entry.GetFirstLba(), entry.GetSize(), mCopies.GetBytesPerSector());
    }
    return classifier.GetLabel();
}

VolumePartitionList GptDisk::GetVolumePartitions() const {
    VolumePartitionList volumes;
    volumes.reserve(mPartitions.size());
    for (const auto& p : mPartitions) volumes.push_back({p->GetTypeGuid(), p->GetFirstLba(), p->GetLastLba()});
    return volumes;
}

}  // namespace nsLayout
