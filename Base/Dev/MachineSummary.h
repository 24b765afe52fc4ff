#pragma once
// The facts about this process and machine that head a report: tool version
// and build date, process id, processor, logical processor count, the
// application address range and the memory in use. A few lines of text,
// without a final line end.

#include <cstdint>
#include <string>

std::wstring GetMachineSummaryText();

// The common layout of those lines; each platform gathers the facts.
struct MachineFacts {
    uint64_t processId = 0;
    std::string processorName;
    unsigned logicalProcessors = 0;
    uint64_t lowestAddress = 0;
    uint64_t highestAddress = 0;
    uint64_t memoryInUseBytes = 0;
};
std::wstring FormatMachineSummary(const MachineFacts& facts);
