#pragma once
// The raw bytes of a GPT disk's header sector and of every partition entry
// slot that holds anything, so a damaged table can be read byte by byte.

#include <cstdint>

class ReportStream;

namespace nsLayout {
class GptDisk;
}

// Dumps sector 1, then walks the 128 entry slots of sectors 2 to 33, four to a
// sector whatever the sector size, each slot as wide as the primary header's
// entry size. Empty slots write nothing, not even their heading. A slot that
// lies outside the disk fails the read, which ends the disk's report; a slot
// wider than the dump can show is left out.
void DumpGptSectors(const nsLayout::GptDisk& disk, uint16_t diskNumber, ReportStream& out);
