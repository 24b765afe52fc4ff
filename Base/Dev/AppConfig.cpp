#include "Base/Dev/AppConfig.h"

namespace Config {

void AppConfig::Set(const std::string& name, const std::string& value) { mValues[name] = {value}; }

void AppConfig::Append(const std::string& name, const std::string& value) { mValues[name].push_back(value); }

std::string AppConfig::Get(const std::string& name) const {
    auto it = mValues.find(name);
    if (it == mValues.end() || it->second.empty()) return {};
    return it->second.back();
}

std::vector<std::string> AppConfig::GetAll(const std::string& name) const {
    auto it = mValues.find(name);
    return it == mValues.end() ? std::vector<std::string>{} : it->second;
}

}  // namespace Config
