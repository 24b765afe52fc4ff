#include "Utility/Layscan/Report/EpbrChainSection.h"

#include <string>

#include "Utility/Layscan/Report/BootRecordListing.h"
#include "Utility/Layscan/Report/ColumnLayout.h"
#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Model/MbrDisk.h"
#include "Utility/Layscan/Report/MbrTableRow.h"
#include "Utility/Layscan/Report/ReportStream.h"

using nsLayout::DiskInfo;

namespace {

const wchar_t kEpbrHeading[] = L"Extended Partition Boot Record at Sector ";
const wchar_t kEpbrLink[] = L"EPBR";

}  // namespace

void WriteEpbrChainSection(const nsLayout::MbrDisk& disk, const DiskInfo& diskInfo, ReportStream& stream) {
    const nsLayout::SectorCopies& copies = disk.GetSectorCopies();
    for (const auto& epbr : disk.GetEpbrList()) {
        WriteBootRecordHeading(kEpbrHeading + ColumnLayout::Count(epbr->GetMyLba()), diskInfo.diskNumber, stream);
        WriteBootRecordEntryHeader(stream);
        for (uint32_t slot = 0; slot < epbr->GetMaxEntries(); ++slot) {
            const bool link = IsExtendedType(epbr->GetEntry(slot).GetPartitionType());
            WriteBootRecordEntry(*epbr, slot, link ? kEpbrLink : PartitionTypeLabel(copies, *epbr, slot), stream);
        }
        WriteBootRecordDump(*epbr, stream);
    }
}
