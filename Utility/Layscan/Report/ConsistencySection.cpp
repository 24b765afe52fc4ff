#include "Utility/Layscan/Report/ConsistencySection.h"

#include "Utility/Layscan/Report/ReportPrimitives.h"
#include "Utility/Layscan/Report/ReportStream.h"

void WriteConsistencySection(const ConsistencyFindings& findings, uint16_t diskNumber, ReportStream& out) {
    out << std::dec << L"\n\nConsistency Checks for Disk " << diskNumber << L"\n" << RuleEquals84;
    for (const ConsistencyFinding& finding : findings) out << L"WARNING: " << finding.text << L"\n";
    if (findings.empty()) out << L"No further problems found.\n";
}
