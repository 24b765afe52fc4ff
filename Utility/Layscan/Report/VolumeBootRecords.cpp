#include "Utility/Layscan/Report/VolumeBootRecords.h"

#include <iomanip>
#include <string>
#include <vector>

#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Report/ColumnLayout.h"
#include "Utility/Layscan/Model/ExtentInfo.h"
#include "Utility/Layscan/Model/SectorCopies.h"
#include "Utility/Layscan/Report/PrintBpb.h"
#include "Utility/Layscan/Report/ReportStream.h"
#include "Utility/Layscan/Report/ReportPrimitives.h"

using nsLayout::DiskInfo;
using nsLayout::VolumeTextForExtent;
using nsLayout::VolumePartition;
using nsLayout::VolumePartitionList;

namespace {

// "at Sector 1,234,567  (0x12D687)", shared by both headings.
void WriteAtSector(ReportStream& out, uint64_t lba) {
    out << L"at Sector " << ColumnLayout::Count(lba) << L"  (0x" << ColumnLayout::Hex(lba, 1) << L")";
}

}  // namespace

bool GetsBpbListing(const VolumePartition& partition) {
    return partition.typeGuid == Guid::EfiSystemPartition() || partition.typeGuid == Guid::BasicData();
}

std::wstring VolumeOfPartition(const VolumePartition& p, const DiskInfo& diskInfo) {
    // A partition whose last sector lies before its first has no byte range
    // an OS volume could match; ask with length 0.
    return VolumeTextForExtent(diskInfo, ByteSize(p.firstLba, diskInfo.sectorSize),
                               ExtentBytes(p.firstLba, p.lastLba, diskInfo.sectorSize));
}

void WriteVolumeBootRecordHeading(uint16_t diskNumber, uint64_t lba, ReportStream& out) {
    out << std::dec << std::setfill(L' ');
    out << L"\n" << RuleEquals84 << L"Volume Boot Record for Disk " << diskNumber << L":  ";
    WriteAtSector(out, lba);
    out << L"\n";
}

void WriteVolumeBootRecordHexDump(const nsLayout::SectorCopies& copies, uint16_t diskNumber, uint64_t lba,
                                  ReportStream& out) {
    out << std::dec << std::setfill(L' ');
    out << L"\n - - - Disk " << diskNumber << L":  Volume Boot Record Hex Dump ";
    WriteAtSector(out, lba);
    out << L" - - -\n\n";
    std::vector<uint8_t> sector;
    copies.Get(lba, 1, sector);
    DumpHex(sector.data(), sector.size(), out, L"");
    out << std::dec << std::setfill(L' ');
}

void WriteVolumeBootRecords(const nsLayout::SectorCopies& copies, const VolumePartitionList& partitions,
                            const DiskInfo& diskInfo, ReportStream& out) {
    std::vector<uint8_t> sector;
    for (const VolumePartition& p : partitions) {
        if (GetsBpbListing(p)) {
            const std::wstring volume = VolumeOfPartition(p, diskInfo);
            if (!volume.empty()) out << L"\n" << volume;
            WriteVolumeBootRecordHeading(diskInfo.diskNumber, p.firstLba, out);
            copies.Get(p.firstLba, 1, sector);
            PrintBpbSector(sector.data(), sector.size(), out);
        }
        WriteVolumeBootRecordHexDump(copies, diskInfo.diskNumber, p.firstLba, out);
    }
}
