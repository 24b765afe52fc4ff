#pragma once
// The complete report of one disk: recognise MBR or GPT, model it, and write
// its sections in their fixed order. Nothing for a disk neither accepts.

#include <cstdint>

class SectorProvider;
class ReportStream;
struct DiskInfo;

void ReportDisk(SectorProvider& sectors, const DiskInfo& info, ReportStream& out, uint32_t sectorsPerTrack,
                uint32_t cylinderCount, uint32_t headCount);
