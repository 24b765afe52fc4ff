#pragma once
// Writes one JSON document to a byte stream as it is produced, so that a disk
// with hundreds of thousands of boot records never needs its whole document in
// memory. The document's frame (objects and arrays that stay open while their
// members are written) is kept here; every member value is an nlohmann::json
// value, and the library does all escaping and number formatting. The open
// containers are indented by two blanks per level, each member on a line of
// its own; a member value is written compact on its line (one boot record,
// one entry, one warning per line). The document ends with a line end.

#include <cstddef>
#include <ostream>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

class JsonWriter {
public:
    explicit JsonWriter(std::ostream& out) : mOut(out) {}

    // An object or array that stays open; key is its name inside an object
    // and must be empty inside an array or at the top.
    void BeginObject(std::string_view key = {});
    void BeginArray(std::string_view key = {});
    // Closes the innermost open object or array.
    void End();
    // A complete member (inside an object) or element (key empty, inside an array).
    void Member(std::string_view key, const Json& value);
    void Element(const Json& value) { Member({}, value); }
    // The same for a value already written as compact JSON (see JsonObject).
    void RawMember(std::string_view key, std::string_view json);
    void RawElement(std::string_view json) { RawMember({}, json); }

    // How many objects and arrays are open.
    size_t Depth() const { return mOpen.size(); }
    // Closes open containers until depth remain: a document that ends early
    // (a failure while it was written) still parses.
    void CloseTo(size_t depth);

private:
    void Open(std::string_view key, char bracket);
    // The separator, line end and indentation before a new member, and its key.
    void Lead(std::string_view key);

    struct Level {
        char closing;
        bool empty;
    };
    std::ostream& mOut;
    std::vector<Level> mOpen;
};
