#pragma once
// The closing section of a run: the volumes the operating system reports,
// one line per extent, grouped by disk and volume.

#include "Utility/Layscan/Model/ExtentInfo.h"

class ReportStream;

// "No volumes reported by OS" for an empty list.
void DumpVolumesReportedByOs(const nsLayout::ExtentList& volumes, ReportStream& out);
