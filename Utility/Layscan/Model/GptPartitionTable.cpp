#include "Utility/Layscan/Model/GptPartitionTable.h"

#include <algorithm>
#include <vector>

#include "SectorBuffer/Dev/SectorProvider.h"
#include "Utility/Layscan/Model/SectorCopies.h"
#include "Utility/Layscan/OnDisk/Crc32.h"

namespace {

constexpr uint64_t kHeaderCrcOffset = 16;

}  // namespace

GptPartitionTable::GptPartitionTable(SectorProvider& sectors, uint64_t headerLba)
    : GptPartitionTable(sectors, *std::make_unique<nsLayout::SectorCopies>(sectors.GetBytesPerSector(),
                                                                         sectors.GetSectorCount()),
                        headerLba) {}

GptPartitionTable::GptPartitionTable(SectorProvider& sectors, nsLayout::SectorCopies& copies, uint64_t headerLba)
    : mHeaderLba(headerLba), mSectorCount(sectors.GetSectorCount()) {
    mHeaderBuffer = ReadBytes(sectors, copies, headerLba, OnDiskGptHeader::kSectorBytes);
    mHeader = std::make_unique<OnDiskGptHeader>(mHeaderBuffer, 0);
    mEntriesBuffer =
        ReadBytes(sectors, copies, mHeader->GetPartitionEntryLba(), OnDiskGptPartitionEntries::kArrayBytes);
    mEntries = std::make_unique<OnDiskGptPartitionEntries>(mEntriesBuffer, 0);
}

std::shared_ptr<MemoryBuffer> GptPartitionTable::ReadBytes(SectorProvider& sectors, nsLayout::SectorCopies& copies,
                                                           uint64_t lba, uint64_t bytes) {
    const uint64_t sectorSize = sectors.GetBytesPerSector();
    PRECONDITION(sectorSize != 0);
    const uint64_t sectorsToRead = (bytes + sectorSize - 1) / sectorSize;
    const uint64_t sectorCount = sectors.GetSectorCount();
    // Written so that a wild LBA from a damaged header cannot wrap around.
    PRECONDITION_MSG(lba <= sectorCount && sectorsToRead <= sectorCount - lba, "lba + sectorsToRead <= sectorCount");
    std::vector<uint8_t> sectorBytes;
    copies.Fetch(sectors, lba, sectorsToRead);
    copies.Get(lba, sectorsToRead, sectorBytes);
    auto buffer = MemoryBuffer::Create(bytes);
    buffer->Write(sectorBytes.data(), 0, bytes);
    return buffer;
}

bool GptPartitionTable::IsHeaderCrcValid() const {
    MemoryBuffer copy(OnDiskGptHeader::kSectorBytes);
    copy.Copy(0, mHeaderBuffer, 0, OnDiskGptHeader::kSectorBytes);
    copy.Set(kHeaderCrcOffset, 0, 4);
    const uint64_t length = std::min<uint64_t>(mHeader->GetHeaderSize(), copy.GetSize());
    return Crc32(copy.Data(), length) == mHeader->GetHeaderCrc32();
}

bool GptPartitionTable::IsEntryArrayCrcValid() const {
    const uint64_t wanted =
        uint64_t{mHeader->GetNumberOfPartitionEntries()} * uint64_t{mHeader->GetSizeOfPartitionEntry()};
    const uint64_t length = std::min<uint64_t>(wanted, mEntriesBuffer->GetSize());
    return Crc32(mEntriesBuffer->Data(), length) == mHeader->GetPartitionEntryArrayCrc32();
}

bool GptPartitionTable::IsAlternateLbaValid() const {
    const uint64_t alternate = mHeader->GetAlternateLba();
    return mHeaderLba == 1 ? alternate == mSectorCount - 1 : alternate == 1;
}

bool GptPartitionTable::IsBeyondEndOfDisk(uint64_t index) const {
    const OnDiskGptPartitionEntry& entry = GetEntry(index);
    if (entry.GetLastLba() > mSectorCount) return true;
    return entry.GetFirstLba() > mSectorCount;
}

bool GptPartitionTable::IsEntryInUse(uint64_t index) const {
    const OnDiskGptPartitionEntry& entry = GetEntry(index);
    return !entry.GetPartitionTypeGuid().IsNull() && !entry.GetUniquePartitionGuid().IsNull();
}
