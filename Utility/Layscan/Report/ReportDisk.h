#pragma once
// The complete report of one disk: recognise MBR or GPT, model it, and write
// its sections in their fixed order. Nothing for a disk neither accepts.
// outline, when given, learns the scheme as soon as it is recognised and the
// partition count as soon as the model stands, so that it holds what was
// known even when the report ends early.

#include <cstdint>

class SectorProvider;
class ReportStream;
struct DiskInfo;
struct DiskOutline;

void ReportDisk(SectorProvider& sectors, const DiskInfo& info, ReportStream& out, uint32_t sectorsPerTrack,
                uint32_t cylinderCount, uint32_t headCount, DiskOutline* outline = nullptr);
