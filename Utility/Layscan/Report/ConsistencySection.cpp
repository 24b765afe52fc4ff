#include "Utility/Layscan/Report/ConsistencySection.h"

#include "Utility/Layscan/Report/ReportPrimitives.h"
#include "Utility/Layscan/Report/ReportStream.h"

std::wstring ConsistencyFindingLine(const ConsistencyFinding& finding) { return L"WARNING: " + finding.text; }

void WriteConsistencySection(const ConsistencyFindings& findings, uint16_t diskNumber, ReportStream& out) {
    out << std::dec << L"\n\nConsistency Checks for Disk " << diskNumber << L"\n" << RuleEquals84;
    for (const ConsistencyFinding& finding : findings) out << ConsistencyFindingLine(finding) << L"\n";
    if (findings.empty()) out << L"No further problems found.\n";
}
