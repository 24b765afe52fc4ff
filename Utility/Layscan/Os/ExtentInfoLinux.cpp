#include "Utility/Layscan/Os/ExtentInfoLinux.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "Base/Dev/Result.h"

using nsLayout::ExtentInfo;
using nsLayout::ExtentList;

namespace {

namespace fs = std::filesystem;

// sysfs gives partition start and size in 512-byte units whatever the
// drive's logical sector size.
constexpr uint64_t kSysfsUnitBytes = 512;
// For an extended entry of an MBR the kernel makes a device of 1 KiB (two
// units) so that tools can reach the entry; it is no volume. No real
// partition is that small, so size decides.
constexpr uint64_t kExtendedStubUnits = 2;
constexpr wchar_t kMountPointSeparator[] = L", ";

std::string ReadFirstLine(const fs::path& file) {
    std::ifstream in(file);
    std::string line;
    if (!in || !std::getline(in, line)) return {};
    while (!line.empty() && (line.back() == ' ' || line.back() == '\t' || line.back() == '\r')) line.pop_back();
    return line;
}

std::optional<uint64_t> ReadNumber(const fs::path& file) {
    const std::string text = ReadFirstLine(file);
    uint64_t value = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

// The kernel writes blank, tab, line end and backslash in mount table fields
// as a backslash and three octal digits.
std::string DecodeMountField(std::string_view field) {
    std::string decoded;
    decoded.reserve(field.size());
    for (size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && field.size() - i >= 4) {
            const std::string_view digits = field.substr(i + 1, 3);
            if (std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '7'; })) {
                decoded.push_back(static_cast<char>(((digits[0] - '0') << 6) | ((digits[1] - '0') << 3) |
                                                    (digits[2] - '0')));
                i += 3;
                continue;
            }
        }
        decoded.push_back(field[i]);
    }
    return decoded;
}

std::vector<std::string_view> SplitFields(std::string_view line) {
    std::vector<std::string_view> fields;
    size_t pos = 0;
    while (pos < line.size()) {
        const size_t next = line.find(' ', pos);
        const size_t end = next == std::string_view::npos ? line.size() : next;
        if (end > pos) fields.push_back(line.substr(pos, end - pos));
        pos = end + 1;
    }
    return fields;
}

// Mount points of whole file systems (root "/" within the file system), by
// device number and by mount source, in mount table order. Bind mounts of a
// folder inside a file system are not mount points of the volume.
class MountTable {
public:
    explicit MountTable(const std::string& path) {
        std::ifstream in(path);
        std::string line;
        while (std::getline(in, line)) Add(line);
    }

    std::vector<std::string> MountPointsOf(const std::string& majorMinor,
                                           const std::vector<std::string>& sources) const {
        std::vector<size_t> hits;
        Collect(mByDevice, majorMinor, hits);
        for (const std::string& source : sources) Collect(mBySource, source, hits);
        std::sort(hits.begin(), hits.end());
        std::vector<std::string> points;
        std::unordered_set<std::string> seen;
        for (const size_t hit : hits)
            if (seen.insert(mMountPoints[hit]).second) points.push_back(mMountPoints[hit]);
        return points;
    }

private:
    using Index = std::unordered_map<std::string, std::vector<size_t>>;

    // id parent major:minor root mount-point options [optional...] - fstype source super-options
    void Add(std::string_view line) {
        const std::vector<std::string_view> fields = SplitFields(line);
        if (fields.size() < 6) return;
        size_t dash = 6;
        while (dash < fields.size() && fields[dash] != "-") ++dash;
        if (dash + 2 >= fields.size()) return;
        if (DecodeMountField(fields[3]) != "/") return;
        const size_t index = mMountPoints.size();
        mMountPoints.push_back(DecodeMountField(fields[4]));
        mByDevice[std::string(fields[2])].push_back(index);
        mBySource[DecodeMountField(fields[dash + 2])].push_back(index);
    }

    static void Collect(const Index& index, const std::string& key, std::vector<size_t>& hits) {
        if (key.empty()) return;
        const auto i = index.find(key);
        if (i != index.end()) hits.insert(hits.end(), i->second.begin(), i->second.end());
    }

    std::vector<std::string> mMountPoints;
    Index mByDevice;
    Index mBySource;
};

struct BlockDevice {
    uint64_t number = 0;  // partition number; orders a drive's partitions
    std::string name;     // sda1
};

// The partitions of a drive as sysfs lists them: sub-folders with a
// "partition" file, ordered by partition number.
std::vector<BlockDevice> ListPartitions(const fs::path& diskDir) {
    std::vector<BlockDevice> partitions;
    std::error_code ec;
    for (fs::directory_iterator it(diskDir, ec), end; !ec && it != end; it.increment(ec)) {
        std::error_code typeError;
        if (!it->is_directory(typeError)) continue;
        const std::optional<uint64_t> number = ReadNumber(it->path() / "partition");
        if (!number) continue;
        partitions.push_back({*number, it->path().filename().string()});
    }
    std::sort(partitions.begin(), partitions.end(), [](const BlockDevice& a, const BlockDevice& b) {
        return a.number != b.number ? a.number < b.number : a.name < b.name;
    });
    return partitions;
}

std::optional<uint64_t> UnitsToBytes(std::optional<uint64_t> units) {
    if (!units || *units > std::numeric_limits<uint64_t>::max() / kSysfsUnitBytes) return std::nullopt;
    return *units * kSysfsUnitBytes;
}

std::wstring JoinMountPoints(const std::vector<std::string>& points) {
    std::wstring joined;
    for (const std::string& point : points) {
        if (!joined.empty()) joined += kMountPointSeparator;
        joined += Widen(point);
    }
    return joined;
}

class VolumeCollector {
public:
    VolumeCollector(const OsVolumeSources& sources, ExtentList& volumes)
        : mSources(sources), mMounts(sources.mountInfoPath), mVolumes(volumes) {}

    void AddDrive(const DriveSlot& drive) {
        const std::string path = Narrow(drive.path);
        const std::string name = path.substr(path.find_last_of('/') + 1);
        if (name.empty()) return;
        const fs::path diskDir = fs::path(mSources.sysRoot) / "block" / name;
        if (ReadFirstLine(diskDir / "removable") == "1") return;

        const std::vector<BlockDevice> partitions = ListPartitions(diskDir);
        for (const BlockDevice& partition : partitions) {
            const fs::path dir = diskDir / partition.name;
            const std::optional<uint64_t> sizeUnits = ReadNumber(dir / "size");
            if (!sizeUnits || *sizeUnits <= kExtendedStubUnits) continue;
            const std::optional<uint64_t> start = UnitsToBytes(ReadNumber(dir / "start"));
            const std::optional<uint64_t> length = UnitsToBytes(sizeUnits);
            if (!start || !length) continue;
            Add(drive.number, *start, *length, dir, partition.name, false);
        }
        if (partitions.empty()) {
            // A file system made on the whole drive: one extent covering it, when mounted.
            const std::optional<uint64_t> length = UnitsToBytes(ReadNumber(diskDir / "size"));
            if (length && *length > 0) Add(drive.number, 0, *length, diskDir, name, true);
        }
    }

private:
    void Add(unsigned diskNumber, uint64_t start, uint64_t length, const fs::path& sysDir,
             const std::string& name, bool onlyWhenMounted) {
        const std::string devicePath = mSources.devRoot + "/" + name;
        const std::vector<std::string> points =
            mMounts.MountPointsOf(ReadFirstLine(sysDir / "dev"), {devicePath, "/dev/" + name});
        if (onlyWhenMounted && points.empty()) return;
        ExtentInfo extent;
        extent.diskNumber = diskNumber;
        extent.startingOffset = start;
        extent.extentLength = length;
        extent.volumeGuidPath = Widen(devicePath);
        extent.volumePath = JoinMountPoints(points);
        mVolumes.push_back(std::move(extent));
    }

    const OsVolumeSources& mSources;
    MountTable mMounts;
    ExtentList& mVolumes;
};

}  // namespace

bool BuildOsVolumeList(const std::vector<DriveSlot>& drives, const OsVolumeSources& sources,
                       ExtentList& volumes) {
    volumes.clear();
    VolumeCollector collector(sources, volumes);
    for (const DriveSlot& drive : drives) collector.AddDrive(drive);
    return !volumes.empty();
}

bool BuildOsVolumeList(ExtentList& volumes) {
    const OsVolumeSources live;
    return BuildOsVolumeList(ListBlockDrives(live.sysRoot + "/block", live.devRoot), live, volumes);
}

// The volume service's alignment settings live in the Windows registry only.
std::wstring GetVdsAlignmentText() { return {}; }
