#include "Utility/Layscan/Model/Epbr.h"

Epbr::Epbr(SectorProvider& sectors, std::shared_ptr<const Geometry> geometry, uint64_t lba, uint64_t extendedStart,
           bool scanAllEntries, const std::shared_ptr<BlockArena>& arena)
    : BootRecordBase(sectors, std::move(geometry), lba, arena), mExtendedStart(extendedStart), mScanAllEntries(scanAllEntries) {
    PRECONDITION(extendedStart > 0);
    PRECONDITION(GetMyLba() >= extendedStart);
    const auto& record = GetRecord();
    // All four slots are looked at whatever scanAllEntries says: a second
    // entry of either kind in the unused slots still spoils the record.
    for (uint32_t i = 0; i < 4; ++i) {
        const uint8_t type = record.GetPartitionTableEntries(i).GetPartitionType();
        uint32_t* found;
        if (IsExtendedType(type))
            found = &mEpbrIndex;
        else if (type != 0)
            found = &mLogicalIndex;
        else
            continue;
        if (*found == kNoEntry) {
            *found = i;
        } else if (!mScanAllEntries) {
            *found = kNoEntry;
            return;
        }
    }
    if (mEpbrIndex != kNoEntry) {
        if (mLogicalIndex == kNoEntry) mLogicalIndex = mEpbrIndex == 0 ? 1 : 0;
    } else {
        mEpbrIndex = mLogicalIndex == 1 ? 0 : 1;
        if (mLogicalIndex == kNoEntry) mLogicalIndex = 0;
    }
}

uint32_t Epbr::GetMaxEntries() const { return mScanAllEntries ? 4 : 2; }

bool Epbr::IsValid(bool signatureOnly) const {
    if (!signatureOnly) {
        if (mEpbrIndex >= 4 || mLogicalIndex >= 4 || mEpbrIndex == mLogicalIndex) return false;
        const auto& record = GetRecord();
        if (IsExtendedType(record.GetPartitionTableEntries(mLogicalIndex).GetPartitionType())) return false;
        const uint8_t linkType = record.GetPartitionTableEntries(mEpbrIndex).GetPartitionType();
        if (linkType != 0 && !IsExtendedType(linkType)) return false;
    }
    return BootRecordBase::IsValid(signatureOnly);
}

uint64_t Epbr::GetStartLba(uint32_t index) const { return GetBaseLba(index) + GetEntry(index).GetStartSector(); }

uint64_t Epbr::GetEndLba(uint32_t index) const { return GetBaseLba(index) + RelativeEnd(GetEntry(index)); }

uint64_t Epbr::GetBaseLba(uint32_t index) const {
    return IsExtendedType(GetEntry(index).GetPartitionType()) ? mExtendedStart : GetMyLba();
}

const OnDiskMbrPartitionEntry& Epbr::GetEpbrEntry() const {
    CHECK(mEpbrIndex < 4);
    return GetRecord().GetPartitionTableEntries(mEpbrIndex);
}

uint64_t Epbr::GetNextEpbrLba() const {
    const uint32_t next = GetEpbrEntry().GetStartSector();
    return next ? mExtendedStart + next : 0;
}

