#pragma once
// One finding of the consistency checks that -verify asks for: which structure
// it concerns, which one of several (an entry slot, a partition's place in the
// model) when that matters, and the sentence that names the numbers that
// disagree. The checks compute the list once; the report prints it as WARNING
// lines and other writers can take the fields apart.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct ConsistencyFinding {
    std::wstring structure;
    std::optional<uint64_t> index;
    std::wstring text;
};

using ConsistencyFindings = std::vector<ConsistencyFinding>;

// How the findings write their numbers: decimal without separators, as the
// peers print sector numbers, and hexadecimal for flags, types and checksums.
std::wstring FindingDecimal(uint64_t value);
std::wstring FindingHex(uint64_t value, int digits);
