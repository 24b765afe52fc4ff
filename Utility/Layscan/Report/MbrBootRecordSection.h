#pragma once
// The master boot record section: the sector 0 heading of the disk, the four
// entries as stored and as calculated, and the sector in hex. Written for the
// MBR of an MBR disk and for the protective MBR of a GPT disk.

#include <cstdint>

class ReportStream;

class Mbr;

namespace nsLayout {
class SectorCopies;
}  // namespace nsLayout

enum class MbrRole { Master, Protective };

// CHS values are calculated with the geometry the record judges them by. The
// entries' warnings stand under the partition table rows, and the boot
// signature's under the geometry report, so none is repeated here.
void WriteMasterBootRecordSection(const nsLayout::SectorCopies& copies, const Mbr& mbr, uint16_t diskNumber,
                                  MbrRole role, ReportStream& stream);
