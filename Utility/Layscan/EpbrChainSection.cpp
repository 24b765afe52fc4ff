#include "Utility/Layscan/EpbrChainSection.h"

#include <string>

#include "Utility/Layscan/BootRecordListing.h"
#include "Utility/Layscan/ColumnLayout.h"
#include "Utility/Layscan/DiskInfo.h"
#include "Utility/Layscan/MbrDisk.h"
#include "Utility/Layscan/MbrTableRow.h"
#include "Utility/Layscan/ReportStream.h"

namespace {

const wchar_t kEpbrHeading[] = L"Extended Partition Boot Record at Sector ";
const wchar_t kEpbrLink[] = L"EPBR";

}  // namespace

void WriteEpbrChainSection(const nsLayout::MbrDisk& disk, const DiskInfo& diskInfo, ReportStream& stream) {
    SectorProvider& source = disk.GetSectorProvider();
    for (const auto& epbr : disk.GetEpbrList()) {
        WriteBootRecordHeading(kEpbrHeading + ColumnLayout::Count(epbr->GetMyLba()), diskInfo.diskNumber, stream);
        WriteBootRecordEntryHeader(stream);
        for (uint32_t slot = 0; slot < epbr->GetMaxEntries(); ++slot) {
            const bool link = IsExtendedType(epbr->GetEntry(slot).GetPartitionType());
            WriteBootRecordEntry(*epbr, slot, link ? kEpbrLink : PartitionTypeLabel(source, *epbr, slot), stream);
        }
        WriteBootRecordDump(*epbr, stream);
    }
}
