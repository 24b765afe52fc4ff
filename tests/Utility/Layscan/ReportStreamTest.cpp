#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "Utility/Layscan/ReportStream.h"

namespace {

std::string ReadBytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::filesystem::path ScratchPath(const char* name) {
    return std::filesystem::path(LAYSCAN_BINARY_DIR) / name;
}

}  // namespace

TEST(ReportStream, StoresOneBytePerCharacterWithCrLfAndNoBomOverAnyOlderFile) {
    const auto path = ScratchPath("ReportStreamTest-bytes.txt");
    std::ofstream(path, std::ios::binary) << std::string(100, 'x');
    ReportStream out(path.string());
    ASSERT_TRUE(out.good());
    out << L"Disk 0\n" << 1234 << L'\n' << L"\xE9\xFF|\x0100|\x20AC" << L"\n\n";
    out << std::hex << std::uppercase << 0xAB;
    out.Close();  // flushes everything written
    EXPECT_EQ(ReadBytes(path), std::string("Disk 0\r\n1234\r\n\xE9\xFF|?|?\r\n\r\nAB"));
    std::filesystem::remove(path);
}

TEST(ReportStream, StreamThatFailedToOpenSwallowsOutput) {
    const auto path = ScratchPath("no-such-folder/ReportStreamTest.txt");
    ReportStream out(path.string());
    EXPECT_TRUE(out.fail());
    out << L"ignored\n" << 42;
    out.Close();
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(ReportStream, DiscardingStreamAcceptsEverything) {
    ReportStream out;
    out << L"anything\n" << 7 << std::flush;
    EXPECT_TRUE(out.good());
}

// The stream writes in blocks; text of any length, with line ends and
// characters beyond one byte on and around the block edges, arrives whole and
// in order, whether written a character or a string at a time.
TEST(ReportStream, LongTextArrivesWholeAcrossBlockEdges) {
    const auto path = ScratchPath("ReportStreamTest-long.txt");
    std::wstring text;
    std::string expected;
    for (int i = 0; i < 50000; ++i) {
        const wchar_t c = i % 97 == 0 ? L'\n' : i % 89 == 0 ? wchar_t(0x2500) : wchar_t(L'a' + i % 26);
        text += c;
        expected += c == L'\n' ? "\r\n" : c == 0x2500 ? "?" : std::string(1, char(c));
    }
    for (const bool byCharacter : {false, true}) {
        {
            ReportStream out(path.string());
            if (byCharacter)
                for (wchar_t c : text) out << c;
            else
                out << text.substr(0, 8191) << text.substr(8191);
        }
        EXPECT_EQ(ReadBytes(path), expected) << (byCharacter ? "by character" : "as strings");
    }
    std::filesystem::remove(path);
}
