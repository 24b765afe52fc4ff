#pragma once
// The framework's command-line parser. Options are written with a leading
// "-" or "--" (names match without regard to case); an option that takes an argument
// takes the next word, or the text after "=" in "-name=value". Parsed values
// land in the configuration store under the option's defined name; a flag
// stores "1". The framework's own options (help, help+, cmdfile, the hidden
// application-identity items and DontInitializeCom) are defined by the
// constructor.

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "Base/Dev/AppConfig.h"
#include "Base/Dev/Validator.h"

namespace Config {

class CommandLine {
public:
    enum Flags : unsigned {
        kNone = 0,
        kHidden = 1,      // shown only by help+
        kRepeatable = 2,  // may be given more than once; every value is kept
        kRequired = 4,    // the line is invalid without it
    };

    // Notices the framework prints while parsing (internaluseonly) go to console.
    explicit CommandLine(AppConfig& config, std::ostream& console);

    // argument empty: a flag.
    void Define(const std::string& name, const std::string& argument, const std::wstring& description,
                std::shared_ptr<const Validator> validator = nullptr, unsigned flags = kNone);
    void DefineAlias(const std::string& alias, const std::string& target);
    // A set of mutually exclusive options; at most one may be given.
    void DefineGroup(const std::string& group, const std::vector<std::string>& members, bool required = false);
    // The framework's internal-use flag; when given, parsing prints the notice.
    void RegisterInternalUseOnly();

    // Parses the process arguments (argv[0] is the program). False when the
    // line is invalid; the words after a bad one are still parsed, so that
    // help is seen wherever it stands.
    bool Parse(int argc, const char* const* argv);
    bool Parse(const std::vector<std::string>& words);

    bool IsGiven(const std::string& name) const { return mConfig.IsGiven(name); }
    std::string Value(const std::string& name) const { return mConfig.Get(name); }
    // help or help+ was given.
    bool HelpRequested() const;
    // The usage for help, or for help+ (with the hidden options) when that was given.
    std::wstring HelpText() const { return UsageText(IsGiven(kHelpPlus)); }
    std::wstring UsageText(bool includeHidden = false) const;
    // The first fault of the last parse, empty when it was valid.
    std::wstring ErrorText() const { return mError; }

    static constexpr const char* kHelp = "help";
    static constexpr const char* kHelpPlus = "help+";
    static constexpr const char* kCmdFile = "cmdfile";
    static constexpr const char* kInternalUseOnly = "internaluseonly";
    static constexpr const char* kAppName = "app name";
    static constexpr const char* kAppVersion = "app version";
    static constexpr const char* kAppVariant = "app variant";
    static constexpr const char* kRtcFileName = "rtc file name";
    static constexpr const char* kDontInitializeCom = "DontInitializeCom";
    // Bounds on command files: how many one line may read, and how large each may be.
    static constexpr size_t kMaxCommandFiles = 16;
    static constexpr size_t kMaxCommandFileBytes = 1 << 20;

private:
    struct Option {
        std::string name;
        std::string argument;
        std::wstring description;
        std::shared_ptr<const Validator> validator;
        unsigned flags = kNone;
        std::string aliasOf;  // non-empty for an alias
        std::string group;
    };
    struct Group {
        std::string name;
        std::vector<std::string> members;
        bool required = false;
    };

    const Option* Find(const std::string& name) const;
    Option* FindDefined(const std::string& name);
    void Fail(const std::wstring& text, const std::string& word);
    void Take(const Option& option, const std::string& value, std::vector<std::string>& words, size_t at);
    void ExpandCommandFile(const std::string& path, std::vector<std::string>& words, size_t at);
    void CheckGroupsAndRequired();
    std::wstring Syntax(const Option& option) const;
    std::wstring Synopsis(bool includeHidden) const;
    bool Shown(const Option& option, bool includeHidden) const;

    AppConfig& mConfig;
    std::ostream& mConsole;
    std::vector<Option> mOptions;
    std::vector<Group> mGroups;
    std::vector<std::string> mSeen;
    std::string mProgram;
    std::wstring mError;
    size_t mCommandFiles = 0;
};

// Splits command-file text into words at blanks, tabs and line ends; double
// quotes group blanks into a word and are themselves dropped.
std::vector<std::string> SplitCommandWords(const std::string& text);

}  // namespace Config
