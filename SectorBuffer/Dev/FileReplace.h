#pragma once
// Puts a completed file under its final name in one step, replacing a file
// that has that name: a reader of the final name sees the old file or the new
// one, never a part. One implementation per platform (FileReplaceLinux.cpp,
// FileReplaceWin.cpp); both paths lie in the same folder.

#include <filesystem>
#include <string>

class FileReplace {
public:
    // False when the system refused; reason then holds its text.
    static bool Replace(const std::filesystem::path& from, const std::filesystem::path& to, std::string& reason);
};
