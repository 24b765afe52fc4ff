#pragma once
// The configuration store: named values, set by the application and by the
// command-line parser. A name counts as given when it holds a non-empty value.

#include <map>
#include <string>
#include <vector>

namespace Config {

class AppConfig {
public:
    // Replaces every value of the name.
    void Set(const std::string& name, const std::string& value);
    // Adds one more value (options that may be repeated).
    void Append(const std::string& name, const std::string& value);
    // The last value stored under the name, or empty.
    std::string Get(const std::string& name) const;
    std::vector<std::string> GetAll(const std::string& name) const;
    bool IsGiven(const std::string& name) const { return !Get(name).empty(); }
    void Erase(const std::string& name) { mValues.erase(name); }
    void Clear() { mValues.clear(); }

private:
    std::map<std::string, std::vector<std::string>> mValues;
};

}  // namespace Config
