#include "Base/Dev/MachineSummary.h"

#include <boost/format.hpp>

#include "Base/Dev/Result.h"

namespace {

std::string Grouped(uint64_t value) {
    const std::string digits = std::to_string(value);
    std::string grouped;
    for (size_t i = 0; i < digits.size(); ++i) {
        if (i != 0 && (digits.size() - i) % 3 == 0) grouped.push_back(',');
        grouped.push_back(digits[i]);
    }
    return grouped;
}

}  // namespace

std::wstring FormatMachineSummary(const MachineFacts& facts) {
    const std::string text =
        (boost::format("Layscan %1%, built %2%\n"
                       "Process id: %3%\n"
                       "Processor: %4%\n"
                       "Logical processors: %5%, application addresses 0x%6$016X - 0x%7$016X\n"
                       "Memory in use: %8% bytes") %
         LAYSCAN_VERSION % __DATE__ % facts.processId %
         (facts.processorName.empty() ? std::string("unknown") : facts.processorName) % facts.logicalProcessors %
         facts.lowestAddress % facts.highestAddress % Grouped(facts.memoryInUseBytes))
            .str();
    return Widen(text);
}
