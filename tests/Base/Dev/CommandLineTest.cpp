#include "Base/Dev/CommandLine.h"

#include <gtest/gtest.h>

#include <sstream>

#include "Base/Dev/Result.h"
#include "support/ScratchFolder.h"

namespace {

using Config::CommandLine;

class CommandLineTest : public ::testing::Test {
protected:
    CommandLineTest() : line(config, console) {
        line.Define("all", "", L"Dump everything");
        line.Define("device", "device number", L"The device number",
                    std::make_shared<Config::IsTypeValidator<unsigned int>>());
        line.Define("out", "file path", L"Output file", std::make_shared<Config::IsValidFileNameValidator>());
        line.RegisterInternalUseOnly();
    }
    bool Parse(std::vector<std::string> words) {
        config.Clear();
        return line.Parse(words);
    }

    Config::AppConfig config;
    std::ostringstream console;
    CommandLine line;
};

TEST_F(CommandLineTest, StoresValuesUnderTheDefinedName) {
    ASSERT_TRUE(Parse({"-ALL", "-device", "7", "-out=dir/r.txt"})) << Narrow(line.ErrorText());
    EXPECT_EQ(config.Get("all"), "1");
    EXPECT_EQ(line.Value("device"), "7");
    EXPECT_EQ(line.Value("out"), "dir/r.txt");
    EXPECT_FALSE(line.HelpRequested());
    // An argument is the next word, whatever it looks like.
    ASSERT_TRUE(Parse({"-out", "-all"}));
    EXPECT_EQ(line.Value("out"), "-all");
    EXPECT_FALSE(line.IsGiven("all"));
    ASSERT_TRUE(Parse({"-?"}));
    EXPECT_TRUE(line.IsGiven("help"));
}

TEST_F(CommandLineTest, EachFaultNamesTheOffendingWord) {
    struct Case {
        std::vector<std::string> words;
        std::wstring error;
    };
    const Case cases[] = {
        {{"-"}, L"unknown option - -"},
        {{"-device", "1", "-Device", "2"}, L"duplicate option - device"},
        {{"-all=yes"}, L"option argument not allowed - all"},
        {{"-all", "stray", "-bogus"}, L"argument not allowed - stray"},  // the first fault is the one told
        {{"-device", "12x"}, L"invalid option argument - 12x (-device: not an unsigned integer)"},
        {{"-out", "a|b"}, L"invalid option argument - a|b (-out: character not allowed in a file name)"},
    };
    for (const Case& c : cases) {
        EXPECT_FALSE(Parse(c.words)) << Narrow(c.error);
        EXPECT_EQ(line.ErrorText(), c.error);
    }
    // Help is seen wherever it stands, even on an invalid line.
    EXPECT_FALSE(Parse({"-bogus", "-help"}));
    EXPECT_TRUE(line.HelpRequested());
}

TEST_F(CommandLineTest, GroupsAndRequiredOptions) {
    line.Define("a", "", L"first");
    line.Define("b", "n", L"second");
    line.Define("name", "text", L"required", nullptr, CommandLine::kRequired);
    line.DefineGroup("mode", {"a", "b"});
    EXPECT_NE(line.UsageText().find(L" [{mode: -a | -b <n>}] -name <text>"), std::wstring::npos);
    EXPECT_FALSE(Parse({"-a", "-b", "1", "-name", "x"}));
    EXPECT_EQ(line.ErrorText(), L"More than one choice specified for group mode");
    EXPECT_FALSE(Parse({"-a"}));
    EXPECT_EQ(line.ErrorText(), L"  - missing option -name");
    EXPECT_TRUE(Parse({"-b", "1", "-name", "x"})) << Narrow(line.ErrorText());
    line.DefineGroup("pick", {"a", "b"}, true);
    EXPECT_FALSE(Parse({"-name", "x"}));
    EXPECT_EQ(line.ErrorText(), L"  - missing option -a | -b");
}

TEST_F(CommandLineTest, HiddenOptionsOnlyInHelpPlus) {
    const std::wstring plain = line.UsageText(false);
    const std::wstring full = line.UsageText(true);
    for (const wchar_t* hidden : {L"-DontInitializeCom", L"-app name <name>", L"-app version", L"-app variant",
                                  L"-rtc file name", L"Do not initialize COM."}) {
        EXPECT_EQ(plain.find(hidden), std::wstring::npos) << Narrow(hidden);
        EXPECT_NE(full.find(hidden), std::wstring::npos) << Narrow(hidden);
    }
    ASSERT_TRUE(Parse({"-help+"}));
    EXPECT_TRUE(line.HelpRequested());
    EXPECT_EQ(line.HelpText(), full);
    ASSERT_TRUE(Parse({"-help"}));
    EXPECT_EQ(line.HelpText(), plain);
    // Hidden is not forbidden.
    ASSERT_TRUE(Parse({"-dontinitializecom", "-app name", "Probe"}));
    EXPECT_TRUE(line.IsGiven("DontInitializeCom"));
    EXPECT_EQ(line.Value("app name"), "Probe");
}

TEST_F(CommandLineTest, UsageLayout) {
    const std::wstring usage = line.UsageText();
    EXPECT_EQ(usage.rfind(L"Usage:\n  ", 0), 0u);
    const size_t descriptions = usage.find(L"\n\nDescriptions:\n");
    const std::wstring synopsis = usage.substr(0, descriptions);
    for (const wchar_t* item : {L" [-all]", L" [-device <device number>]", L" [-out <file path>]", L" [-help+]"})
        EXPECT_NE(synopsis.find(item), std::wstring::npos) << Narrow(item);
    std::wistringstream lines(synopsis);
    for (std::wstring text; std::getline(lines, text);) EXPECT_LE(text.size(), 79u) << Narrow(text);
    const size_t legend = usage.find(L"\n\nLegend:\n");
    EXPECT_LT(descriptions, legend);
    EXPECT_EQ(usage.substr(legend),
              L"\n\nLegend:\n"
              L"[a]          means that a is optional\n"
              L"{g: a | b}   means that g is a group of mutually exclusive choices consisting\n"
              L"             of a and b and only one should occur\n");
    // One description column, wide enough for the longest syntax.
    for (const wchar_t* row : {L"\n  -help                     Command line usage\n",
                               L"\n  -?                        alias for -help\n",
                               L"\n  -cmdfile <file name>      File containing additional command line arguments. "
                               L"(repeatable)\n",
                               L"\n  -device <device number>   The device number\n"})
        EXPECT_NE(usage.find(row), std::wstring::npos) << Narrow(row) << Narrow(usage);
}

TEST_F(CommandLineTest, InternalUseOnlyPrintsTheNotice) {
    ASSERT_TRUE(Parse({"-all"}));
    EXPECT_TRUE(console.str().empty());
    config.Set("app name", "Layscan");
    ASSERT_TRUE(line.Parse({"-internaluseonly"}));
    EXPECT_NE(console.str().find("Layscan is licensed for internal use only"), std::string::npos) << console.str();
}

TEST(SplitCommandWordsTest, BlanksSplitAndQuotesGroup) {
    struct Case {
        const char* text;
        std::vector<std::string> words;
    };
    const Case cases[] = {
        {"  \r\n\t ", {}},
        {"-device 3\r\n-out  x.txt\n", {"-device", "3", "-out", "x.txt"}},
        {"-out \"my report.txt\"", {"-out", "my report.txt"}},
        {"a\"b c\"d e", {"ab cd", "e"}},
        {"\"\" x", {"", "x"}},
        {"\"unclosed runs to the end", {"unclosed runs to the end"}},
    };
    for (const Case& c : cases) EXPECT_EQ(Config::SplitCommandWords(c.text), c.words) << c.text;
}

TEST_F(CommandLineTest, CommandFiles) {
    const ScratchFolder dir("layscan_cmdfile");
    const std::string inner = dir.Write("inner.txt", "-all");
    const std::string outer = dir.Write("outer.txt", "-device 3\n-out \"my report.txt\" -cmdfile \"" + inner + "\"");
    ASSERT_TRUE(Parse({"-cmdfile", outer})) << Narrow(line.ErrorText());
    EXPECT_EQ(line.Value("device"), "3");
    EXPECT_EQ(line.Value("out"), "my report.txt");
    EXPECT_TRUE(line.IsGiven("all"));
    EXPECT_EQ(config.GetAll("cmdfile"), (std::vector<std::string>{outer, inner}));
    // The file's words stand where the option stood.
    EXPECT_FALSE(Parse({"-cmdfile", inner, "-all"}));
    EXPECT_EQ(line.ErrorText(), L"duplicate option - all");

    const std::string loop = dir.File("loop.txt");
    dir.Write("loop.txt", "-cmdfile \"" + loop + "\"");
    EXPECT_FALSE(Parse({"-cmdfile", loop}));
    EXPECT_EQ(line.ErrorText(), L"too many command files - " + Widen(loop));
    const std::string big = dir.Write("big.txt", std::string(CommandLine::kMaxCommandFileBytes + 1, ' '));
    EXPECT_FALSE(Parse({"-cmdfile", big}));
    EXPECT_EQ(line.ErrorText(), L"command file too large - " + Widen(big));
}

}  // namespace
