#pragma once
// Runs a report writer against a real report file and returns what the file
// holds, with its CR LF line ends turned back into "\n" (a lone CR stays).
// With `threw` given, an exception from the writer is caught and noted, and
// what was written before it is returned.

#include <fstream>
#include <functional>
#include <iterator>
#include <string>

#include "Utility/Layscan/ReportStream.h"
#include "support/ScratchFolder.h"

inline std::string CaptureReport(const std::function<void(ReportStream&)>& write, bool* threw = nullptr) {
    ScratchFolder folder("layscan-report");
    const std::string path = folder.File("report.txt");
    {
        ReportStream out(path);
        if (threw == nullptr) {
            write(out);
        } else {
            *threw = false;
            try {
                write(out);
            } catch (...) {
                *threw = true;
            }
        }
        out.Close();
    }
    std::ifstream in(path, std::ios::binary);
    const std::string raw((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::string text;
    for (size_t i = 0; i < raw.size(); ++i)
        if (!(raw[i] == '\r' && i + 1 < raw.size() && raw[i + 1] == '\n')) text += raw[i];
    return text;
}
