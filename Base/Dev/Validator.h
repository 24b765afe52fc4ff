#pragma once
// Checks that the command-line parser applies to an option's argument. Each
// answers an empty text for a good value, else the reason the value is bad.

#include <charconv>
#include <string>
#include <type_traits>

namespace Config {

class Validator {
public:
    virtual ~Validator() = default;
    virtual std::wstring Check(const std::string& value) const = 0;
};

// The whole value must read as a number of type T: decimal digits, no sign for
// an unsigned type, no blanks, within T's range.
template <class T>
class IsTypeValidator : public Validator {
    static_assert(std::is_integral_v<T>, "numbers only");

public:
    std::wstring Check(const std::string& value) const override {
        T number{};
        const char* end = value.data() + value.size();
        auto [stop, error] = std::from_chars(value.data(), end, number);
        if (value.empty() || error != std::errc() || stop != end) return TypeText();
        return {};
    }

private:
    static std::wstring TypeText() {
        if constexpr (std::is_unsigned_v<T>)
            return L"not an unsigned integer";
        else
            return L"not an integer";
    }
};

// A file or device that exists now (a directory does not count).
class IsExistingFileValidator : public Validator {
public:
    std::wstring Check(const std::string& value) const override;
};

// A name a file could be created under on Windows and Linux alike: not empty,
// no control characters, none of < > " | ? *, a colon only after a drive
// letter, and not naming a folder.
class IsValidFileNameValidator : public Validator {
public:
    std::wstring Check(const std::string& value) const override;
};

// One of the sector sizes a disk can have: 512, 1024, ..., 32768 bytes.
class IsSectorSizeValidator : public Validator {
public:
    std::wstring Check(const std::string& value) const override;
};

}  // namespace Config
