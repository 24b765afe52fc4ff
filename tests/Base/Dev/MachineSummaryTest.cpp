#include <gtest/gtest.h>

#include "Base/Dev/MachineSummary.h"

TEST(MachineSummary, LinesCarryTheFactsInTheirFormat) {
    MachineFacts facts;
    facts.processId = 4242;
    facts.processorName = "Test CPU @ 1.00GHz";
    facts.logicalProcessors = 8;
    facts.lowestAddress = 0x10000;
    facts.highestAddress = 0x7FFFFFFEFFFF;
    facts.memoryInUseBytes = 1234567;
    const std::wstring text = FormatMachineSummary(facts);
    EXPECT_TRUE(text.starts_with(L"Layscan 0.1.0, built ")) << text;
    EXPECT_TRUE(text.ends_with(L"\nProcess id: 4242\nProcessor: Test CPU @ 1.00GHz\nLogical processors: 8, application "
                               L"addresses 0x0000000000010000 - 0x00007FFFFFFEFFFF\nMemory in use: 1,234,567 bytes"))
        << text;
    facts.processorName.clear();
    facts.memoryInUseBytes = 999;
    EXPECT_NE(FormatMachineSummary(facts).find(L"\nProcessor: unknown\n"), std::wstring::npos);
    EXPECT_TRUE(FormatMachineSummary(facts).ends_with(L"\nMemory in use: 999 bytes"));
    // This machine has a process, a processor and memory.
    const std::wstring live = GetMachineSummaryText();
    for (const wchar_t* zero :
         {L"Process id: 0\n", L"Logical processors: 0,", L"Memory in use: 0 bytes", L"- 0x0000000000000000"})
        EXPECT_EQ(live.find(zero), std::wstring::npos) << live;
    EXPECT_NE(live.back(), L'\n');
    // The highest address is the last byte of a page.
    EXPECT_NE(live.find(L"FFF\nMemory in use: "), std::wstring::npos) << live;
}
