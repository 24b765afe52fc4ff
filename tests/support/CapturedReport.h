#pragma once
// A ReportStream whose text is kept in memory (line ends as "\n", before the
// file's CR LF conversion), for tests of the report sections.

#include <sstream>
#include <string>

#include "Base/Dev/Result.h"
#include "Utility/Layscan/ReportStream.h"

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
