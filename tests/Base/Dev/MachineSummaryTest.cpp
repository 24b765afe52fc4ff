#include <gtest/gtest.h>

#include <string>

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
    const std::wstring expectedTail =
        L"\nProcess id: 4242\n"
        L"Processor: Test CPU @ 1.00GHz\n"
        L"Logical processors: 8, application addresses 0x0000000000010000 - 0x00007FFFFFFEFFFF\n"
        L"Memory in use: 1,234,567 bytes";
    ASSERT_EQ(text.rfind(L"Layscan 0.1.0, built ", 0), 0u) << text;
    ASSERT_GE(text.size(), expectedTail.size());
    EXPECT_EQ(text.substr(text.size() - expectedTail.size()), expectedTail);

    facts.processorName.clear();
    facts.memoryInUseBytes = 999;
    const std::wstring sparse = FormatMachineSummary(facts);
    EXPECT_NE(sparse.find(L"\nProcessor: unknown\n"), std::wstring::npos);
    EXPECT_NE(sparse.find(L"\nMemory in use: 999 bytes"), std::wstring::npos);
}

TEST(MachineSummary, ThisMachineHasAProcessAProcessorAndMemory) {
    const std::wstring text = GetMachineSummaryText();
    EXPECT_EQ(text.find(L"Process id: 0\n"), std::wstring::npos) << text;
    EXPECT_EQ(text.find(L"Logical processors: 0,"), std::wstring::npos) << text;
    EXPECT_EQ(text.find(L"Memory in use: 0 bytes"), std::wstring::npos) << text;
    EXPECT_EQ(text.find(L"- 0x0000000000000000"), std::wstring::npos) << text;
    EXPECT_NE(text.back(), L'\n');
}
