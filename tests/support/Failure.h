#pragma once
// What a call failed with, as one string to compare: "KIND Function: expression"
// for an assertion, the message of a Result, or "" when the call went through.

#include <string>

#include "Base/Dev/AssertionFailure.h"
#include "Base/Dev/Result.h"

template <typename F>
std::string FailureOf(F&& call) {
    try {
        call();
    } catch (const AssertionFailure& a) {
        const std::string what = a.what();
        return what.substr(0, what.find(' ')) + " " + a.Function() + ": " + a.Expression();
    } catch (const Result& r) {
        return Narrow(r.Message());
    }
    return "";
}
