#pragma once
// The complete report of one modelled disk: its sections in their fixed order.

class ReportStream;

namespace nsLayout {
class GptDisk;
class MbrDisk;
struct DiskInfo;
}  // namespace nsLayout

void ReportMbrDisk(const nsLayout::MbrDisk& disk, const nsLayout::DiskInfo& info, ReportStream& out);
void ReportGptDisk(const nsLayout::GptDisk& disk, const nsLayout::DiskInfo& info, ReportStream& out);
