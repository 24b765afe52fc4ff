#include <windows.h>
#include <psapi.h>
#include <cpuid.h>

#include <cstring>
#include <string>

#include "Base/Dev/MachineSummary.h"

namespace {

// The processor's brand string as the registry keeps it, else from CPUID.
std::string ProcessorName() {
    char name[256] = {};
    DWORD size = sizeof name - 1;
    if (RegGetValueA(HKEY_LOCAL_MACHINE, "HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0",
                     "ProcessorNameString", RRF_RT_REG_SZ, NULL, name, &size) == ERROR_SUCCESS &&
        name[0] != '\0')
        return name;
    unsigned int regs[12] = {};
    if (__get_cpuid_max(0x80000000, nullptr) < 0x80000004) return {};
    for (unsigned leaf = 0; leaf < 3; ++leaf)
        __get_cpuid(0x80000002 + leaf, &regs[leaf * 4], &regs[leaf * 4 + 1], &regs[leaf * 4 + 2], &regs[leaf * 4 + 3]);
    char brand[49] = {};
    std::memcpy(brand, regs, 48);
    std::string text(brand);
    const size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? std::string() : text.substr(first);
}

}  // namespace

std::wstring GetMachineSummaryText() {
    MachineFacts facts;
    facts.processId = GetCurrentProcessId();
    facts.processorName = ProcessorName();
    SYSTEM_INFO info{};
    GetSystemInfo(&info);
    facts.logicalProcessors = info.dwNumberOfProcessors;
    facts.lowestAddress = reinterpret_cast<uintptr_t>(info.lpMinimumApplicationAddress);
    facts.highestAddress = reinterpret_cast<uintptr_t>(info.lpMaximumApplicationAddress);
    PROCESS_MEMORY_COUNTERS counters{};
    if (GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters))
        facts.memoryInUseBytes = counters.WorkingSetSize;
    return FormatMachineSummary(facts);
}
