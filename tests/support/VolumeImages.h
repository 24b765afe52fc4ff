#pragma once
// Running the Linux tools that make and read test images, and boot sectors of
// real volumes: made on the spot by the file-system tools or taken from the
// image corpus beside the repository. Every helper answers empty or false when
// its tool or image is not there (always under Windows), so callers GTEST_SKIP.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/ScratchFolder.h"

namespace testimages {

// The system tool folders are added to the path: mkfs.* and sgdisk live there.
inline std::string WithToolPath(const std::string& command) {
    return "PATH=\"$PATH:/usr/sbin:/sbin\"; " + command + " 2>/dev/null";
}

// True when a shell command exits with 0 (never under Windows).
inline bool Run([[maybe_unused]] const std::string& command) {
#ifdef _WIN32
    return false;
#else
    return std::system(WithToolPath(command).c_str()) == 0;
#endif
}

// The standard output of a shell command; empty when it could not run.
inline std::string Capture([[maybe_unused]] const std::string& command) {
    std::string out;
#ifndef _WIN32
    if (FILE* p = popen(WithToolPath(command).c_str(), "r")) {
        char chunk[4096];
        for (size_t n; (n = fread(chunk, 1, sizeof chunk, p)) > 0;) out.append(chunk, n);
        pclose(p);
    }
#endif
    return out;
}

inline bool HaveTool(const std::string& tool) { return Run("command -v " + tool + " >/dev/null"); }

// A file in this process's own scratch folder, removed when the object goes.
class ScratchFile {
public:
    explicit ScratchFile(const std::string& name) : mPath(Folder().Path() / name) { Remove(); }
    ~ScratchFile() { Remove(); }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    const std::filesystem::path& Path() const { return mPath; }
    // Built by appending: GCC 12 warns falsely (-Wrestrict) on "'" + string.
    std::string Quoted() const { return std::string("'").append(mPath.string()).append("'"); }

private:
    static const ScratchFolder& Folder() { static ScratchFolder folder("layscan-volumes"); return folder; }
    void Remove() { std::error_code ignored; std::filesystem::remove(mPath, ignored); }
    std::filesystem::path mPath;
};

// The first `bytes` bytes of a file (all with 0), or empty when it is shorter or unreadable.
inline std::vector<uint8_t> ReadHead(const std::filesystem::path& file, size_t bytes = 0) {
    std::error_code ec;
    if (!bytes) bytes = static_cast<size_t>(std::filesystem::file_size(file, ec));
    std::ifstream in(file, std::ios::binary);
    std::vector<uint8_t> data(ec ? 0 : bytes);
    if (!in.read(reinterpret_cast<char*>(data.data()), static_cast<std::streamsize>(data.size()))) return {};
    return data;
}

// Formats a fresh `kib` KiB file as `tool options FILE`; false when the tool is missing or fails.
inline bool MakeVolume(const ScratchFile& file, const std::string& tool, const std::string& options, unsigned kib) {
    return HaveTool(tool) && Run("truncate -s " + std::to_string(kib) + "K " + file.Quoted()) &&
           Run(tool + " " + options + " " + file.Quoted() + " >/dev/null");
}

// Decompresses the first `bytes` bytes (or, with 0, all) of corpus image `name`
// (without ".img.xz") into `file`. The corpus lies in ../shared beside the
// repository, or where LAYSCAN_SHARED_DIR points.
inline bool UnpackCorpus(const std::string& name, const ScratchFile& file, size_t bytes = 0) {
    const char* shared = std::getenv("LAYSCAN_SHARED_DIR");
    const std::filesystem::path dir = shared && *shared ? shared : LAYSCAN_SOURCE_DIR "/../shared";
    const auto packed = dir / "corpus" / (name + ".img.xz");
    if (!std::filesystem::exists(packed) || !HaveTool("xz")) return false;
    const std::string cut = bytes ? " | head -c " + std::to_string(bytes) : "";
    return Run("xz -dc '" + packed.string() + "'" + cut + " > " + file.Quoted());
}

// A boot sector of 512 bytes FILL (hex) or, with "plain", zeros with a jump (EB 58 90) and the 0xAA55
// signature; then each "OFFSET=BYTES" of puts (hex) written in.
inline std::vector<uint8_t> BootSector(const std::string& fill, const std::string& puts) {
    std::vector<uint8_t> s(512, fill == "plain" ? 0 : uint8_t(std::stoul(fill, nullptr, 16)));
    if (fill == "plain") s[0] = 0xEB, s[1] = 0x58, s[2] = 0x90, s[510] = 0x55, s[511] = 0xAA;
    std::istringstream in(puts);
    for (std::string put; in >> put;)
        for (size_t at = std::stoul(put, nullptr, 16), i = put.find('=') + 1; i < put.size(); i += 2)
            s.at(at++) = uint8_t(std::stoul(put.substr(i, 2), nullptr, 16));
    return s;
}

}  // namespace testimages
