#include "Utility/Layscan/Report/MbrBootRecordSection.h"

#include <string>

#include "Utility/Layscan/Report/BootRecordListing.h"
#include "Utility/Layscan/Model/Mbr.h"
#include "Utility/Layscan/Report/MbrTableRow.h"
#include "Utility/Layscan/Report/ReportStream.h"


namespace {

const wchar_t kMasterBootRecord[] = L"Master Boot Record";
const wchar_t kProtectiveMbr[] = L"Protective MBR";
const wchar_t kSectorZero[] = L" (Sector 0)";
const wchar_t kExtendedPartition[] = L"Extended Partition";
}  // namespace

void WriteMasterBootRecordSection(const nsLayout::SectorCopies& copies, const Mbr& mbr, uint16_t diskNumber,
                                  MbrRole role, ReportStream& stream) {
    const std::wstring title = role == MbrRole::Master ? kMasterBootRecord : kProtectiveMbr;
    WriteBootRecordHeading(title + kSectorZero, diskNumber, stream);
    WriteBootRecordEntryHeader(stream);
    for (uint32_t slot = 0; slot < mbr.GetMaxEntries(); ++slot) {
        const uint8_t type = mbr.GetEntry(slot).GetPartitionType();
        const std::wstring label = StartsChain(type) ? kExtendedPartition : PartitionTypeLabel(copies, mbr, slot);
        WriteBootRecordEntry(mbr, slot, label, stream);
    }
    WriteBootRecordDump(mbr, stream);
}
