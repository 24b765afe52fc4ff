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
    out.Close(), failed.Close();  // flushes everything written
    EXPECT_EQ(golden::ReadFile(path), std::string("Disk 0\r\n1234\r\n\xE9\xFF|?|?\r\n\r\nAB"));
    EXPECT_FALSE(std::filesystem::exists(folder.File("no-such-folder")));
    discarding << std::flush;
    EXPECT_TRUE(discarding.good());
}

// The stream writes in blocks; text of any length, with line ends and
// characters beyond one byte on and around the block edges, arrives whole and
// in order, whether written a character or a string at a time.
TEST(ReportStream, LongTextArrivesWholeAcrossBlockEdges) {
    const ScratchFolder folder("ReportStreamTest");
    std::wstring text;
    std::string expected;
    for (int i = 0; i < 50000; ++i) {
        const wchar_t c = i % 97 == 0 ? L'\n' : i % 89 == 0 ? wchar_t(0x2500) : wchar_t(L'a' + i % 26);
        text += c;
        expected += c == L'\n' ? "\r\n" : c == 0x2500 ? "?" : std::string(1, char(c));
    }
    for (const bool byCharacter : {false, true}) {
        {
            ReportStream out(folder.File("long.txt"));
            if (byCharacter)
                for (wchar_t c : text) out << c;
            else
                out << text.substr(0, 8191) << text.substr(8191);
        }
        EXPECT_EQ(golden::ReadFile(folder.File("long.txt")), expected) << (byCharacter ? "by character" : "as strings");
    }
}
