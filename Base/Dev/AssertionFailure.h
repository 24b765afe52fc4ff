#pragma once
// The framework's assertion family. Every violated bound or broken invariant
// throws one of these; the run-mode driver catches them per disk.

#include <stdexcept>
#include <string>

class AssertionFailure : public std::runtime_error {
public:
    AssertionFailure(const char* kind, const std::string& function, const char* file, int line,
                     const std::string& expression);
    const std::string& Function() const { return mFunction; }
    const std::string& Expression() const { return mExpression; }

    // "%s failed, %s%s%s(%d): %s." with kind, function, ": ", file, line, expression.
    static std::string Format(const char* kind, const std::string& function, const char* file, int line,
                              const std::string& expression);

private:
    std::string mFunction;
    std::string mExpression;
};

class PreconditionFailure : public AssertionFailure {
public:
    PreconditionFailure(const std::string& function, const char* file, int line, const std::string& expression)
        : AssertionFailure("PRECONDITION", function, file, line, expression) {}
};

class CheckFailure : public AssertionFailure {
public:
    CheckFailure(const std::string& function, const char* file, int line, const std::string& expression)
        : AssertionFailure("CHECK", function, file, line, expression) {}
};

class PostconditionFailure : public AssertionFailure {
public:
    PostconditionFailure(const std::string& function, const char* file, int line, const std::string& expression)
        : AssertionFailure("POSTCONDITION", function, file, line, expression) {}
};

// Turns a compiler signature ("void nsLayout::MbrDisk::MbrDisk(...)") into the
// qualified name the messages carry ("nsLayout::MbrDisk::MbrDisk").
std::string QualifiedFunctionName(const char* prettyFunction);

#define LS_FUNCTION_NAME QualifiedFunctionName(__PRETTY_FUNCTION__)

// Raise with an explicit expression text; the condition is evaluated once.
#define LS_RAISE_IF_NOT(Kind, cond, text)                                   \
    do {                                                                     \
        if (!(cond)) throw Kind(LS_FUNCTION_NAME, __FILE__, __LINE__, text); \
    } while (0)

#define PRECONDITION(cond) LS_RAISE_IF_NOT(PreconditionFailure, cond, #cond)
#define CHECK(cond) LS_RAISE_IF_NOT(CheckFailure, cond, #cond)
#define POSTCONDITION(cond) LS_RAISE_IF_NOT(PostconditionFailure, cond, #cond)
// The message form, for checks whose text is a sentence rather than the expression.
#define PRECONDITION_MSG(cond, text) LS_RAISE_IF_NOT(PreconditionFailure, cond, text)
#define CHECK_MSG(cond, text) LS_RAISE_IF_NOT(CheckFailure, cond, text)
