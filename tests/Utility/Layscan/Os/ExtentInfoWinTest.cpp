#include "Utility/Layscan/Os/ExtentInfoWin.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <iostream>

#include "Utility/Layscan/Os/OsVolumeList.h"

using nsLayout::ExtentInfo;
using nsLayout::ExtentList;

namespace {

const wchar_t kKey[] = L"System\\CurrentControlSet\\Services\\VDS\\Alignment";
const wchar_t kHeading[] = L"Registry Key: System/CurrentControlSet/Services/VDS/Alignment\n";

// Writes the alignment key of the 64-bit registry view and removes it again.
// A machine that already has the key keeps it: the test skips there.
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
    auto set = [&](const wchar_t* name, DWORD type, const void* data, DWORD bytes) {
        EXPECT_EQ(RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), bytes), ERROR_SUCCESS);
    };
    auto number = [&](const wchar_t* name, DWORD value) { set(name, REG_DWORD, &value, sizeof value); };
    auto text = [&](const wchar_t* name, const std::wstring& value, DWORD type = REG_SZ) {
        set(name, type, value.c_str(), DWORD((value.size() + 1) * sizeof(wchar_t)));
    };
    const unsigned char blob[] = {1, 2, 3};
    const unsigned long long wide = 5;
    const wchar_t unterminated[] = {L'4', L'K'};
    EXPECT_EQ(GetVdsAlignmentText(), L"");  // a key without values
    // Values without a name or of other types are not listed.
    text(L"", L"the default value has no name");
    set(L"Blob", REG_BINARY, blob, sizeof blob);
    text(L"Expand", L"%SystemRoot%", REG_EXPAND_SZ);
    set(L"Wide", REG_QWORD, &wide, sizeof wide);
    EXPECT_EQ(GetVdsAlignmentText(), L"");
    // Created in name order, so that creation order and the registry's own
    // enumeration order agree whichever the registry uses.
    number(L"Between4_8GB", 1048576);
    number(L"BetweenAVeryLongNameOfMoreThan20", 0xFFFFFFFF);
    number(L"C", 0);
    text(L"Description", L"Alignment for 1 MB");
    number(L"LessThan4GB", 65536);
    text(L"Note", L"");
    set(L"Unit", REG_SZ, unterminated, sizeof unterminated);  // keeps all its characters
    EXPECT_EQ(GetVdsAlignmentText(), std::wstring(kHeading) +
                                         L"     Name:  Description     Value: Alignment for 1 MB\n"
                                         L"     Name:  Note     Value: \n"
                                         L"     Name:  Unit     Value: 4K\n"
                                         L"     Between4_8GB         0x00100000  (1048576)\n"
                                         L"     BetweenAVeryLongNameOfMoreThan20 0xFFFFFFFF  (4294967295)\n"
                                         L"     C                    0x00000000  (0)\n"
                                         L"     LessThan4GB          0x00010000  (65536)\n");
    RegCloseKey(key);
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

