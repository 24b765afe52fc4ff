#pragma once
// The GPT warnings: each check returns complete "WARNING:" lines followed by
// one blank line, or nothing. Checks never change the model and never fail
// on bad data.

#include <array>
#include <cstdint>
#include <string>

class GptPartitionTable;

namespace nsLayout {

class GptDisk;

// One of the header tests: its name, whether the header passes it, and the
// warning line it gives when not.
struct GptHeaderCheck {
    const char* name;
    bool passed;
    const wchar_t* message;
};
inline constexpr size_t kGptHeaderCheckCount = 10;
// The ten header tests in their fixed order, each evaluated.
std::array<GptHeaderCheck, kGptHeaderCheckCount> EvaluateGptHeader(const GptPartitionTable& table);
// The warnings of the failed header tests; a backup header's findings are
// put under a heading line of their own.
std::wstring CheckGptHeader(const GptPartitionTable& table, bool isBackup);
// The primary header's findings, then the backup's.
std::wstring CheckGptHeaders(const GptDisk& disk);
// One entry of the primary table (index from 0): order of its ends, beyond
// the end of the disk, and the first other slot it overlaps.
std::wstring CheckGptEntry(const GptDisk& disk, uint64_t index);

}  // namespace nsLayout
