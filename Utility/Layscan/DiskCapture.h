#pragma once
// The -save option in the run modes: the capture of one disk's sectors into a
// sector file around the report of that disk, the file names of the all-drives
// folder, the refusal of a path that would be written over the input, and the
// console texts of a capture that failed.

#include <iosfwd>
#include <memory>
#include <string>

class SectorCapture;
class SectorProvider;

namespace Layscan {

class DiskCapture {
public:
    // The console text refusing a save path that names a device or the same
    // file as inputPath (which may be empty); empty when the path may be written.
    static std::string Refusal(const std::string& savePath, const std::string& inputPath);
    // The sector file of drive number in the all-drives folder, which is
    // created when missing.
    static std::string DrivePath(const std::string& folder, unsigned number);

    // An empty save path captures nothing: the source passes through.
    DiskCapture(std::string savePath, std::ostream& console);
    ~DiskCapture();

    // The source the report is to read: the source itself, or the capture
    // around it; null when the sector file could not be started (told).
    std::shared_ptr<SectorProvider> Wrap(std::shared_ptr<SectorProvider> source);
    // Puts the sector file in place after the report, whether it completed or
    // not. False when the file could not be written (told; no file is left).
    bool Finish();

private:
    void TellFailure(const std::exception_ptr& failure) const;

    std::string mPath;
    std::ostream& mConsole;
    std::shared_ptr<SectorCapture> mCapture;
};

}  // namespace Layscan
