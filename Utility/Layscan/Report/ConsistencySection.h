#pragma once
// The section -verify adds at the end of a disk's report: a heading, then one
// "WARNING: " line per finding of the consistency checks, or one line saying
// they found nothing beyond the warnings above.

#include <cstdint>
#include <string>

#include "Utility/Layscan/Model/ConsistencyFinding.h"

class ReportStream;

// A finding as the section's line shows it, without the line end.
std::wstring ConsistencyFindingLine(const ConsistencyFinding& finding);

void WriteConsistencySection(const ConsistencyFindings& findings, uint16_t diskNumber, ReportStream& out);
