// The command-line parser, its validators and command files: each line below
// is split into words as a command file is, parsed, and what came of it (the
// words, the values given or the error, whether help was asked) is compared
// with tests/golden/command-line.txt, which also holds the usage texts.

#include "Base/Dev/CommandLine.h"

#include <gtest/gtest.h>

#include <sstream>

#include "Base/Dev/Result.h"
#include "support/GoldenFile.h"
#include "support/ScratchFolder.h"

namespace {

using Config::CommandLine;

// A heading of the golden file as typed: its control characters are written there as \r\n, \n
// and \t (a lone \r is a path's backslash).
std::string Unescaped(const std::string& text) {
    using golden::Replaced;
    return Replaced(Replaced(Replaced(text, "\\r\\n", "\r\n"), "\\n", "\n"), "\\t", "\t");
}

// One line of the golden file for a parse of line.
std::string Parsed(CommandLine& line, Config::AppConfig& config, const std::string& text) {
    config.Clear();
    const std::vector<std::string> words = Config::SplitCommandWords(text);
    std::string result = golden::Replaced(golden::Replaced(golden::Replaced(text, "\r", "\\r"), "\n", "\\n"), "\t", "\\t");
    result += "\n   words:";
    for (const std::string& word : words) result += " [" + word + "]";
    if (!line.Parse(words)) result += "\n   error: " + Narrow(line.ErrorText());
    for (const char* name : {"all", "device", "out", "size", "count", "file", "a", "b", "name", "help", "help+",
                             "DontInitializeCom", "app name"})
        if (line.IsGiven(name)) result += "\n   " + std::string(name) + "=" + line.Value(name);
    const std::vector<std::string> files = config.GetAll("cmdfile");
    for (size_t i = 0, run = 1; i < files.size(); ++i, ++run)
        if (i + 1 == files.size() || files[i + 1] != files[i])
            result += "\n   cmdfile " + files[i] + (run > 1 ? " (" + std::to_string(run) + " times)" : ""), run = 0;
    return result + (line.HelpRequested() ? "\n   help requested\n" : "\n");
}

TEST(CommandLine, ParsesValidatesAndTellsTheFirstFault) {
    const ScratchFolder dir("layscan_cmdline");
    const std::string folder = dir.File("");
    dir.Write("inner.txt", "-all");
    dir.Write("outer.txt", "-device 3\n-out \"my report.txt\" -cmdfile \"" + folder + "inner.txt\"");
    dir.Write("loop.txt", "-cmdfile \"" + folder + "loop.txt\"");
    dir.Write("big.txt", std::string(CommandLine::kMaxCommandFileBytes + 1, ' '));
    dir.Write("full.txt", std::string(CommandLine::kMaxCommandFileBytes - 4, ' ') + "-all");
    dir.Write("present.bin", "x");

    Config::AppConfig config;
    std::ostringstream console;
    CommandLine line(config, console);
    line.Define("all", "", L"Dump everything");
    line.Define("device", "device number", L"The device number", std::make_shared<Config::IsTypeValidator<unsigned>>());
    line.Define("out", "file path", L"Output file", std::make_shared<Config::IsValidFileNameValidator>());
    line.Define("size", "bytes", L"Sector size", std::make_shared<Config::IsSectorSizeValidator>());
    line.Define("count", "n", L"A signed count", std::make_shared<Config::IsTypeValidator<int>>());
    line.Define("file", "path", L"An existing file", std::make_shared<Config::IsExistingFileValidator>());
    line.RegisterInternalUseOnly();
    std::string text = "-- usage\n" + Narrow(line.UsageText()) + "-- usage with the hidden options\n" +
                       Narrow(line.UsageText(true));
    for (const bool hidden : {true, false}) {
        config.Clear();
        ASSERT_TRUE(line.Parse({hidden ? "-help+" : "-help"}));
        EXPECT_EQ(line.HelpText(), line.UsageText(hidden));
    }
    // The cases are the "== " headings of the golden file, those before the usage with a group and after it.
    std::vector<std::string> cases[2];
    size_t part = 0;
    const std::string expected = golden::ReadFile(LAYSCAN_SOURCE_DIR "/tests/golden/command-line.txt");
    for (const std::string& heading : golden::Lines(expected))
        if (heading.starts_with("-- usage with a group")) part = 1;
        else if (heading.starts_with("== ")) cases[part].push_back(Unescaped(heading.substr(3)));
    for (const std::string& words : cases[0])
        text += "== " + golden::Replaced(Parsed(line, config, golden::Replaced(words, "DIR/", folder)), folder, "DIR/");
    // The notice of internal use is printed while parsing.
    EXPECT_EQ(console.str(), "");
    config.Set("app name", "Layscan");
    ASSERT_TRUE(line.Parse({"-internaluseonly"}));
    EXPECT_NE(console.str().find("Layscan is licensed for internal use only"), std::string::npos) << console.str();

    // Groups and required options.
    line.Define("a", "", L"first");
    line.Define("b", "n", L"second");
    line.Define("name", "text", L"required", nullptr, CommandLine::kRequired);
    line.DefineGroup("mode", {"a", "b"});
    text += "-- usage with a group and a required option\n" + Narrow(line.UsageText());
    const std::string pick = "(a choice of pick required) ";
    for (const std::string& words : cases[1]) {
        if (words.starts_with(pick)) line.DefineGroup("pick", {"a", "b"}, true);
        text += "== " + (words.starts_with(pick) ? pick : "") + Parsed(line, config, golden::Replaced(words, pick, ""));
    }
    golden::ExpectMatches("command-line.txt", text);
}

}  // namespace
