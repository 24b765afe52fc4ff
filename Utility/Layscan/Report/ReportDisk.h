#pragma once
// The complete report of one disk: recognise MBR or GPT, model it, and write
// its sections in their fixed order. Nothing for a disk neither accepts.
// With a JSON document, the disk's layout facts, structures and findings go
// into it too, and its findings log knows the section a failure ended in.

#include <cstdint>

class JsonReport;
class SectorProvider;
class ReportStream;
struct DiskInfo;

void ReportDisk(SectorProvider& sectors, const DiskInfo& info, ReportStream& out, uint32_t sectorsPerTrack,
                uint32_t cylinderCount, uint32_t headCount, JsonReport* json = nullptr);
