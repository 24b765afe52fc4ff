// The man page and the bash completion name exactly the options the parser
// knows: an option added to the parser and forgotten in the page, or a page
// or completion naming one that is gone, fails here.

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>

#include "Base/Dev/CommandLine.h"
#include "Utility/Layscan/Layscan.h"
#include "support/GoldenFile.h"

namespace {

using Names = std::set<std::string>;

// The options of the usage text with the hidden ones, aliases included.
Names ParserOptions(bool includeHidden) {
    Config::AppConfig config;
    std::ostringstream console;
    Config::CommandLine line(config, console);
    Layscan::DefineOptions(line);
    line.RegisterInternalUseOnly();
    const std::string usage = Narrow(line.UsageText(includeHidden));
    const std::string descriptions = usage.substr(usage.find("Descriptions:"));
    Names names;
    const std::regex item("\n  -(.+?)(?: <|  )");
    for (std::sregex_iterator it(descriptions.begin(), descriptions.end(), item), end; it != end; ++it)
        names.insert((*it)[1]);
    return names;
}

// Every option on the tag lines (the line after .TP) of the page's OPTIONS section.
Names PageOptions(const std::string& page) {
    const size_t from = page.find("\n.SH OPTIONS"), to = page.find("\n.SH", from + 1);
    const std::vector<std::string> lines = golden::Lines(page.substr(from, to - from));
    Names names;
    const std::regex option(R"(\\-([A-Za-z?+]+(?: [a-z]+)*))");
    for (size_t i = 0; i + 1 < lines.size(); ++i) {
        if (lines[i] != ".TP") continue;
        for (std::sregex_iterator it(lines[i + 1].begin(), lines[i + 1].end(), option), end; it != end; ++it)
            names.insert((*it)[1]);
    }
    return names;
}

// The words the completion offers after a dash.
Names CompletionOptions(const std::string& script) {
    std::smatch list;
    EXPECT_TRUE(std::regex_search(script, list, std::regex("local options=\"([^\"]*)\"")));
    std::istringstream words(list[1]);
    Names names;
    for (std::string word; words >> word;) names.insert(word.substr(1));
    return names;
}

TEST(ManPage, NamesEveryOptionOfTheParserAndNoOther) {
    const Names page = PageOptions(golden::ReadFile(LAYSCAN_SOURCE_DIR "/docs/layscan.1"));
    EXPECT_EQ(page, ParserOptions(true));
    // Completion offers what -help shows, but "-?", which the shell would glob.
    Names shown = ParserOptions(false);
    shown.erase("?");
    EXPECT_EQ(CompletionOptions(golden::ReadFile(LAYSCAN_SOURCE_DIR "/scripts/bash-completion/layscan")), shown);
}

}  // namespace
