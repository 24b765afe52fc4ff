#include "SectorBuffer/Dev/FileReplace.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

bool FileReplace::Replace(const std::filesystem::path& from, const std::filesystem::path& to, std::string& reason) {
    if (std::rename(from.c_str(), to.c_str()) == 0) return true;
    reason = std::strerror(errno);
    return false;
}
