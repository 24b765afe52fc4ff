#pragma once
// Compares text with an expected file kept under tests/golden. On a mismatch
// the failure shows the first differing lines in a unified-diff style. With
// LAYSCAN_UPDATE_GOLDEN=1 in the environment the expected file is rewritten
// instead, so that every update of an expected report is a deliberate act.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace golden {

inline std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// "" when equal; otherwise the first difference with three lines of context
// and up to twelve lines of each side.
inline std::string Diff(const std::string& expected, const std::string& actual) {
    if (expected == actual) return "";
    const auto want = Lines(expected), got = Lines(actual);
    size_t first = 0;
    while (first < want.size() && first < got.size() && want[first] == got[first]) ++first;
    if (first == want.size() && first == got.size())
        return "the lines agree; the bytes differ (line ends or a missing last line end)\n";
    std::ostringstream out;
    const size_t from = first >= 3 ? first - 3 : 0;
    out << "@@ line " << first + 1 << " @@\n";
    for (size_t i = from; i < first; ++i) out << "  " << want[i] << "\n";
    for (size_t i = first; i < std::min(want.size(), first + 12); ++i) out << "- " << want[i] << "\n";
    for (size_t i = first; i < std::min(got.size(), first + 12); ++i) out << "+ " << got[i] << "\n";
    return out.str();
}

inline bool Updating() {
    const char* flag = std::getenv("LAYSCAN_UPDATE_GOLDEN");
    return flag && std::string(flag) == "1";
}

// path is absolute. Compares bytes, line ends included.
inline void ExpectFileMatches(const std::string& path, const std::string& actual) {
    if (Updating()) {
        std::ofstream(path, std::ios::binary) << actual;
        return;
    }
    const std::string expected = ReadFile(path);
    ASSERT_FALSE(expected.empty()) << path << " is missing; make it with LAYSCAN_UPDATE_GOLDEN=1";
    EXPECT_TRUE(expected == actual) << path << " differs from what was written:\n" << Diff(expected, actual);
}

inline void ExpectMatches(const std::string& name, const std::string& actual) {
    ExpectFileMatches(std::string(LAYSCAN_SOURCE_DIR "/tests/golden/") + name, actual);
}

}  // namespace golden
