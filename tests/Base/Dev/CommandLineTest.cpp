#include "Base/Dev/CommandLine.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "Base/Dev/Result.h"

#include "support/ScratchFolder.h"

namespace {

using Config::CommandLine;

class CommandLineTest : public ::testing::Test {
protected:
    CommandLineTest() : line(config, console) {
        line.Define("all", "", L"Dump everything");
        line.Define("device", "device number", L"The device number", std::make_shared<Config::IsTypeValidator<unsigned int>>());
        line.Define("out", "file path", L"Output file", std::make_shared<Config::IsValidFileNameValidator>());
        line.RegisterInternalUseOnly();
    }
    bool Parse(std::vector<std::string> words) { return line.Parse(words); }

    Config::AppConfig config;
    std::ostringstream console;
    CommandLine line;
};

TEST_F(CommandLineTest, StoresValuesUnderTheDefinedName) {
    ASSERT_TRUE(Parse({"-ALL", "-device", "7", "-out=dir/r.txt"})) << Narrow(line.ErrorText());
    EXPECT_EQ(config.Get("all"), "1");
    EXPECT_EQ(line.Value("device"), "7");
    EXPECT_EQ(line.Value("out"), "dir/r.txt");
    EXPECT_TRUE(line.ErrorText().empty());
    EXPECT_FALSE(line.HelpRequested());
}

TEST_F(CommandLineTest, AnArgumentIsTheNextWordWhateverItLooksLike) {
    ASSERT_TRUE(Parse({"-out", "-all"}));
    EXPECT_EQ(line.Value("out"), "-all");
    EXPECT_FALSE(line.IsGiven("all"));
}

TEST_F(CommandLineTest, EachFaultNamesTheOffendingWord) {
    struct Case {
        std::vector<std::string> words;
        std::wstring error;
    };
    const Case cases[] = {
        {{"-bogus"}, L"unknown option - -bogus"},
        {{"-"}, L"unknown option - -"},
        {{"-all", "-all"}, L"duplicate option - all"},
        {{"-device", "1", "-Device", "2"}, L"duplicate option - device"},
        {{"-device"}, L"missing option argument - device"},
        {{"-all=yes"}, L"option argument not allowed - all"},
        {{"stray"}, L"argument not allowed - stray"},
        {{"-all", "stray", "-bogus"}, L"argument not allowed - stray"},  // the first fault is the one told
        {{"-device", "12x"}, L"invalid option argument - 12x (-device: not an unsigned integer)"},
        {{"-out", "a|b"}, L"invalid option argument - a|b (-out: character not allowed in a file name)"},
    };
    for (const Case& c : cases) {
        Config::AppConfig fresh;
        std::ostringstream sink;
        CommandLine parser(fresh, sink);
        parser.Define("all", "", L"a");
        parser.Define("device", "n", L"d", std::make_shared<Config::IsTypeValidator<unsigned int>>());
        parser.Define("out", "f", L"o", std::make_shared<Config::IsValidFileNameValidator>());
        EXPECT_FALSE(parser.Parse(c.words)) << Narrow(c.error);
        EXPECT_EQ(parser.ErrorText(), c.error);
    }
}

TEST_F(CommandLineTest, GroupsAndRequiredOptions) {
    Config::AppConfig fresh;
    std::ostringstream sink;
    CommandLine parser(fresh, sink);
    parser.Define("a", "", L"first");
    parser.Define("b", "", L"second");
    parser.Define("name", "text", L"required", nullptr, CommandLine::kRequired);
    parser.DefineGroup("mode", {"a", "b"});
    EXPECT_FALSE(parser.Parse({"-a", "-b", "-name", "x"}));
    EXPECT_EQ(parser.ErrorText(), L"More than one choice specified for group mode");
    fresh.Clear();  // a value left in the store would count as given
    EXPECT_FALSE(parser.Parse({"-a"}));
    EXPECT_EQ(parser.ErrorText(), L"  - missing option -name");
    EXPECT_TRUE(parser.Parse({"-b", "-name", "x"})) << Narrow(parser.ErrorText());

    parser.DefineGroup("pick", {"a", "b"}, true);
    fresh.Clear();
    EXPECT_FALSE(parser.Parse({"-name", "x"}));
    EXPECT_EQ(parser.ErrorText(), L"  - missing option -a | -b");
}

TEST_F(CommandLineTest, HelpIsSeenEvenOnAnInvalidLine) {
    EXPECT_FALSE(Parse({"-bogus", "-help"}));
    EXPECT_TRUE(line.HelpRequested());
    EXPECT_FALSE(line.ErrorText().empty());
}

TEST_F(CommandLineTest, QuestionMarkIsAnAliasOfHelp) {
    EXPECT_TRUE(Parse({"-?"}));
    EXPECT_TRUE(line.IsGiven("help"));
    EXPECT_FALSE(line.IsGiven("help+"));
}

TEST_F(CommandLineTest, HiddenOptionsOnlyInHelpPlus) {
    const std::wstring plain = line.UsageText(false);
    const std::wstring full = line.UsageText(true);
    for (const wchar_t* hidden : {L"-DontInitializeCom", L"-app name <name>", L"-app version", L"-app variant",
                                  L"-rtc file name", L"Do not initialize COM."}) {
        EXPECT_EQ(plain.find(hidden), std::wstring::npos) << Narrow(hidden);
        EXPECT_NE(full.find(hidden), std::wstring::npos) << Narrow(hidden);
    }
    for (const wchar_t* visible : {L"-help", L"-help+", L"-cmdfile <file name>", L"-internaluseonly",
                                   L"show license for internal use", L"Command line usage (including hidden commands)"})
        EXPECT_NE(plain.find(visible), std::wstring::npos) << Narrow(visible);

    ASSERT_TRUE(Parse({"-help+"}));
    EXPECT_TRUE(line.HelpRequested());
    EXPECT_EQ(line.HelpText(), full);
    ASSERT_TRUE(Parse({"-help"}));
    config.Erase("help+");
    EXPECT_EQ(line.HelpText(), plain);
}

TEST_F(CommandLineTest, HiddenOptionsCanStillBeGiven) {
    ASSERT_TRUE(Parse({"-dontinitializecom", "-app name", "Probe"}));
    EXPECT_TRUE(line.IsGiven("DontInitializeCom"));
    EXPECT_EQ(line.Value("app name"), "Probe");
}

TEST_F(CommandLineTest, UsageLayout) {
    const std::wstring usage = line.UsageText();
    EXPECT_EQ(usage.rfind(L"Usage:\n", 0), 0u);
    EXPECT_NE(usage.find(L" [-device <device number>]"), std::wstring::npos);
    EXPECT_NE(usage.find(L" [-all]"), std::wstring::npos);
    const size_t descriptions = usage.find(L"\n\nDescriptions:\n");
    const size_t legend = usage.find(L"\n\nLegend:\n");
    ASSERT_NE(descriptions, std::wstring::npos);
    ASSERT_LT(descriptions, legend);
    EXPECT_EQ(usage.substr(legend),
              L"\n\nLegend:\n"
              L"[a]          means that a is optional\n"
              L"{g: a | b}   means that g is a group of mutually exclusive choices consisting\n"
              L"             of a and b and only one should occur\n");

    // Every description starts in the same column; aliases and repeatable options are marked.
    std::wistringstream lines(usage.substr(descriptions + 16, legend - descriptions - 16));
    std::wstring text;
    size_t column = 0;
    std::map<std::wstring, std::wstring> described;
    while (std::getline(lines, text)) {
        ASSERT_EQ(text.rfind(L"  -", 0), 0u) << Narrow(text);
        const size_t at = text.find(L"   ", 3) ;
        ASSERT_NE(at, std::wstring::npos) << Narrow(text);
        const size_t start = text.find_first_not_of(L' ', at);
        if (column == 0) column = start;
        EXPECT_EQ(start, column) << Narrow(text);
        std::wstring syntax = text.substr(2, at - 2);
        described[syntax.substr(0, syntax.find_last_not_of(L' ') + 1)] = text.substr(start);
    }
    EXPECT_EQ(described[L"-?"], L"alias for -help");
    EXPECT_EQ(described[L"-cmdfile <file name>"], L"File containing additional command line arguments. (repeatable)");
    EXPECT_EQ(described[L"-device <device number>"], L"The device number");
    EXPECT_EQ(usage.find(L"\n  -device <device number>   The device number"), usage.find(L"\n  -device"));
}

TEST_F(CommandLineTest, GroupsShowInTheSynopsis) {
    Config::AppConfig fresh;
    std::ostringstream sink;
    CommandLine parser(fresh, sink);
    parser.Define("a", "", L"first");
    parser.Define("b", "n", L"second");
    parser.DefineGroup("mode", {"a", "b"});
    EXPECT_NE(parser.UsageText().find(L" [{mode: -a | -b <n>}]"), std::wstring::npos) << Narrow(parser.UsageText());
}

TEST_F(CommandLineTest, InternalUseOnlyPrintsTheNotice) {
    config.Set("app name", "Layscan");
    ASSERT_TRUE(Parse({"-all"}));
    EXPECT_TRUE(console.str().empty());
    ASSERT_TRUE(Parse({"-internaluseonly"}));
    EXPECT_NE(console.str().find("Layscan is licensed for internal use only"), std::string::npos) << console.str();
}

TEST(SplitCommandWordsTest, BlanksSplitAndQuotesGroup) {
    struct Case {
        const char* text;
        std::vector<std::string> words;
    };
    const Case cases[] = {
        {"", {}},
        {"  \r\n\t ", {}},
        {"-all", {"-all"}},
        {"-device 3\r\n-out  x.txt\n", {"-device", "3", "-out", "x.txt"}},
        {"-out \"my report.txt\"", {"-out", "my report.txt"}},
        {"a\"b c\"d e", {"ab cd", "e"}},
        {"\"\" x", {"", "x"}},
        {"\"unclosed quote runs to the end", {"unclosed quote runs to the end"}},
    };
    for (const Case& c : cases) EXPECT_EQ(Config::SplitCommandWords(c.text), c.words) << c.text;
}

TEST_F(CommandLineTest, CommandFileWordsStandWhereTheOptionStood) {
    const ScratchFolder dir("layscan_cmdfile");
    const std::string inner = dir.Write("inner.txt", "-all");
    const std::string outer = dir.Write("outer.txt", "-device 3\n-out \"my report.txt\" -cmdfile \"" + inner + "\"");
    ASSERT_TRUE(Parse({"-cmdfile", outer})) << Narrow(line.ErrorText());
    EXPECT_EQ(line.Value("device"), "3");
    EXPECT_EQ(line.Value("out"), "my report.txt");
    EXPECT_TRUE(line.IsGiven("all"));
    EXPECT_EQ(config.GetAll("cmdfile"), (std::vector<std::string>{outer, inner}));

    // Words after the file still count, and a duplicate across file and line is found.
    config.Clear();
    EXPECT_FALSE(Parse({"-cmdfile", inner, "-all"}));
    EXPECT_EQ(line.ErrorText(), L"duplicate option - all");
}

TEST_F(CommandLineTest, CommandFileFaults) {
    const ScratchFolder dir("layscan_cmdfile_faults");
    const std::string loop = dir.File("loop.txt");
    dir.Write("loop.txt", "-cmdfile \"" + loop + "\"");
    EXPECT_FALSE(Parse({"-cmdfile", loop}));
    EXPECT_EQ(line.ErrorText(), L"too many command files - " + Widen(loop));

    config.Clear();
    EXPECT_FALSE(Parse({"-cmdfile", dir.File("absent.txt")}));
    EXPECT_EQ(line.ErrorText().rfind(L"invalid option argument - ", 0), 0u);

    config.Clear();
    const std::string big = dir.Write("big.txt", std::string(CommandLine::kMaxCommandFileBytes + 1, ' '));
    EXPECT_FALSE(Parse({"-cmdfile", big}));
    EXPECT_EQ(line.ErrorText(), L"command file too large - " + Widen(big));
}

TEST(AppConfigTest, GivenMeansNonEmpty) {
    Config::AppConfig config;
    EXPECT_FALSE(config.IsGiven("out"));
    config.Set("out", "");
    EXPECT_FALSE(config.IsGiven("out"));
    config.Set("out", "x");
    EXPECT_TRUE(config.IsGiven("out"));
    config.Append("out", "y");
    EXPECT_EQ(config.Get("out"), "y");
    EXPECT_EQ(config.GetAll("out"), (std::vector<std::string>{"x", "y"}));
    config.Set("out", "z");
    EXPECT_EQ(config.GetAll("out"), std::vector<std::string>{"z"});
    config.Erase("out");
    EXPECT_TRUE(config.GetAll("out").empty());
}

}  // namespace
