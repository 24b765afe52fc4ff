#pragma once
// The complete report of one modelled disk: its sections in their fixed order.
// With a JSON document, the disk's layout facts, structures and findings go
// into it too, and its findings log knows the section a failure ended in.
// consistency, when given, computes the consistency checks' findings after
// the volume boot records: the report lists them with -verify, the document
// holds them always.

#include <functional>

#include "Utility/Layscan/Model/ConsistencyFinding.h"

class JsonReport;
class ReportStream;

namespace nsLayout {
class GptDisk;
class MbrDisk;
struct DiskInfo;
}  // namespace nsLayout

using ConsistencyCheck = std::function<ConsistencyFindings()>;

void ReportMbrDisk(const nsLayout::MbrDisk& disk, const nsLayout::DiskInfo& info, ReportStream& out,
                   JsonReport* json = nullptr, const ConsistencyCheck& consistency = {});
void ReportGptDisk(const nsLayout::GptDisk& disk, const nsLayout::DiskInfo& info, ReportStream& out,
                   JsonReport* json = nullptr, const ConsistencyCheck& consistency = {});
