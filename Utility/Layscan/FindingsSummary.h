#pragma once
// The lines that end the console after a run: one per reported disk (its
// number and path, scheme, partition count, its report's WARNING and ERROR
// lines, and whether its report ended early) and one for the report file, so
// that a user learns whether anything is wrong without opening the report.

#include <iosfwd>
#include <string>
#include <vector>

#include "Utility/Layscan/Model/DiskOutline.h"
#include "Utility/Layscan/Report/ReportStream.h"

class FindingsSummary {
public:
    // where: what follows the disk number, as the progress line shows it.
    void AddDisk(unsigned number, const std::string& where, const nsLayout::DiskOutline& outline,
                 const ReportFindings& findings, bool endedEarly);
    void SetReport(const std::string& path, bool written);
    void Write(std::ostream& console) const;

private:
    struct Disk {
        unsigned number;
        std::string where;
        nsLayout::DiskOutline outline;
        ReportFindings findings;
        bool endedEarly;
    };
    std::vector<Disk> mDisks;
    std::string mReportPath;
    bool mReportWritten = false;
};
