#include "Utility/Layscan/OnDisk/MbrRecord.h"

namespace {
constexpr uint64_t kDiskSignatureOffset = 440;
constexpr uint64_t kReservedOffset = 444;
constexpr uint64_t kEntriesOffset = 446;
}  // namespace

OnDiskMbrRecord::OnDiskMbrRecord(BufferHandle bh, uint64_t offset)
    : OnDiskExLittleEndian(std::move(bh), offset, nullptr, 0, 0, "MbrRecord") {
    for (uint64_t i = 0; i < 4; ++i) mEntries[i].Bind(m_bh, this, kPartitionTableEntriesField, i);
    SetSize(kSize);
    CheckThis();
}

uint64_t OnDiskMbrRecord::GetStructOffset(uint32_t fieldId, uint64_t index) const {
    if (fieldId != kPartitionTableEntriesField) ONDISK_INVALID_FIELD();
    return GetPartitionTableEntriesOffset(index);
}

uint64_t OnDiskMbrRecord::GetPartitionTableEntriesOffset(uint64_t index) const {
    PRECONDITION(index < 4);
    return GetOD_ZeroOffset() + kEntriesOffset + index * mEntries[0].GetSize();
}

void OnDiskMbrRecord::GetBootCode(uint8_t* destination, uint64_t startIndex, uint64_t count) const {
    ONDISK_ARRAY_RANGE(440, startIndex, count);
    GetBytes(0, destination, startIndex, count);
}

uint32_t OnDiskMbrRecord::GetDiskSignature() const { return GetUInt32(kDiskSignatureOffset); }

uint16_t OnDiskMbrRecord::GetReserved() const { return GetUInt16(kReservedOffset); }

const OnDiskMbrPartitionEntry& OnDiskMbrRecord::GetPartitionTableEntries(uint64_t index) const {
    PRECONDITION(index < 4);
    return mEntries[index];
}

uint16_t OnDiskMbrRecord::GetSignature() const {
    return GetUInt16(kEntriesOffset + 4 * mEntries[0].GetSize());
}
