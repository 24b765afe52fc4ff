#pragma once
// One JSON object written compact as it is built, for the members that a long
// chain repeats hundreds of thousands of times (boot records, partition rows,
// volume boot records, warnings): building them as library values first cost
// more than the whole text report. Keys are the writer's own identifiers
// (letters and digits, nothing to escape), numbers are formatted here, and
// every text and any other value goes through the JSON library.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Utility/Layscan/Report/JsonWriter.h"

class JsonObject {
public:
    JsonObject() : mText("{") {}

    JsonObject& Number(std::string_view key, uint64_t value);
    JsonObject& Number(std::string_view key, const std::optional<uint64_t>& value);  // null when empty
    JsonObject& Bool(std::string_view key, bool value);
    JsonObject& Null(std::string_view key);
    JsonObject& String(std::string_view key, const std::string& utf8);
    JsonObject& Object(std::string_view key, const JsonObject& nested);
    // An array of objects, or any other value, already written as JSON.
    JsonObject& Raw(std::string_view key, std::string_view json);
    JsonObject& Value(std::string_view key, const Json& value);

    // The object's text, closed.
    std::string Text() const { return mText + "}"; }

private:
    void Key(std::string_view key);
    std::string mText;
};
