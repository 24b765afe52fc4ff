#include "Utility/Layscan/Layscan.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>

#include "Base/Dev/AppConfig.h"
#include "Base/Dev/CommandLine.h"
#include "Base/Dev/MachineSummary.h"
#include "SectorBuffer/Dev/DiskSectorProvider.h"
#include "SectorBuffer/Dev/SectorFile.h"
#include "SectorBuffer/Dev/SimpleSectorBuffer.h"
#include "Utility/Layscan/Model/DiskConsistency.h"
#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Model/DiskConsistency.h"
#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Model/MbrDisk.h"
#include "Utility/Layscan/Os/AccessAlignment.h"
#include "Utility/Layscan/Os/DriveConsole.h"
#include "Utility/Layscan/Os/DriveList.h"
#include "Utility/Layscan/Os/OsVolumeList.h"
#include "Utility/Layscan/Os/Platform.h"
#include "Utility/Layscan/Report/JsonReport.h"
#include "Utility/Layscan/Report/ReportDisk.h"
#include "Utility/Layscan/Report/ReportStream.h"
#include "Utility/Layscan/Report/VolumesReportedByOs.h"

using nsLayout::DiskInfo;
using nsLayout::ExtentList;

namespace Layscan {

namespace {

const char* const kDefaultReportFile = "layscan.txt";
const char* const kAppName = "Layscan";

// Console texts of the run modes.
const char* const kAllDrivesStart = "Getting partition info from all drives \n";
const char* const kDriveStart = "Partition information for drive ";
const char* const kConnectFailed = "Error connecting to device ";
const char* const kConnectFailedOther = "Error: unable to connect to device ";
const char* const kReportFailed = "Error getting partition info:  ";
const char* const kSystemFailure = "System failure getting partitition info\n";
const char* const kOneDriveStart = "Getting partition information for  ";
const char* const kSectorFileFailed = "Error: unable to open sector file ";
const char* const kSectorFileStart = "Getting partition information from sector file ";
const char* const kImageFailed = "Error: unable to open image ";
const char* const kImageStart = "Getting partition information from image ";
const char* const kInvalidLine = "Error: Command line is not valid\n";
const char* const kCannotOpenOutput = "can't open output file";
const char* const kCannotOpenJson = "can't open JSON file";
// The -json path that means standard output.
const char* const kStandardOutput = "-";

// Where a failure that reached the entry point is recorded as coming from.
const wchar_t* const kEntrySource = L"Utility/Layscan/Layscan";
const wchar_t* const kEntryLine = L"1636";
const char* const kEntryFunction = "main";

// The shape the device reports; cylinder counts beyond 32 bits are held at the largest.
DiskDeviceGeometry GeometryOf(const DiskSectorProvider& provider) {
    DiskDeviceGeometry geometry = provider.GetGeometry();
    geometry.cylinders = std::min<uint64_t>(geometry.cylinders, std::numeric_limits<uint32_t>::max());
    return geometry;
}

// A physical drive's facts from the system: its volumes and, from its storage
// driver, its access alignment.
DiskInfo PhysicalDriveInfo(unsigned int number, const DiskSectorProvider& provider, const ExtentList& volumes) {
    DiskInfo info =
        DiskInfo::Make(static_cast<uint16_t>(number), provider.GetBytesPerSector(), volumes, true);
    info.geometry = GeometryOf(provider);
    QueryAccessAlignment(info.diskNumber, info.alignment);
    return info;
}

// The failure's own text, in narrow characters; false when it has none.
bool FailureText(const std::exception_ptr& failure, std::string& text) {
    try {
        std::rethrow_exception(failure);
    } catch (const Result& result) {
        text = Narrow(result.Message());
        return true;
    } catch (const std::exception& e) {
        text = e.what();
        return true;
    } catch (...) {
        return false;
    }
}

// A drive whose sector source could not be set up, with the failure's text.
void TellConnectFailure(std::ostream& console, const std::wstring& path, const std::string& text) {
    console << kConnectFailed << Narrow(path) << "\n\t" << text << std::endl;
}

// A shape as the document gives it: the source's sector size and count.
JsonGeometry JsonGeometryOf(const SectorProvider& source, const DiskDeviceGeometry& geometry) {
    return {source.GetBytesPerSector(), geometry.sectorsPerTrack, geometry.cylinders, geometry.tracksPerCylinder,
            source.GetSectorCount()};
}

// Reports one disk through a sector buffer over its source. A failure is told
// on the console and gives false; what the report already holds stays.
bool ReportSource(std::shared_ptr<SectorProvider> source, const DiskInfo& info, const std::string& path,
                  ReportStream& out, std::ostream& console, JsonReport* json) {
    if (json) {
        JsonDiskFacts facts;
        facts.number = info.diskNumber;
        facts.path = path;
        facts.reported = JsonGeometryOf(*source, info.geometry);
        facts.translation = JsonGeometryOf(*source, DiskImage::kTranslationGeometry);
        facts.accessAlignment = info.alignment;
        json->BeginDisk(facts);
    }
    try {
        SimpleSectorBuffer buffer(std::move(source));
        ReportDisk(buffer, info, out, json);
        if (json) json->EndDisk(nullptr);
        return true;
    } catch (...) {
        std::string text;
        if (FailureText(std::current_exception(), text)) {
            console << kReportFailed << text << std::endl;
        } else {
            console << kSystemFailure;
            text = kSystemFailure;
            text.pop_back();  // the line end is the console's
        }
        if (json) json->EndDisk(&text);
        return false;
    }
}

void WriteOsVolumes(const ExtentList& volumes, ReportStream& out, JsonReport* json) {
    DumpVolumesReportedByOs(volumes, out);
    if (json) json->WriteOsVolumes(volumes);
}

ExtentList OsVolumes() {
    ExtentList volumes;
    try {
        if (!BuildOsVolumeList(volumes)) volumes.clear();
    } catch (...) {
        volumes.clear();
    }
    return volumes;
}

int RunAllDrives(bool verify, ReportStream& out, std::ostream& console, JsonReport* json) {
    console << kAllDrivesStart;
    const ExtentList volumes = OsVolumes();
    for (const DriveSlot& drive : ListPhysicalDrives()) {
        std::shared_ptr<DiskSectorProvider> provider;
        try {
            provider = std::make_shared<DiskSectorProvider>(drive.path, true);
        } catch (...) {
            std::string text;
            if (FailureText(std::current_exception(), text))
                TellConnectFailure(console, drive.path, text);
            else
                console << kSystemFailure;
            continue;
        }
        console << kDriveStart << drive.number << DriveConsoleSuffix(drive.path) << "\n";
        DiskInfo info = PhysicalDriveInfo(drive.number, *provider, volumes);
        info.verify = verify;
        ReportSource(std::move(provider), info, Narrow(drive.path), out, console, json);
    }
    WriteOsVolumes(volumes, out, json);
    return 0;
}

int RunOneDrive(const std::string& typed, bool verify, ReportStream& out, std::ostream& console, JsonReport* json) {
    const ExtentList volumes = OsVolumes();
    const std::wstring path = PhysicalDrivePath(Widen(typed));
    unsigned int number = 0;
    std::from_chars(typed.data(), typed.data() + typed.size(), number);  // checked when parsed
    std::shared_ptr<DiskSectorProvider> provider;
    try {
        provider = std::make_shared<DiskSectorProvider>(path, true);
    } catch (...) {
        std::string text;
        if (FailureText(std::current_exception(), text))
            TellConnectFailure(console, path, text);
        else
            console << kConnectFailedOther << std::endl;
        return 1;
    }
    console << kOneDriveStart << Narrow(path) << "\n";
    DiskInfo info = PhysicalDriveInfo(number, *provider, volumes);
    info.verify = verify;
    if (!ReportSource(std::move(provider), info, Narrow(path), out, console, json)) return 1;
    WriteOsVolumes(volumes, out, json);
    return 0;
}

int RunSectorFile(const std::string& path, bool verify, ReportStream& out, std::ostream& console,
                  JsonReport* json) {
    std::shared_ptr<SectorFile> file;
    try {
        file = std::make_shared<SectorFile>(Widen(path), true);
    } catch (...) {
        console << kSectorFileFailed << path << "\n";
        return 1;
    }
    console << kSectorFileStart << path << "\n";
    const ExtentList none;
    DiskInfo info = DiskInfo::Make(0, file->GetBytesPerSector(), none);
    info.verify = verify;
    if (!ReportSource(std::move(file), info, path, out, console, json)) return 1;
    WriteOsVolumes(none, out, json);
    return 0;
}

int RunImage(const std::string& path, uint32_t sectorSize, bool verify, ReportStream& out, std::ostream& console,
             JsonReport* json) {
    std::shared_ptr<DiskSectorProvider> image;
    try {
        image = std::make_shared<DiskSectorProvider>(Widen(path), true, sectorSize);
    } catch (...) {
        console << kImageFailed << path << "\n";
        return 1;
    }
    console << kImageStart << path << "\n";
    // A block device has a geometry of its own; an image file is read in the
    // translation geometry, so that its report depends on nothing but the file.
    std::error_code ec;
    const ExtentList none;
    DiskInfo info = DiskInfo::Make(0, image->GetBytesPerSector(), none);
    info.verify = verify;
    if (std::filesystem::is_block_file(std::filesystem::path(path), ec)) info.geometry = GeometryOf(*image);
    if (!ReportSource(std::move(image), info, path, out, console, json)) return 1;
    WriteOsVolumes(none, out, json);
    return 0;
}

const char* ModeName(RunMode mode) {
    switch (mode) {
        case RunMode::AllDrives:
            return "allDrives";
        case RunMode::OneDrive:
            return "oneDrive";
        case RunMode::SectorFile:
            return "sectorFile";
        case RunMode::Image:
            break;
    }
    return "image";
}

JsonRunFacts RunFactsOf(const Config::AppConfig& config, RunMode mode, const std::string& reportPath,
                        bool reportOpened) {
    JsonRunFacts run;
#ifdef LAYSCAN_VERSION
    run.version = LAYSCAN_VERSION;
#endif
    run.platform = PlatformName();
    run.mode = ModeName(mode);
    for (const char* option : {kAll, kDevice, kFile, kImage, kSectorSize})
        if (config.IsGiven(option)) run.inputs.emplace_back(option, option == kAll ? "" : config.Get(option));
    run.verify = config.IsGiven(kVerify);
    run.reportPath = reportPath;
    run.reportOpened = reportOpened;
    return run;
}

void SetApplicationIdentity(Config::AppConfig& config) {
    config.Set(Config::CommandLine::kAppName, kAppName);
#ifdef LAYSCAN_VERSION
    config.Set(Config::CommandLine::kAppVersion, LAYSCAN_VERSION);
#endif
}

}  // namespace

void ReportDisk(SectorProvider& sectors, const DiskInfo& info, ReportStream& out, JsonReport* json) {
    // A disk without sectors has no sector 0 for either recogniser to read.
    if (sectors.GetSectorCount() == 0) return;
    // What the recognisers read, the model goes on from.
    nsLayout::SectorCopies copies(sectors.GetBytesPerSector(), sectors.GetSectorCount());
    // Asked first, so a disk both would take is reported as an MBR disk.
    if (nsLayout::IsMbr(sectors, copies)) {
        const Geometry reported(sectors.GetBytesPerSector(), info.geometry.sectorsPerTrack, info.geometry.cylinders,
                                info.geometry.tracksPerCylinder, sectors.GetSectorCount());
        const nsLayout::MbrDisk disk(sectors, reported, std::move(copies));
        ReportMbrDisk(disk, info, out, json, [&] { return CheckConsistency(MbrDiskFactsOf(disk, sectors)); });
    } else if (nsLayout::IsGpt(sectors, copies)) {
        const nsLayout::GptDisk disk(sectors, std::move(copies));
        ReportGptDisk(disk, info, out, json, [&] { return CheckConsistency(GptDiskFactsOf(disk, sectors)); });
    }
}

void DefineOptions(Config::CommandLine& line) {
    line.Define(kAll, "", L"Dump all layout information for all drives on machine");
    line.Define(kDevice, "device number", L"The device is specified as the physical device number starting with 0.",
                std::make_shared<Config::IsTypeValidator<unsigned int>>());
    line.Define(kFile, "file path", L"Path to sector file to be read",
                std::make_shared<Config::IsExistingFileValidator>());
    line.Define(kOut, "file path", L"Path to output file to be written",
                std::make_shared<Config::IsValidFileNameValidator>());
    line.Define(kImage, "image path", L"Path to a raw disk image or device to be read",
                std::make_shared<Config::IsExistingFileValidator>());
    line.Define(kSectorSize, "sector size", L"Sector size of the image in bytes (512 to 32768)",
                std::make_shared<Config::IsSectorSizeValidator>());
    line.Define(kVerify, "", L"Add each disk's consistency checks to its report");
    line.Define(kJson, "file path", L"Path to JSON document to be written beside the report (- for standard output)",
                std::make_shared<Config::IsValidFileNameValidator>());
}

bool IsAllByDefault(const Config::AppConfig& config) {
    return !config.IsGiven(kAll) && !config.IsGiven(kDevice) && !config.IsGiven(kFile) && !config.IsGiven(kImage);
}

RunMode SelectRunMode(const Config::AppConfig& config, bool allByDefault) {
    if (config.IsGiven(kAll) || allByDefault) return RunMode::AllDrives;
    if (config.IsGiven(kDevice)) return RunMode::OneDrive;
    if (config.IsGiven(kFile)) return RunMode::SectorFile;
    // Not all by default: one of the four was given, and only -image is left.
    return RunMode::Image;
}

void WriteReportHead(ReportStream& out) {
    out << GetMachineSummaryText() << std::endl << std::endl << std::endl;
    out << GetVdsAlignmentText() << std::endl;
    out.flush();
}

int RunReport(const Config::AppConfig& config, bool allByDefault, ReportStream& out, std::ostream& console,
              JsonReport* json) {
    const bool verify = config.IsGiven(kVerify);
    const RunMode mode = SelectRunMode(config, allByDefault);
    if (mode == RunMode::AllDrives) return RunAllDrives(verify, out, console, json);
    if (mode == RunMode::OneDrive) return RunOneDrive(config.Get(kDevice), verify, out, console, json);
    if (mode == RunMode::SectorFile) return RunSectorFile(config.Get(kFile), verify, out, console, json);
    unsigned int sectorSize = 0;  // 0: the image decides
    const std::string typed = config.Get(kSectorSize);
    std::from_chars(typed.data(), typed.data() + typed.size(), sectorSize);
    return RunImage(config.Get(kImage), sectorSize, verify, out, console, json);
}

int RunLayscan(int argc, const char* const* argv, std::ostream& console, std::ostream& errors) {
    try {
        Config::AppConfig config;
        SetApplicationIdentity(config);
        Config::CommandLine line(config, console);
        DefineOptions(line);
        line.RegisterInternalUseOnly();
        const bool valid = line.Parse(argc, argv);
        if (line.HelpRequested()) {
            console << Narrow(line.HelpText()) << std::endl;
            return 0;
        }
        if (!valid) {
            console << kInvalidLine;
            console << Narrow(line.ErrorText()) << std::endl;
            console << Narrow(line.UsageText()) << std::endl;
            return 1;
        }
        const std::string reportPath = config.IsGiven(kOut) ? config.Get(kOut) : kDefaultReportFile;
        // A report file that cannot be opened does not stop the run: the
        // console still tells what was found, and the report is lost.
        ReportStream report(reportPath);
        if (report.fail()) errors << kCannotOpenOutput << std::endl;
        const bool allByDefault = IsAllByDefault(config);
        const RunMode mode = SelectRunMode(config, allByDefault);
        // A document on standard output has it to itself: the console lines
        // move to the error stream.
        std::ostream* document = nullptr;
        std::ofstream documentFile;
        std::ostream* progress = &console;
        if (config.IsGiven(kJson)) {
            if (config.Get(kJson) == kStandardOutput) {
                SetStandardOutputBinary();
                document = &console;
                progress = &errors;
            } else {
                documentFile.open(config.Get(kJson), std::ios::binary | std::ios::trunc);
                if (documentFile) document = &documentFile;
                else errors << kCannotOpenJson << std::endl;
            }
        }
        std::unique_ptr<JsonReport> json;
        if (document)
            json = std::make_unique<JsonReport>(*document, RunFactsOf(config, mode, reportPath, !report.fail()));
        if (mode == RunMode::AllDrives || mode == RunMode::OneDrive) WriteReportHead(report);
        const int code = RunReport(config, allByDefault, report, *progress, json.get());
        report.Close();
        if (json) {
            json->Finish(code);
            document->flush();
        }
        return code;
    } catch (...) {
        return ExitCodeOf(EntryFailure(std::current_exception()));
    }
}

Result EntryFailure(const std::exception_ptr& failure) {
    uint32_t code = 0xEBAB00CC;
    try {
        std::rethrow_exception(failure);
    } catch (const std::bad_alloc&) {
        code = 0xEBAB03F8;
    } catch (const std::logic_error&) {
        code = 0xEBAB03F9;
    } catch (const std::runtime_error&) {
        code = 0xEBAB03FA;
    } catch (const std::exception&) {
        code = 0xEBAB0013;
    } catch (...) {
    }
    return Result(code, {kEntrySource, kEntryLine}, kEntryFunction);
}

int ExitCodeOf(const Result& failure) { return failure.IsFailure() ? 1 : 0; }

}  // namespace Layscan
