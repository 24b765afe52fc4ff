#include "Utility/Layscan/Model/GptDisk.h"

#include <vector>

#include "SectorBuffer/Dev/SectorProvider.h"
#include "Utility/Layscan/Model/AlignmentClassifier.h"
#include "Utility/Layscan/Model/Mbr.h"

namespace nsLayout {

namespace {

constexpr uint8_t kProtectiveType = 0xEE;
constexpr uint64_t kPrimaryHeaderLba = 1;

bool HasProtectiveMbr(SectorProvider& sb, const std::shared_ptr<const Geometry>& geometry) {
    if (sb.GetSectorCount() < 1) return false;
    Mbr mbr(sb, geometry);
    return mbr.HasValidSignature() && mbr.GetEntry(0).GetPartitionType() == kProtectiveType;
}

bool HasHeaderSignatureAtLba1(SectorProvider& sb) {
    const uint32_t sectorSize = sb.GetBytesPerSector();
    if (sb.GetSectorCount() <= kPrimaryHeaderLba || sectorSize < 8) return false;
    std::vector<uint8_t> sector(sectorSize);
    sb.Read(kPrimaryHeaderLba, 1, sector.data());
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
    return HasProtectiveMbr(sb, TranslationGeometry(sb)) || HasHeaderSignatureAtLba1(sb);
}

GptDisk::GptDisk(SectorProvider& sb) : mSectors(sb) {
    mGeometry = TranslationGeometry(sb);
    mProtectiveMbr = std::make_shared<const Mbr>(sb, mGeometry);
    mPrimary = std::make_unique<GptPartitionTable>(sb, kPrimaryHeaderLba);
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
    mBackup = std::make_unique<GptPartitionTable>(sb, mPrimary->GetHeader().GetAlternateLba());
}

GptDisk::~GptDisk() = default;

std::wstring GptDisk::DetectAlignment() const {
    AlignmentClassifier classifier(mGeometry->GetSectorsPerTrack());
    const OnDiskGptPartitionEntries& entries = mPrimary->GetEntries();
    for (uint64_t index = 0; index < OnDiskGptPartitionEntries::kEntryCount; ++index) {
        if (!mPrimary->IsEntryInUse(index)) continue;
        const OnDiskGptPartitionEntry& entry = entries.GetEntries(index);
        classifier.Add(entry.GetFirstLba(), entry.GetSize(), mSectors.GetBytesPerSector());
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
