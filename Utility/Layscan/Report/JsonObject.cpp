#include "Utility/Layscan/Report/JsonObject.h"

#include <charconv>

void JsonObject::Key(std::string_view key) {
    if (mText.size() > 1) mText += ',';
    mText += '"';
    mText += key;
    mText += "\":";
}

JsonObject& JsonObject::Number(std::string_view key, uint64_t value) {
    Key(key);
    char digits[20];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    mText.append(digits, end);
    return *this;
}

JsonObject& JsonObject::Number(std::string_view key, const std::optional<uint64_t>& value) {
    return value ? Number(key, *value) : Null(key);
}

JsonObject& JsonObject::Bool(std::string_view key, bool value) { return Raw(key, value ? "true" : "false"); }

JsonObject& JsonObject::Null(std::string_view key) { return Raw(key, "null"); }

JsonObject& JsonObject::String(std::string_view key, const std::string& utf8) { return Value(key, utf8); }

JsonObject& JsonObject::Object(std::string_view key, const JsonObject& nested) { return Raw(key, nested.Text()); }

JsonObject& JsonObject::Raw(std::string_view key, std::string_view json) {
    Key(key);
    mText += json;
    return *this;
}

JsonObject& JsonObject::Value(std::string_view key, const Json& value) {
    Key(key);
    mText += value.dump(-1, ' ', false, Json::error_handler_t::replace);
    return *this;
}
