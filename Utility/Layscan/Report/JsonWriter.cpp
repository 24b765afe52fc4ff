#include "Utility/Layscan/Report/JsonWriter.h"

#include <string>

namespace {

constexpr int kIndent = 2;

// Invalid UTF-8 would make the library throw; the texts handed in are
// converted from known encodings, so a replacement character is the most it
// can come to.
std::string Dump(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

}  // namespace

void JsonWriter::Lead(std::string_view key) {
    if (!mOpen.empty()) {
        if (!mOpen.back().empty) mOut << ',';
        mOpen.back().empty = false;
        mOut << '\n' << std::string(mOpen.size() * kIndent, ' ');
    }
    if (!key.empty()) mOut << Dump(Json(std::string(key))) << ": ";
}

void JsonWriter::Open(std::string_view key, char bracket) {
    Lead(key);
    mOut << bracket;
    mOpen.push_back({bracket == '{' ? '}' : ']', true});
}

void JsonWriter::BeginObject(std::string_view key) { Open(key, '{'); }

void JsonWriter::BeginArray(std::string_view key) { Open(key, '['); }

void JsonWriter::End() {
    const Level level = mOpen.back();
    mOpen.pop_back();
    if (!level.empty) mOut << '\n' << std::string(mOpen.size() * kIndent, ' ');
    mOut << level.closing;
    if (mOpen.empty()) mOut << '\n';
}

void JsonWriter::Member(std::string_view key, const Json& value) {
    Lead(key);
    mOut << Dump(value);
    if (mOpen.empty()) mOut << '\n';
}

void JsonWriter::RawMember(std::string_view key, std::string_view json) {
    Lead(key);
    mOut << json;
    if (mOpen.empty()) mOut << '\n';
}

void JsonWriter::CloseTo(size_t depth) {
    while (mOpen.size() > depth) End();
}
