#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

#include "Base/Dev/MachineSummary.h"

namespace {

std::string Trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t");
    const size_t last = text.find_last_not_of(" \t\r\n");
    return first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
}

// The value after "key:" on the first line of a /proc file that starts with key.
std::string ProcValue(const char* file, const std::string& key) {
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        if (line.rfind(key, 0) != 0) continue;
        const size_t colon = line.find(':');
        if (colon != std::string::npos && Trimmed(line.substr(key.size(), colon - key.size())).empty())
            return Trimmed(line.substr(colon + 1));
    }
    return {};
}

// The top of the user half: the end of the highest mapping below the kernel's
// addresses (the vsyscall page lies above them and is left out).
uint64_t HighestUserAddress() {
    constexpr uint64_t kKernelHalf = 0x0000800000000000ull;
    std::ifstream maps("/proc/self/maps");
    uint64_t highest = 0;
    for (std::string line; std::getline(maps, line);) {
        const size_t dash = line.find('-');
        if (dash == std::string::npos) continue;
        const uint64_t end = std::stoull(line.substr(dash + 1, line.find(' ', dash) - dash - 1), nullptr, 16);
        if (end <= kKernelHalf && end > highest) highest = end;
    }
    return highest == 0 ? 0 : highest - 1;
}

}  // namespace

std::wstring GetMachineSummaryText() {
    MachineFacts facts;
    facts.processId = uint64_t(getpid());
    facts.processorName = ProcValue("/proc/cpuinfo", "model name");
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    facts.logicalProcessors = online > 0 ? unsigned(online) : 0;
    std::ifstream minAddress("/proc/sys/vm/mmap_min_addr");
    if (!(minAddress >> facts.lowestAddress)) facts.lowestAddress = uint64_t(sysconf(_SC_PAGESIZE));
    facts.highestAddress = HighestUserAddress();
    // "VmRSS:     5120 kB"
    std::istringstream rss(ProcValue("/proc/self/status", "VmRSS"));
    uint64_t kilobytes = 0;
    if (rss >> kilobytes) facts.memoryInUseBytes = kilobytes * 1024;
    return FormatMachineSummary(facts);
}
