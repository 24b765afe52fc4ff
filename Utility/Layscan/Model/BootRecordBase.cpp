#include "Utility/Layscan/Model/BootRecordBase.h"

#include <array>
#include <optional>

#include "SectorBuffer/Dev/SectorProvider.h"

bool IsExtendedType(uint8_t type) { return type == 0x05 || type == 0x0F; }

bool IsDataType(uint8_t type) { return type != 0x00 && !IsExtendedType(type); }

bool StartsChain(uint8_t type) { return IsExtendedType(type) || type == 0x85; }

bool ChsMatchesLba(const OnDiskCHS& chs, const Geometry& geometry, uint64_t lba, uint8_t type) {
    const uint32_t chsCylinder = chs.GetCylinder();
    // 1023 says "beyond CHS reach"; some tools write 1022 for these types.
    if (chsCylinder == 1023) return true;
    if (chsCylinder == 1022 && (type == 0x3D || type == 0x65 || type == 0x69)) return true;
    // Types addressed by LBA only: their CHS values carry no meaning.
    switch (type) {
        case 0x0C: case 0x0E: case 0x0F: case 0x1C: case 0x1E: case 0x85: return true;
        default: break;
    }
    uint64_t cylinder;
    uint32_t head, sector;
    geometry.GetChsFromLba(lba, cylinder, head, sector);
    // A cylinder that overflowed 10 bits and was stored wrapped.
    if (cylinder > 1023 && (cylinder & 0x3FF) == chsCylinder && head == chs.GetHead() && sector == chs.GetSector())
        return true;
    const uint32_t reach = geometry.GetHeadCount() * geometry.GetSectorsPerTrack() * 1024u;
    return lba >= reach;
}

bool ChsEqualsLba(const OnDiskCHS& chs, const Geometry& geometry, uint64_t lba) {
    uint64_t cylinder;
    uint32_t head, sector;
    geometry.GetChsFromLba(lba, cylinder, head, sector);
    return static_cast<uint16_t>(cylinder) == chs.GetCylinder() && head == chs.GetHead() && sector == chs.GetSector();
}

bool IsChsInGeometry(const OnDiskCHS& chs, const Geometry& geometry) {
    const uint32_t sector = chs.GetSector();
    return chs.GetCylinder() < geometry.GetCylinderCount() && chs.GetHead() < geometry.GetHeadCount() &&
           sector >= 1 && sector <= geometry.GetSectorsPerTrack();
}

namespace {

// The records whose views are built, at most kLiveRecordViews of them; the
// oldest gives way to the next record used.
struct LiveRecordViews {
    const BootRecordBase* owner = nullptr;
    std::optional<OnDiskMbrRecord> views;
};

std::array<LiveRecordViews, BootRecordBase::kLiveRecordViews>& LiveViews() {
    static std::array<LiveRecordViews, BootRecordBase::kLiveRecordViews> live;
    return live;
}

size_t gNextLiveSlot = 0;

std::shared_ptr<MemoryBuffer> MakeRecordBuffer(const std::shared_ptr<BlockArena>& arena) {
    if (!arena) return MemoryBuffer::Create(OnDiskMbrRecord::kSize);
    return std::allocate_shared<MemoryBuffer>(ArenaAllocator<MemoryBuffer>(arena), OnDiskMbrRecord::kSize, arena.get());
}
}  // namespace

BootRecordBase::BootRecordBase(SectorProvider& sectors, std::shared_ptr<const Geometry> geometry, uint64_t lba,
                               const std::shared_ptr<BlockArena>& arena)
    : mBuffer(MakeRecordBuffer(arena)), mGeometry(std::move(geometry)), mMyLba(lba) {
    // A 512-byte sector is read straight into the copy: a long EPBR chain
    // builds one record per link. Of a larger sector only the first 512
    // bytes are ever looked at.
    const uint32_t sectorSize = sectors.GetBytesPerSector();
    if (sectorSize == OnDiskMbrRecord::kSize) {
        sectors.Read(lba, 1, mBuffer->Data());
        return;
    }
    auto sector = MemoryBuffer::Create(sectorSize);
    sectors.Read(lba, 1, sector->Data());
    mBuffer->Copy(0, sector, 0, OnDiskMbrRecord::kSize);
}

BootRecordBase::BootRecordBase(const uint8_t* sector, uint32_t sectorSize, std::shared_ptr<const Geometry> geometry,
                               uint64_t lba, const std::shared_ptr<BlockArena>& arena)
    : mBuffer(MakeRecordBuffer(arena)), mGeometry(std::move(geometry)), mMyLba(lba) {
    auto copy = MemoryBuffer::Create(sectorSize);
    copy->Write(sector, 0, sectorSize);
    mBuffer->Copy(0, copy, 0, OnDiskMbrRecord::kSize);
}

BootRecordBase::~BootRecordBase() {
    for (LiveRecordViews& slot : LiveViews()) {
        if (slot.owner != this) continue;
        slot.views.reset();
        slot.owner = nullptr;
    }
}

const OnDiskMbrRecord& BootRecordBase::GetRecord() const {
    for (const LiveRecordViews& slot : LiveViews())
        if (slot.owner == this) return *slot.views;
    LiveRecordViews& slot = LiveViews()[gNextLiveSlot];
    gNextLiveSlot = (gNextLiveSlot + 1) % kLiveRecordViews;
    slot.owner = nullptr;
    slot.views.emplace(mBuffer, 0);
    slot.views->CheckThis();
    slot.owner = this;
    return *slot.views;
}

uint32_t BootRecordBase::GetMaxEntries() const { return 4; }

bool BootRecordBase::IsValid(bool signatureOnly) const {
    if (!HasValidSignature()) return false;
    if (signatureOnly) return true;
    uint32_t active = 0;
    for (uint32_t i = 0; i < GetMaxEntries(); ++i) {
        const uint8_t indicator = GetEntry(i).GetBootIndicator();
        if (indicator == kActive)
            ++active;
        else if (indicator != kInactive)
            return false;
    }
    return active < 2;
}

bool BootRecordBase::IsEntryValid(uint32_t index) const {
    if (GetEntry(index).GetPartitionType() == 0) return true;
    return IsBeginChsValid(index) && IsEndChsValid(index) && BeginChsMatchesLba(index) && EndChsMatchesLba(index);
}

uint64_t BootRecordBase::GetStartLba(uint32_t index) const { return GetEntry(index).GetStartSector(); }

uint64_t BootRecordBase::GetEndLba(uint32_t index) const { return RelativeEnd(GetEntry(index)); }

uint64_t BootRecordBase::GetBaseLba(uint32_t) const { return 0; }

const OnDiskMbrPartitionEntry& BootRecordBase::GetEntry(uint32_t index) const {
    PRECONDITION(index < GetMaxEntries());
    return GetRecord().GetPartitionTableEntries(index);
}

bool BootRecordBase::HasValidSignature() const {
    return GetRecord().GetSignature() == OnDiskMbrRecord::kValidSignature;
}

bool BootRecordBase::IsBeginChsValid(uint32_t index) const {
    const auto& entry = GetEntry(index);
    return ChsMatchesLba(entry.GetBeginChs(), *mGeometry, GetStartLba(index), entry.GetPartitionType()) ||
           IsChsInGeometry(entry.GetBeginChs(), *mGeometry);
}

bool BootRecordBase::IsEndChsValid(uint32_t index) const {
    const auto& entry = GetEntry(index);
    return ChsMatchesLba(entry.GetEndChs(), *mGeometry, GetEndLba(index), entry.GetPartitionType()) ||
           IsChsInGeometry(entry.GetEndChs(), *mGeometry);
}

bool BootRecordBase::BeginChsMatchesLba(uint32_t index) const {
    const auto& entry = GetEntry(index);
    const uint64_t lba = GetStartLba(index);
    return ChsMatchesLba(entry.GetBeginChs(), *mGeometry, lba, entry.GetPartitionType()) ||
           ChsEqualsLba(entry.GetBeginChs(), *mGeometry, lba);
}

bool BootRecordBase::EndChsMatchesLba(uint32_t index) const {
    const auto& entry = GetEntry(index);
    const uint64_t lba = GetEndLba(index);
    return ChsMatchesLba(entry.GetEndChs(), *mGeometry, lba, entry.GetPartitionType()) ||
           ChsEqualsLba(entry.GetEndChs(), *mGeometry, lba);
}

uint32_t BootRecordBase::RelativeEnd(const OnDiskMbrPartitionEntry& entry) {
    return entry.GetStartSector() + entry.GetSectorCount() - 1u;
}

