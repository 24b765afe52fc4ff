#include "Utility/Layscan/OnDisk/MbrPartitionEntry.h"

OnDiskMbrPartitionEntry::OnDiskMbrPartitionEntry()
    : OnDiskExLittleEndian(nullptr, 0, nullptr, 0, 0, "MbrPartitionEntry") {
    CheckThis();
}

void OnDiskMbrPartitionEntry::Bind(const BufferHandle& bh, OnDiskEx* container, uint32_t fieldId, uint64_t index) {
    SetUpSubStruct(bh, container, fieldId, index);
    mBeginChs.SetUpSubStruct(bh, this, kBeginChsField, 0);
    mBeginChs.SetSize(OnDiskCHS::kSize);
    mEndChs.SetUpSubStruct(bh, this, kEndChsField, 0);
    mEndChs.SetSize(OnDiskCHS::kSize);
    SetSize(kSize);
}

uint64_t OnDiskMbrPartitionEntry::GetStructOffset(uint32_t fieldId, uint64_t index) const {
    if (fieldId == kBeginChsField) {
        PRECONDITION(index == 0);
        return GetOD_ZeroOffset() + 1;
    }
    if (fieldId == kEndChsField) {
        PRECONDITION(index == 0);
        return GetOD_ZeroOffset() + 2 + mBeginChs.GetSize();
    }
    ONDISK_INVALID_FIELD();
}

uint8_t OnDiskMbrPartitionEntry::GetBootIndicator() const { return GetUInt8(0); }

uint8_t OnDiskMbrPartitionEntry::GetPartitionType() const { return GetUInt8(1 + mBeginChs.GetSize()); }

uint32_t OnDiskMbrPartitionEntry::GetStartSector() const {
    return GetUInt32(2 + mBeginChs.GetSize() + mEndChs.GetSize());
}

uint32_t OnDiskMbrPartitionEntry::GetSectorCount() const {
    return GetUInt32(6 + mBeginChs.GetSize() + mEndChs.GetSize());
}
