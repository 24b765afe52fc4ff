#include <gtest/gtest.h>

#include <filesystem>

#include "Utility/Layscan/Report/ReportStream.h"
#include "support/GoldenFile.h"
#include "support/ScratchFolder.h"

// One byte per character, CRLF, no BOM, over any older file; a stream that
// failed to open swallows output, and the discarding one accepts it.
TEST(ReportStream, StoresOneBytePerCharacterWithCrLfOrSwallowsWhenItCannotOpen) {
    const ScratchFolder folder("ReportStreamTest");
    const std::string path = folder.Write("report.txt", std::string(100, 'x'));
    ReportStream out(path), failed(folder.File("no-such-folder/report.txt")), discarding;
    ASSERT_TRUE(out.good());
    EXPECT_TRUE(failed.fail());
    for (ReportStream* s : {&out, &failed, &discarding})
        *s << L"Disk 0\n" << 1234 << L'\n' << L"\xE9\xFF|\x0100|\x20AC" << L"\n\n" << std::hex << std::uppercase << 0xAB;
    // One that cannot write says so as soon as a block is due, before any flush.
    failed.clear();
    for (int i = 0; i < 5; ++i) failed << std::wstring(2000, L'x');
    EXPECT_TRUE(failed.bad());
    // Bytes written straight fail there too, and even none first pass the text before them on.
    for (const bool wideFirst : {false, true}) {
        failed.clear();
        if (wideFirst) failed << L'x';
        failed.WriteBytes(wideFirst ? "" : "y");
        EXPECT_TRUE(failed.bad()) << wideFirst;
    }
    out.Close(), failed.Close();  // flushes everything written
    EXPECT_EQ(golden::ReadFile(path), std::string("Disk 0\r\n1234\r\n\xE9\xFF|?|?\r\n\r\nAB"));
    EXPECT_FALSE(std::filesystem::exists(folder.File("no-such-folder")));
    discarding << std::flush;
    EXPECT_TRUE(discarding.good());
}

// The stream writes in blocks; text of any length, with line ends and characters beyond one byte on and
// around the block edges, arrives whole and in order however the writes split it. The findings summary
// counts what a reader of the report counts: lines that start with WARNING or ERROR.
TEST(ReportStream, LongTextArrivesWholeAndItsFindingLinesCountedAcrossBlockEdges) {
    const ScratchFolder folder("ReportStreamTest");
    const std::wstring lines[] = {L"WARNING:  x", L"  WARNING: indented", L"WARN", L"ERROR\x2500", L"ERROR:  y",
                                  L"Error: z", L"", L"WARNINGS", L"x WARNING \x2500\xE9"};
    std::wstring text;
    for (int i = 0; i < 5997; ++i) text += lines[i % 9] + L"\n";
    text += L"WARNING without a line end";
    std::string expected;
    for (const wchar_t c : text) expected += c == L'\n' ? "\r\n" : std::string(1, c > 0xFF ? '?' : char(c));
    for (const size_t piece : {size_t(1), size_t(3), size_t(5000), size_t(8191)}) {
        ReportStream file(folder.File("long.txt")), discarding;
        for (ReportStream* out : {&file, &discarding}) {
            const ReportFindings before = out->Findings();
            for (size_t at = 0; at < text.size(); at += piece) *out << text.substr(at, piece);
            const ReportFindings counted = out->Findings() - before;
            // 666 rounds of the 9 lines hold 2 of each; then "WARNING:  x" and the unended line.
            EXPECT_EQ(counted.warnings, 666u * 2 + 2) << piece;
            EXPECT_EQ(counted.errors, 666u * 2) << piece;
        }
        file.Close();
        EXPECT_EQ(golden::ReadFile(folder.File("long.txt")), expected) << piece;
    }
}
