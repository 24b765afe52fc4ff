#include "Utility/Layscan/Os/ExtentInfoWin.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <iostream>
#include <regex>

#include "Base/Dev/Result.h"
#include "Utility/Layscan/Os/OsVolumeList.h"
#include "support/GoldenFile.h"

using nsLayout::ExtentInfo;
using nsLayout::ExtentList;

namespace {

const wchar_t kKey[] = L"System\\CurrentControlSet\\Services\\VDS\\Alignment";

// Each "== NAME | TYPE | VALUE" line of tests/golden/vds-alignment.txt writes one value into the alignment
// key of the 64-bit registry view (made for the test and removed again), and is followed by the text the
// key gives then. TYPE is sz, expand, unterminated (a text without its final null), dword, qword (VALUE in
// decimal) or binary (VALUE's characters). A machine that already has the key keeps it: the test skips there.
TEST(ExtentInfoWin, VdsAlignmentTextListsTextValuesThenNumbers) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, KEY_READ | KEY_WOW64_64KEY, &key) == ERROR_SUCCESS) {
        RegCloseKey(key);
        GTEST_SKIP() << "the alignment key exists on this machine; left alone";
    }
    EXPECT_EQ(GetVdsAlignmentText(), L"");
    struct RemoveKey {
        ~RemoveKey() { RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kKey, KEY_WOW64_64KEY, 0); }
    } removeKey;
    ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr, &key,
                              nullptr),
              ERROR_SUCCESS);
    auto set = [&](const std::wstring& name, DWORD type, const void* data, size_t bytes) {
        EXPECT_EQ(RegSetValueExW(key, name.c_str(), 0, type, static_cast<const BYTE*>(data), DWORD(bytes)), ERROR_SUCCESS);
    };
    std::string text = Narrow(GetVdsAlignmentText());  // a key without values
    std::smatch row;
    for (const std::string& line : golden::Lines(golden::ReadFile(LAYSCAN_SOURCE_DIR "/tests/golden/vds-alignment.txt"))) {
        if (!std::regex_match(line, row, std::regex("== (.*?) ?\\| (\\w+) \\| ?(.*)"))) continue;
        const std::string kind = row[2], value = row[3];
        const std::wstring name = Widen(row[1]), wide = Widen(value);
        const uint64_t number = kind.ends_with("word") ? std::stoull(value) : 0;
        if (kind.ends_with("word")) set(name, kind == "dword" ? REG_DWORD : REG_QWORD, &number, kind == "dword" ? 4 : 8);
        else if (kind == "binary") set(name, REG_BINARY, value.data(), value.size());
        else set(name, kind == "expand" ? REG_EXPAND_SZ : REG_SZ, wide.c_str(),
                 (wide.size() + (kind != "unterminated")) * sizeof(wchar_t));
        text += line + "\n" + Narrow(GetVdsAlignmentText());
    }
    RegCloseKey(key);
    golden::ExpectMatches("vds-alignment.txt", text);
}

TEST(ExtentInfoWin, JoinsAVolumesMountPointsInListOrder) {
    const std::wstring c = L"\\\\?\\Volume{c}\\", d = L"\\\\?\\Volume{d}\\";
    const MountPointList mountPoints = {{L"C:\\", c}, {L"D:\\", d}, {L"C:\\mnt\\d\\", d}, {L"E:\\", d}};
    EXPECT_EQ(JoinMountPoints(mountPoints, c), L"C:\\");
    EXPECT_EQ(JoinMountPoints(mountPoints, d), L"D:\\, C:\\mnt\\d\\, E:\\");
    EXPECT_EQ(JoinMountPoints(mountPoints, L"\\\\?\\Volume{none}\\"), L"");
    EXPECT_EQ(JoinMountPoints({}, c), L"");
}

// Whatever volumes this system has, the enumeration completes and hands back
// well-formed records.
TEST(ExtentInfoWin, EnumeratesThisSystemsVolumes) {
    auto isVolumeGuidPath = [](const std::wstring& p) { return p.starts_with(L"\\\\?\\Volume{") && p.back() == L'\\'; };
    const MountPointList mountPoints = GetLogicalMountPoints();
    for (const MountPoint& m : mountPoints) {
        EXPECT_EQ(m.path.empty() ? L'?' : m.path.back(), L'\\') << m.path;
        EXPECT_TRUE(isVolumeGuidPath(m.volumeGuidPath)) << m.volumeGuidPath;
    }
    for (const MountPoint& letter : GetDriveLetterMountPoints()) EXPECT_EQ(letter.path.substr(1), L":\\");
    ExtentList volumes{ExtentInfo{}};
    const bool found = BuildOsVolumeList(volumes);
    EXPECT_EQ(found, !volumes.empty());
    for (const ExtentInfo& e : volumes) {
        EXPECT_TRUE(isVolumeGuidPath(e.volumeGuidPath)) << e.volumeGuidPath;
        EXPECT_EQ(e.volumePath, JoinMountPoints(mountPoints, e.volumeGuidPath));
        EXPECT_EQ(e.sectorSize, 0u);
    }
    std::cout << "[          ] " << mountPoints.size() << " mount points, " << volumes.size() << " volume extents\n";
}

}  // namespace

