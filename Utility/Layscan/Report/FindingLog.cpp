#include "Utility/Layscan/Report/FindingLog.h"

#include "Utility/Layscan/Report/ReportStream.h"

void FindingLog::Add(const std::wstring& text, const FindingPlace& place, const char* section) {
    size_t begin = 0;
    while (begin < text.size()) {
        size_t end = text.find(L'\n', begin);
        if (end == std::wstring::npos) end = text.size();
        // The blank line that closes a check's findings is layout, not a finding.
        if (end > begin) mItems.push_back({text.substr(begin, end - begin), section ? section : mSection, place});
        begin = end + 1;
    }
}

void WriteFindings(ReportStream& out, const std::wstring& text, const FindingPlace& place) {
    if (text.empty()) return;
    out << text;
    if (FindingLog* log = out.GetFindingLog()) log->Add(text, place);
}
