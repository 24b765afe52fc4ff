#include "Base/Dev/Validator.h"

#include <cstring>
#include <filesystem>
#include <system_error>

namespace Config {

std::wstring IsExistingFileValidator::Check(const std::string& value) const {
    std::error_code ec;
    const std::filesystem::path path(value);
    if (value.empty() || !std::filesystem::exists(path, ec)) return L"file does not exist";
    if (std::filesystem::is_directory(path, ec)) return L"is a folder, not a file";
    return {};
}

std::wstring IsValidFileNameValidator::Check(const std::string& value) const {
    if (value.empty()) return L"empty file name";
    for (size_t i = 0; i < value.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(value[i]);
        if (c < 0x20 || std::strchr("<>\"|?*", c) != nullptr) return L"character not allowed in a file name";
        const bool driveColon = i == 1 && ((value[0] | 0x20) >= 'a' && (value[0] | 0x20) <= 'z');
        if (c == ':' && !driveColon) return L"character not allowed in a file name";
    }
    const char last = value.back();
    if (last == '/' || last == '\\' || last == ':') return L"names a folder, not a file";
    const size_t slash = value.find_last_of("/\\");
    const std::string leaf = slash == std::string::npos ? value : value.substr(slash + 1);
    if (leaf == "." || leaf == "..") return L"names a folder, not a file";
    return {};
}

std::wstring IsSectorSizeValidator::Check(const std::string& value) const {
    if (IsTypeValidator<unsigned int>().Check(value).empty()) {
        const unsigned long size = std::stoul(value);
        for (unsigned long allowed = 512; allowed <= 32768; allowed *= 2)
            if (size == allowed) return {};
    }
    return L"not one of 512, 1024, 2048, 4096, 8192, 16384, 32768";
}

}  // namespace Config
