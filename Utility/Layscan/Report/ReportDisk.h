#pragma once
// The complete report of one modelled disk: its sections in their fixed order.

class ReportStream;
struct DiskInfo;

namespace nsLayout {
class GptDisk;
class MbrDisk;
}  // namespace nsLayout

void ReportMbrDisk(const nsLayout::MbrDisk& disk, const DiskInfo& info, ReportStream& out);
void ReportGptDisk(const nsLayout::GptDisk& disk, const DiskInfo& info, ReportStream& out);
