#pragma once
// Compares text with an expected file kept under tests/golden. On a mismatch
// the failure shows the first differing lines. With LAYSCAN_UPDATE_GOLDEN=1 in
// the environment the expected file is rewritten instead, so that every update
// of an expected text is a deliberate act.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace golden {

// The lines of a text, line ends (LF or CR LF) dropped.
inline std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line); lines.push_back(line))
        if (!line.empty() && line.back() == '\r') line.pop_back();
    return lines;
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// text with every `from` replaced by `to`, for paths that differ per run.
inline std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = 0; !from.empty() && (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

// The first differing line, with the line before it and a few after on each side.
inline std::string Diff(const std::string& expected, const std::string& actual) {
    const auto want = Lines(expected), got = Lines(actual);
    size_t first = 0;
    while (first < want.size() && first < got.size() && want[first] == got[first]) ++first;
    std::ostringstream out;
    out << "@@ line " << first + 1 << " @@\n";
    for (size_t i = first ? first - 1 : 0; i < std::min(want.size(), first + 6); ++i) out << "- " << want[i] << "\n";
    for (size_t i = first ? first - 1 : 0; i < std::min(got.size(), first + 6); ++i) out << "+ " << got[i] << "\n";
    return out.str();
}

// name is a file under tests/golden, or a path from there. Compares bytes, line ends included.
inline void ExpectMatches(const std::string& name, const std::string& actual) {
    const std::string path = LAYSCAN_SOURCE_DIR "/tests/golden/" + name;
    const char* update = std::getenv("LAYSCAN_UPDATE_GOLDEN");
    if (update && std::string(update) == "1") {
        std::ofstream(path, std::ios::binary) << actual;
        return;
    }
    const std::string expected = ReadFile(path);
    ASSERT_FALSE(expected.empty()) << path << " is missing; make it with LAYSCAN_UPDATE_GOLDEN=1";
    EXPECT_TRUE(expected == actual) << path << " differs from what was written:\n" << Diff(expected, actual);
}

// The rows of a case table under tests/golden: each line's fields, split at '|' and with the blanks around
// them dropped. Blank lines and lines starting with '#' are left out.
inline std::vector<std::vector<std::string>> Rows(const std::string& name) {
    std::vector<std::vector<std::string>> rows;
    for (const std::string& line : Lines(ReadFile(std::string(LAYSCAN_SOURCE_DIR "/tests/golden/") + name))) {
        if (line.find_first_not_of(' ') == std::string::npos || line[0] == '#') continue;
        rows.emplace_back();
        std::istringstream fields(line);
        for (std::string field; std::getline(fields, field, '|');) {
            const size_t first = field.find_first_not_of(' ');
            rows.back().push_back(first == std::string::npos ? "" : field.substr(first, field.find_last_not_of(' ') + 1 - first));
        }
        if (line.back() == '|') rows.back().emplace_back();
    }
    if (rows.empty()) throw std::runtime_error(name + " holds no rows");
    return rows;
}

// An outcome table under tests/golden: each line is a case, " =>" and what came of it. The outcome is
// replaced by outcome(CASE) and the file compared; lines starting with '#' stay as they are.
template <typename Outcome>
void ExpectOutcomes(const std::string& name, const Outcome& outcome) {
    std::string text;
    for (const std::string& line : Lines(ReadFile(std::string(LAYSCAN_SOURCE_DIR "/tests/golden/") + name))) {
        const std::string what = line.substr(0, line.find(" =>"));
        text += line.starts_with("#") ? line + "\n" : what + " =>" + outcome(what) + "\n";
    }
    ExpectMatches(name, text);
}

// A case table: a row "> FILE" starts the cases of one golden file; every other row is
// "NAME | VIEW | DISK" ("-" for no heading, DISK may hold further '|'), and show(VIEW, DISK) gives its text.
template <typename Show>
void ExpectCaseTable(const std::string& table, const Show& show) {
    std::map<std::string, std::string> texts;
    std::string file;
    for (const auto& row : Rows(table)) {
        if (row[0].starts_with("> ")) {
            texts[file = row[0].substr(2)];
            continue;
        }
        ASSERT_GE(row.size(), 3u) << row[0];
        std::string disk = row[2];
        for (size_t i = 3; i < row.size(); ++i) disk += " | " + row[i];
        texts[file] += (row[0] == "-" ? "" : "== " + row[0] + "\n") + show(row[1], disk);
    }
    for (const auto& [name, text] : texts) ExpectMatches(name, text);
}

}  // namespace golden
