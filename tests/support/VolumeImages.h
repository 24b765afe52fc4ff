#pragma once
// Boot sectors of real volumes for tests: made on the spot by the file-system
// tools, or taken from the image corpus beside the repository. Every helper
// answers empty when its tool or image is not there (and always under
// Windows, where the Linux tools cannot run), so callers GTEST_SKIP.

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/ScratchFolder.h"

namespace testimages {

// A file in this process's own scratch folder, removed when the object goes
// (the folder itself goes when the tests end).
class ScratchFile {
public:
    explicit ScratchFile(const std::string& name) : mPath(Folder().Path() / name) {
        std::error_code ignored;
        std::filesystem::remove(mPath, ignored);
    }
    ~ScratchFile() {
        std::error_code ignored;
        std::filesystem::remove(mPath, ignored);
    }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    const std::filesystem::path& Path() const { return mPath; }
    // Built by appending: GCC 12 warns falsely (-Wrestrict) on "'" + string.
    std::string Quoted() const { return std::string("'").append(mPath.string()).append("'"); }

private:
    static const ScratchFolder& Folder() {
        static ScratchFolder folder("layscan-volumes");
        return folder;
    }
    std::filesystem::path mPath;
};

// The first `bytes` bytes of a file, or empty when it is shorter or unreadable.
inline std::vector<uint8_t> ReadHead(const std::filesystem::path& file, size_t bytes) {
    std::ifstream in(file, std::ios::binary);
    std::vector<uint8_t> data(bytes);
    if (!in.read(reinterpret_cast<char*>(data.data()), static_cast<std::streamsize>(bytes))) return {};
    return data;
}

// Runs a shell command with the system tool folders on the path; true on exit
// code 0. Never runs under Windows.
inline bool Run(const std::string& command) {
#ifdef _WIN32
    (void)command;
    return false;
#else
    std::string line = "PATH=\"$PATH:/usr/sbin:/sbin\"; " + command + " 2>/dev/null";
    return std::system(line.c_str()) == 0;
#endif
}

inline bool HaveTool(const std::string& tool) { return Run("command -v " + tool + " >/dev/null"); }

// Formats a fresh `kib` KiB file as `tool options FILE`; false when the tool
// is missing or fails.
inline bool MakeVolume(const ScratchFile& file, const std::string& tool, const std::string& options, unsigned kib) {
    return HaveTool(tool) && Run("truncate -s " + std::to_string(kib) + "K " + file.Quoted()) &&
           Run(tool + " " + options + " " + file.Quoted() + " >/dev/null");
}

// The corpus lies in ../shared beside the repository; LAYSCAN_SHARED_DIR
// points elsewhere when the tree is checked out at another depth.
inline std::filesystem::path CorpusPacked(const std::string& name) {
    const char* shared = std::getenv("LAYSCAN_SHARED_DIR");
    std::filesystem::path dir = shared && *shared ? shared : LAYSCAN_SOURCE_DIR "/../shared";
    return dir / "corpus" / (name + ".img.xz");
}

// Decompresses the first `bytes` bytes (or, with 0, all) of corpus image
// `name` (without ".img.xz") into `file`; false when corpus or xz is missing.
inline bool UnpackCorpus(const std::string& name, const ScratchFile& file, size_t bytes = 0) {
    auto packed = CorpusPacked(name);
    if (!std::filesystem::exists(packed) || !HaveTool("xz")) return false;
    std::string cut = bytes ? " | head -c " + std::to_string(bytes) : "";
    return Run("xz -dc '" + packed.string() + "'" + cut + " > " + file.Quoted());
}

// The first `bytes` bytes of corpus image `name`, or empty.
inline std::vector<uint8_t> CorpusHead(const std::string& name, size_t bytes = 512) {
    ScratchFile file(name + ".head");
    return UnpackCorpus(name, file, bytes) ? ReadHead(file.Path(), bytes) : std::vector<uint8_t>{};
}

}  // namespace testimages
