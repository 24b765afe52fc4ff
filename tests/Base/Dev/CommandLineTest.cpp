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
    for (const char* words : {
             "-ALL -device 7 -out=dir/r.txt", "-out -all", "-?", "-", "-device 1 -Device 2", "-all=yes",
             "-all stray -bogus", "-bogus -help", "-device", "-dontinitializecom \"-app name\" Probe",
             "  \r\n\t ", "-device 3\r\n-out  x.txt\n", "-out \"my report.txt\"", "-out a\"b c\"d e", "-out \"\" x",
             "-out \"unclosed runs to the end",
             // Two dashes stand for one; a third does not.
             "--ALL --device=7 --out r.txt", "--help", "--", "---all",
             // Validators, at their boundaries.
             "-device 0", "-device 007", "-device 4294967295", "-device 4294967296", "-device -1", "-device +1",
             "-device \"\"", "-device \" 1\"", "-device 12x", "-device 0x10", "-count -5", "-count 2147483648",
             "-count -", "-size 512", "-size 32768", "-size 256", "-size 65536", "-size 513", "-size 4k",
             "-size 99999999999999999999", "-out layscan.txt", "-out C:\\reports\\disk.txt", "-out c:disk.txt",
             "-out \"\"", "-out a|b", "-out what?.txt", "-out *.txt", "-out a<b",
             "-out \"tab\there\"", "-out dir/", "-out dir\\", "-out ..", "-out out/.", "-out ab:c", "-out 1:x",
             "-file DIR/present.bin", "-file DIR/absent.bin", "-file DIR/",
             // Command files: their words stand where the option stood.
             "-cmdfile DIR/outer.txt", "-cmdfile DIR/inner.txt -all", "-cmdfile DIR/loop.txt", "-cmdfile DIR/big.txt",
             "-cmdfile DIR/full.txt"})
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
    for (const char* words : {"-a -b 1 -name x", "-a", "-b 1 -name x"}) text += "== " + Parsed(line, config, words);
    line.DefineGroup("pick", {"a", "b"}, true);
    text += "== (a choice of pick required) " + Parsed(line, config, "-name x");
    golden::ExpectMatches("command-line.txt", text);

}

}  // namespace
