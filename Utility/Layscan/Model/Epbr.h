#pragma once
// An extended partition boot record of the logical chain. It locates its
// logical entry and its link entry once, when it is read; the link points to
// the next EPBR relative to the start of the extended partition, the logical
// entry relative to this EPBR.

#include "Utility/Layscan/Model/BootRecordBase.h"

class Epbr : public BootRecordBase {
public:
    // The slot number that means "no such entry".
    static constexpr uint32_t kNoEntry = 4;

    // scanAllEntries makes all four slots count; without it only the two that
    // a single-logical chain uses, and a second logical or link entry leaves
    // the record without that slot.
    Epbr(SectorProvider& sectors, std::shared_ptr<const Geometry> geometry, uint64_t lba, uint64_t extendedStart,
         bool scanAllEntries, const std::shared_ptr<BlockArena>& arena = nullptr);

    uint32_t GetMaxEntries() const override;
    bool IsValid(bool signatureOnly) const override;
    uint64_t GetStartLba(uint32_t index) const override;
    uint64_t GetEndLba(uint32_t index) const override;
    // Link entries count from the extended partition's start, all others from this EPBR.
    uint64_t GetBaseLba(uint32_t index) const override;

    const OnDiskMbrPartitionEntry& GetEpbrEntry() const;
    // 0 at the end of the chain.
    uint64_t GetNextEpbrLba() const;

    uint64_t GetExtendedStart() const { return mExtendedStart; }
    uint32_t GetLogicalIndex() const { return mLogicalIndex; }
    uint32_t GetEpbrIndex() const { return mEpbrIndex; }
    bool ScansAllEntries() const { return mScanAllEntries; }

private:
    uint64_t mExtendedStart;
    uint32_t mLogicalIndex = kNoEntry;
    uint32_t mEpbrIndex = kNoEntry;
    bool mScanAllEntries;
};

