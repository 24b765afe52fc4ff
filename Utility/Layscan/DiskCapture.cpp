#include "Utility/Layscan/DiskCapture.h"

#include <filesystem>
#include <ostream>

#include "Base/Dev/Result.h"
#include "SectorBuffer/Dev/SectorCapture.h"

namespace Layscan {

namespace {

const char* const kWriteFailed = "Error: unable to write sector file ";
const char* const kSaveIsDevice = "Error: -save names a device, and a disk is never written: ";
const char* const kSaveIsInput = "Error: -save names the disk being read, which is never written over: ";

bool IsDevice(const std::string& path) {
    // Windows device names are not files the file system can stat.
    if (path.rfind("\\\\.\\", 0) == 0 || path.rfind("//./", 0) == 0) return true;
    std::error_code ec;
    const auto status = std::filesystem::status(std::filesystem::path(path), ec);
    return std::filesystem::is_block_file(status) || std::filesystem::is_character_file(status);
}

}  // namespace

std::string DiskCapture::Refusal(const std::string& savePath, const std::string& inputPath) {
    if (IsDevice(savePath)) return kSaveIsDevice + savePath + "\n";
    std::error_code ec;
    if (!inputPath.empty() && std::filesystem::equivalent(savePath, inputPath, ec))
        return kSaveIsInput + savePath + "\n";
    return {};
}

std::string DiskCapture::DrivePath(const std::string& folder, unsigned number) {
    const std::filesystem::path path(folder);
    std::error_code ec;  // a folder that cannot be made fails the write, which says why
    std::filesystem::create_directories(path, ec);
    return (path / ("disk" + std::to_string(number) + ".sf")).string();
}

DiskCapture::DiskCapture(std::string savePath, std::ostream& console) : mPath(std::move(savePath)), mConsole(console) {}

DiskCapture::~DiskCapture() = default;

std::shared_ptr<SectorProvider> DiskCapture::Wrap(std::shared_ptr<SectorProvider> source) {
    if (mPath.empty()) return source;
    try {
        mCapture = std::make_shared<SectorCapture>(std::move(source), Widen(mPath));
    } catch (...) {
        TellFailure(std::current_exception());
        return nullptr;
    }
    return mCapture;
}

bool DiskCapture::Finish() {
    if (!mCapture) return true;
    try {
        mCapture->Finish();
    } catch (...) {
        TellFailure(std::current_exception());
        mCapture.reset();
        return false;
    }
    mCapture.reset();
    return true;
}

void DiskCapture::TellFailure(const std::exception_ptr& failure) const {
    mConsole << kWriteFailed << mPath << "\n\t";
    try {
        std::rethrow_exception(failure);
    } catch (const Result& result) {
        mConsole << Narrow(result.Message());
    } catch (const std::exception& e) {
        mConsole << e.what();
    } catch (...) {
    }
    mConsole << std::endl;
}

}  // namespace Layscan
