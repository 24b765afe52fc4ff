#include "Utility/Layscan/Report/GptSectorDump.h"

#include <string>

#include "SectorBuffer/Dev/SectorProvider.h"
#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Report/ReportPrimitives.h"
#include "Utility/Layscan/Report/ReportStream.h"

namespace {

constexpr uint64_t kHeaderLba = 1;
constexpr uint64_t kFirstEntrySector = 2;
constexpr uint32_t kSlotsPerSector = 4;
// The walk goes on while the slot number of a sector's first slot is below
// this, which covers slots 0 to 127 in sectors 2 to 33.
constexpr uint32_t kSlotLimit = 125;

}  // namespace

void DumpGptSectors(const nsLayout::GptDisk& disk, uint16_t diskNumber, ReportStream& out) {
    SectorProvider& source = disk.GetSectorProvider();
    const std::wstring number = std::to_wstring(diskNumber);

    out << L" - - - - - - - Disk " << number << L": GPT Header (Sector 1)- - - - - - - - -\n";
    DumpHex(source, kHeaderLba, 0, source.GetBytesPerSector(), out, std::wstring());

    out << L"\n - - - - - - - Disk " << number << L": GPT Partitions - - - - - - - - -\n";
    // Read once: the walk does not follow later changes of the model.
    const uint64_t entrySize = disk.GetPrimaryTable().GetHeader().GetSizeOfPartitionEntry();
    uint64_t sector = kFirstEntrySector;
    for (uint32_t slot = 0; slot < kSlotLimit; slot += kSlotsPerSector, ++sector) {
        for (uint32_t index = 0; index < kSlotsPerSector; ++index) {
            const std::wstring heading = L"\nGPT Partition Entry # " + std::to_wstring(slot + index) + L" at sector " +
                                         std::to_wstring(sector) + L", index " + std::to_wstring(index) + L"\n";
            DumpHex(source, sector, index * entrySize, entrySize, out, heading);
        }
    }
}
