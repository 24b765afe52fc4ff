#include "Utility/Layscan/Report/RecordCopySource.h"

#include "Base/Dev/AssertionFailure.h"
#include "Base/Dev/MemBufferHandle.h"
#include "Utility/Layscan/Model/BootRecordBase.h"

void RecordCopySource::Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) {
    PRECONDITION(firstSector + sectorCount <= 1);
    if (sectorCount == 0) return;
    mRecord.GetBuffer()->Read(buffer, 0, GetBytesPerSector());
}

void RecordCopySource::Write(uint64_t, uint64_t, const void*) { PRECONDITION_MSG(false, "the copy is read-only"); }

uint32_t RecordCopySource::GetBytesPerSector() const { return static_cast<uint32_t>(mRecord.GetBuffer()->GetSize()); }
