#pragma once
// A fresh folder under the system's temporary folder, removed with everything
// in it when the object goes. The name carries a number drawn once per run and
// a counter, so parallel test runs do not share one.

#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

class ScratchFolder {
public:
    explicit ScratchFolder(const std::string& tag) {
        static const unsigned run = std::random_device()();
        static std::atomic<unsigned> counter{0};
        mPath = std::filesystem::temp_directory_path() / (tag + "_" + std::to_string(run) + "_" + std::to_string(counter++));
        std::filesystem::remove_all(mPath);
        std::filesystem::create_directories(mPath);
    }
    ~ScratchFolder() { std::filesystem::remove_all(mPath, mError); }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& Path() const { return mPath; }
    std::string File(const std::string& name) const { return (mPath / name).string(); }
    // Writes the bytes to a file in the folder and returns its path.
    std::string Write(const std::string& name, const std::string& bytes) const {
        std::ofstream(mPath / name, std::ios::binary) << bytes;
        return File(name);
    }

private:
    std::filesystem::path mPath;
    std::error_code mError;
};
