#include "Base/Dev/AssertionFailure.h"

#include <boost/format.hpp>

AssertionFailure::AssertionFailure(const char* kind, const std::string& function, const char* file, int line,
                                   const std::string& expression)
    : std::runtime_error(Format(kind ? kind : "Assertion", function, file, line, expression)),
      mFunction(function),
      mExpression(expression) {}

std::string AssertionFailure::Format(const char* kind, const std::string& function, const char* file, int line,
                                     const std::string& expression) {
    return (boost::format("%s failed, %s%s%s(%d): %s.") % (kind ? kind : "Assertion") % function %
            (function.empty() ? "" : ": ") % (file ? file : "?") % line % expression)
        .str();
}

std::string QualifiedFunctionName(const char* prettyFunction) {
    std::string s(prettyFunction ? prettyFunction : "");
    // Cut the parameter list: the first '(' outside template brackets.
    int depth = 0;
    size_t end = s.size();
    for (size_t i = 0; i < s.size(); ++i) {
        char c = s[i];
        if (c == '<') ++depth;
        else if (c == '>') --depth;
        else if (c == '(' && depth == 0) {
            // "{anonymous}" has no parentheses, but "(anonymous namespace)" does (clang).
            if (s.compare(i, 21, "(anonymous namespace)") == 0) { i += 20; continue; }
            end = i;
            break;
        }
    }
    s.resize(end);
    // Drop the return type: the last blank outside template brackets.
    depth = 0;
    size_t start = 0;
    for (size_t i = 0; i < s.size(); ++i) {
        char c = s[i];
        if (c == '<') ++depth;
        else if (c == '>') --depth;
        else if (c == ' ' && depth == 0 && s.compare(i + 1, 10, "namespace)") != 0) start = i + 1;
    }
    s = s.substr(start);
    // Name anonymous namespaces the way the reports of the Windows tool do.
    for (const char* anon : {"{anonymous}", "(anonymous namespace)"}) {
        for (size_t pos; (pos = s.find(anon)) != std::string::npos;)
            s.replace(pos, std::char_traits<char>::length(anon), "`anonymous-namespace'");
    }
    return s;
}
