#pragma once
// A ReportStream whose text is kept in memory (line ends as "\n", before the
// file's CR LF conversion), for tests of the report sections.

#include <sstream>
#include <string>

#include "Base/Dev/Result.h"
#include "Utility/Layscan/Layscan.h"
#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Report/ReportStream.h"
#include "support/Failure.h"

using nsLayout::DiskInfo;

class CapturedReport {
public:
    CapturedReport() { mStream.rdbuf(&mText); }
    CapturedReport(const CapturedReport&) = delete;
    CapturedReport& operator=(const CapturedReport&) = delete;
    ReportStream& Stream() { return mStream; }
    std::wstring Text() const { return mText.str(); }
    std::string Narrow() const { return ::Narrow(mText.str()); }

private:
    ReportStream mStream;
    std::wstringbuf mText;
};

// The report of one disk as far as it got; a failure that ends it is written
// as a last line, so that a golden report shows where and why it stopped.
inline std::string ReportOf(SectorProvider& disk, const DiskInfo& info) {
    CapturedReport report;
    const std::string failure = FailureOf([&] { Layscan::ReportDisk(disk, info, report.Stream()); });
    return report.Narrow() + (failure.empty() ? "" : "[the disk's report ends: " + failure + "]\n");
}
