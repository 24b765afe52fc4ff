#include "Base/Dev/CommandLine.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <ostream>

#include "Base/Dev/Result.h"

namespace Config {

namespace {

const wchar_t* const kUnknownOption = L"unknown option";
const wchar_t* const kDuplicateOption = L"duplicate option";
const wchar_t* const kMissingArgument = L"missing option argument";
const wchar_t* const kArgumentNotAllowedForOption = L"option argument not allowed";
const wchar_t* const kArgumentNotAllowed = L"argument not allowed";
const wchar_t* const kInvalidArgument = L"invalid option argument";
const wchar_t* const kMoreThanOneChoice = L"More than one choice specified for group ";
const wchar_t* const kMissingOption = L"  - missing option -";
const wchar_t* const kCannotReadCommandFile = L"cannot read command file";
const wchar_t* const kCommandFileTooLarge = L"command file too large";
const wchar_t* const kTooManyCommandFiles = L"too many command files";

const char* const kInternalUseNotice =
    " is licensed for internal use only. Do not give it to anyone outside the company.";

constexpr size_t kUsageWidth = 79;

std::string Lower(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

std::string ProgramName(const char* argv0) {
    std::string path = argv0 ? argv0 : "";
    const size_t slash = path.find_last_of("/\\");
    if (slash != std::string::npos) path.erase(0, slash + 1);
    const size_t dot = path.rfind('.');
    if (dot != std::string::npos && dot > 0) path.erase(dot);
    return path;
}

}  // namespace

std::vector<std::string> SplitCommandWords(const std::string& text) {
    std::vector<std::string> words;
    std::string word;
    bool inWord = false;
    bool quoted = false;
    for (char c : text) {
        if (c == '"') {
            quoted = !quoted;
            inWord = true;  // "" is an empty word
        } else if (!quoted && (c == ' ' || c == '\t' || c == '\r' || c == '\n')) {
            if (inWord) words.push_back(word);
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord) words.push_back(word);
    return words;
}

CommandLine::CommandLine(AppConfig& config, std::ostream& console) : mConfig(config), mConsole(console) {
    Define(kHelp, "", L"Command line usage");
    Define(kHelpPlus, "", L"Command line usage (including hidden commands)");
    DefineAlias("?", kHelp);
    Define(kCmdFile, "file name", L"File containing additional command line arguments.",
           std::make_shared<IsExistingFileValidator>(), kRepeatable);
    Define(kAppName, "name", L"Name of the application", nullptr, kHidden);
    Define(kAppVersion, "version", L"Version of the application", nullptr, kHidden);
    Define(kAppVariant, "variant", L"Variant of the application build", nullptr, kHidden);
    Define(kRtcFileName, "file name", L"Run-time configuration file of the application", nullptr, kHidden);
    Define(kDontInitializeCom, "", L"Do not initialize COM.", nullptr, kHidden);
}

void CommandLine::Define(const std::string& name, const std::string& argument, const std::wstring& description,
                         std::shared_ptr<const Validator> validator, unsigned flags) {
    Option option;
    option.name = name;
    option.argument = argument;
    option.description = description;
    option.validator = std::move(validator);
    option.flags = flags;
    mOptions.push_back(std::move(option));
}

void CommandLine::DefineAlias(const std::string& alias, const std::string& target) {
    Option option;
    option.name = alias;
    option.aliasOf = target;
    mOptions.push_back(std::move(option));
}

void CommandLine::DefineGroup(const std::string& group, const std::vector<std::string>& members, bool required) {
    for (const std::string& member : members)
        if (Option* option = FindDefined(member)) option->group = group;
    mGroups.push_back({group, members, required});
}

void CommandLine::RegisterInternalUseOnly() { Define(kInternalUseOnly, "", L"show license for internal use"); }

CommandLine::Option* CommandLine::FindDefined(const std::string& name) {
    for (Option& option : mOptions)
        if (option.name == name && option.aliasOf.empty()) return &option;
    return nullptr;
}

const CommandLine::Option* CommandLine::Find(const std::string& name) const {
    const std::string wanted = Lower(name);
    for (const Option& option : mOptions) {
        if (Lower(option.name) != wanted) continue;
        if (option.aliasOf.empty()) return &option;
        return Find(option.aliasOf);
    }
    return nullptr;
}

bool CommandLine::HelpRequested() const { return IsGiven(kHelp) || IsGiven(kHelpPlus); }

void CommandLine::Fail(const std::wstring& text, const std::string& word) {
    if (mError.empty()) mError = text + L" - " + Widen(word);
}

bool CommandLine::Parse(int argc, const char* const* argv) {
    std::vector<std::string> words;
    if (argc > 0) mProgram = ProgramName(argv[0]);
    for (int i = 1; i < argc; ++i) words.emplace_back(argv[i]);
    return Parse(words);
}

bool CommandLine::Parse(const std::vector<std::string>& arguments) {
    mError.clear();
    mSeen.clear();
    mCommandFiles = 0;
    std::vector<std::string> words = arguments;
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string word = words[i];
        if (word.size() < 2 || word[0] != '-') {
            Fail(word.size() == 1 && word[0] == '-' ? kUnknownOption : kArgumentNotAllowed, word);
            continue;
        }
        // "--name" is "-name": the habit of GNU tools.
        std::string name = word.substr(word.size() > 2 && word[1] == '-' ? 2 : 1);
        std::string inlineValue;
        const size_t equals = name.find('=');
        const bool hasInline = equals != std::string::npos;
        if (hasInline) {
            inlineValue = name.substr(equals + 1);
            name.erase(equals);
        }
        const Option* option = Find(name);
        if (!option) {
            Fail(kUnknownOption, word);
            continue;
        }
        const bool duplicate = std::find(mSeen.begin(), mSeen.end(), option->name) != mSeen.end();
        if (option->argument.empty()) {
            if (hasInline) {
                Fail(kArgumentNotAllowedForOption, option->name);
                continue;
            }
            if (duplicate && !(option->flags & kRepeatable)) Fail(kDuplicateOption, option->name);
            mSeen.push_back(option->name);
            mConfig.Set(option->name, "1");
            continue;
        }
        std::string value;
        if (hasInline) {
            value = inlineValue;
        } else if (i + 1 < words.size()) {
            value = words[++i];
        } else {
            Fail(kMissingArgument, option->name);
            continue;
        }
        if (duplicate && !(option->flags & kRepeatable)) {
            Fail(kDuplicateOption, option->name);
            continue;
        }
        mSeen.push_back(option->name);
        if (option->validator) {
            const std::wstring reason = option->validator->Check(value);
            if (!reason.empty()) {
                Fail(kInvalidArgument, value + " (-" + option->name + ": " + Narrow(reason) + ")");
                continue;
            }
        }
        Take(*option, value, words, i + 1);
    }
    CheckGroupsAndRequired();
    if (IsGiven(kInternalUseOnly)) {
        const std::string app = mConfig.IsGiven(kAppName) ? mConfig.Get(kAppName) : mProgram;
        mConsole << app << kInternalUseNotice << std::endl;
    }
    return mError.empty();
}

void CommandLine::Take(const Option& option, const std::string& value, std::vector<std::string>& words,
                       size_t at) {
    if (option.flags & kRepeatable)
        mConfig.Append(option.name, value);
    else
        mConfig.Set(option.name, value);
    if (option.name == kCmdFile) ExpandCommandFile(value, words, at);
}

void CommandLine::ExpandCommandFile(const std::string& path, std::vector<std::string>& words, size_t at) {
    if (++mCommandFiles > kMaxCommandFiles) {
        Fail(kTooManyCommandFiles, path);
        return;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        Fail(kCannotReadCommandFile, path);
        return;
    }
    std::string text;
    char chunk[4096];
    while (file.read(chunk, sizeof chunk) || file.gcount() > 0) {
        text.append(chunk, static_cast<size_t>(file.gcount()));
        if (text.size() > kMaxCommandFileBytes) {
            Fail(kCommandFileTooLarge, path);
            return;
        }
    }
    const std::vector<std::string> more = SplitCommandWords(text);
    words.insert(words.begin() + static_cast<std::ptrdiff_t>(at), more.begin(), more.end());
}

void CommandLine::CheckGroupsAndRequired() {
    for (const Group& group : mGroups) {
        size_t given = 0;
        for (const std::string& member : group.members)
            given += std::count(mSeen.begin(), mSeen.end(), member) > 0 ? 1 : 0;
        if (given > 1 && mError.empty()) mError = kMoreThanOneChoice + Widen(group.name);
        if (given == 0 && group.required && mError.empty()) {
            std::wstring names;
            for (const std::string& member : group.members) names += (names.empty() ? L"" : L" | -") + Widen(member);
            mError = kMissingOption + names;
        }
    }
    for (const Option& option : mOptions)
        if ((option.flags & kRequired) && !IsGiven(option.name) && mError.empty())
            mError = kMissingOption + Widen(option.name);
}

bool CommandLine::Shown(const Option& option, bool includeHidden) const {
    if (includeHidden) return true;
    const Option* target = option.aliasOf.empty() ? &option : Find(option.aliasOf);
    return target && !(target->flags & kHidden);
}

std::wstring CommandLine::Syntax(const Option& option) const {
    std::wstring text = L"-" + Widen(option.name);
    if (!option.argument.empty()) text += L" <" + Widen(option.argument) + L"> ";
    return text;
}

std::wstring CommandLine::Synopsis(bool includeHidden) const {
    auto trimmed = [this](const Option& option) {
        std::wstring text = Syntax(option);
        while (!text.empty() && text.back() == L' ') text.pop_back();
        return text;
    };
    std::vector<std::wstring> items;
    std::vector<std::string> groupsDone;
    for (const Option& option : mOptions) {
        if (!option.aliasOf.empty() || !Shown(option, includeHidden)) continue;
        if (option.group.empty()) {
            items.push_back(option.flags & kRequired ? trimmed(option) : L"[" + trimmed(option) + L"]");
            continue;
        }
        if (std::find(groupsDone.begin(), groupsDone.end(), option.group) != groupsDone.end()) continue;
        groupsDone.push_back(option.group);
        auto group = std::find_if(mGroups.begin(), mGroups.end(), [&](const Group& g) { return g.name == option.group; });
        std::wstring text = L"{" + Widen(group->name) + L": ";
        for (size_t m = 0; m < group->members.size(); ++m) {
            const Option* member = Find(group->members[m]);
            text += (m ? L" | " : L"") + (member ? trimmed(*member) : L"-" + Widen(group->members[m]));
        }
        text += L"}";
        items.push_back(group->required ? text : L"[" + text + L"]");
    }
    const std::wstring lead = L"  " + Widen(mProgram.empty() ? mConfig.Get(kAppName) : mProgram);
    const std::wstring indent(lead.size() + 1, L' ');
    std::wstring text = lead;
    size_t lineStart = 0;
    for (const std::wstring& item : items) {
        if (text.size() - lineStart + 1 + item.size() > kUsageWidth && text.size() - lineStart > indent.size()) {
            text += L"\n";
            lineStart = text.size();
            text += indent.substr(1);
        }
        text += L" " + item;
    }
    return text;
}

std::wstring CommandLine::UsageText(bool includeHidden) const {
    std::wstring text = L"Usage:\n" + Synopsis(includeHidden);
    size_t width = 0;
    for (const Option& option : mOptions)
        if (Shown(option, includeHidden)) width = std::max(width, Syntax(option).size());
    text += L"\n\nDescriptions:";
    for (const Option& option : mOptions) {
        if (!Shown(option, includeHidden)) continue;
        std::wstring syntax = Syntax(option);
        syntax.resize(width, L' ');
        text += L"\n  " + syntax;
        if (!option.aliasOf.empty()) {
            text += L"  alias for -" + Widen(option.aliasOf);
            continue;
        }
        text += L"  " + option.description;
        if (option.flags & kRepeatable) text += L" (repeatable)";
    }
    text += L"\n\nLegend:\n";
    text += L"[a]          means that a is optional\n";
    text += L"{g: a | b}   means that g is a group of mutually exclusive choices consisting\n"
            L"             of a and b and only one should occur\n";
    return text;
}

}  // namespace Config
