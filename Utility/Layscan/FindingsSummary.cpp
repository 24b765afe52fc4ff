#include "Utility/Layscan/FindingsSummary.h"

#include <ostream>

namespace {

// "1 warning", "2 warnings".
std::string Counted(uint64_t count, const char* noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

const char* SchemeName(nsLayout::PartitionScheme scheme) {
    switch (scheme) {
        case nsLayout::PartitionScheme::Mbr:
            return "MBR";
        case nsLayout::PartitionScheme::Gpt:
            return "GPT";
        case nsLayout::PartitionScheme::None:
            break;
    }
    return "no MBR or GPT";
}

}  // namespace

void FindingsSummary::AddDisk(unsigned number, const std::string& where, const nsLayout::DiskOutline& outline,
                              const ReportFindings& findings, bool endedEarly) {
    mDisks.push_back({number, where, outline, findings, endedEarly});
}

void FindingsSummary::SetReport(const std::string& path, bool written) {
    mReportPath = path;
    mReportWritten = written;
}

void FindingsSummary::Write(std::ostream& console) const {
    for (const Disk& disk : mDisks) {
        console << "Disk " << disk.number << disk.where << ": " << SchemeName(disk.outline.scheme);
        if (disk.outline.partitions) console << ", " << Counted(*disk.outline.partitions, "partition");
        console << ", " << Counted(disk.findings.warnings, "warning") << ", " << Counted(disk.findings.errors, "error");
        if (disk.endedEarly) console << ", ended early";
        console << "\n";
    }
    console << "Report: " << mReportPath << (mReportWritten ? "" : " (not written)") << std::endl;
}
