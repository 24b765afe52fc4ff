#include "Utility/Layscan/ExtentInfoWin.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <iostream>
#include <string>
#include <vector>

#include "Utility/Layscan/ExtentInfo.h"

namespace {

const wchar_t kKey[] = L"System\\CurrentControlSet\\Services\\VDS\\Alignment";
const wchar_t kHeading[] = L"Registry Key: System/CurrentControlSet/Services/VDS/Alignment\n";

// Writes the alignment key of the 64-bit registry view and removes it again.
// A machine that already has the key keeps it: the tests skip there.
class VdsAlignmentKey : public ::testing::Test {
protected:
    void SetUp() override {
        HKEY existing = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, KEY_READ | KEY_WOW64_64KEY, &existing) == ERROR_SUCCESS) {
            RegCloseKey(existing);
            GTEST_SKIP() << "the alignment key exists on this machine; left alone";
        }
        mOwned = true;
    }
    void TearDown() override {
        if (mKey) RegCloseKey(mKey);
        if (mOwned) RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kKey, KEY_WOW64_64KEY, 0);
    }

    void Create() {
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr,
                                  &mKey, nullptr),
                  ERROR_SUCCESS);
    }
    void Set(const wchar_t* name, DWORD type, const void* data, DWORD bytes) {
        ASSERT_EQ(RegSetValueExW(mKey, name, 0, type, static_cast<const BYTE*>(data), bytes), ERROR_SUCCESS);
    }
    void SetNumber(const wchar_t* name, DWORD value) { Set(name, REG_DWORD, &value, sizeof value); }
    void SetText(const wchar_t* name, const std::wstring& text, DWORD type = REG_SZ) {
        Set(name, type, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }

    HKEY mKey = nullptr;
    bool mOwned = false;
};

TEST_F(VdsAlignmentKey, AbsentKeyOrKeyWithoutUsableValuesGivesNoText) {
    EXPECT_EQ(GetVdsAlignmentText(), L"");
    Create();
    EXPECT_EQ(GetVdsAlignmentText(), L"");
    SetText(L"", L"the default value has no name");
    const unsigned char blob[] = {1, 2, 3};
    Set(L"Blob", REG_BINARY, blob, sizeof blob);
    SetText(L"Expand", L"%SystemRoot%", REG_EXPAND_SZ);
    const unsigned long long wide = 5;
    Set(L"Wide", REG_QWORD, &wide, sizeof wide);
    EXPECT_EQ(GetVdsAlignmentText(), L"");
}

TEST_F(VdsAlignmentKey, TextLinesComeBeforeNumberLines) {
    Create();
    // Created in name order, so that creation order and the registry's own
    // enumeration order agree whichever the registry uses.
    SetText(L"", L"unnamed");
    SetNumber(L"Between4_8GB", 1048576);
    SetNumber(L"BetweenAVeryLongNameOfMoreThan20", 0xFFFFFFFF);
    SetNumber(L"C", 0);
    const unsigned char blob[] = {1};
    Set(L"Data", REG_BINARY, blob, sizeof blob);
    SetText(L"Description", L"Alignment for 1 MB");
    SetNumber(L"LessThan4GB", 65536);
    SetText(L"Note", L"");
    EXPECT_EQ(GetVdsAlignmentText(), std::wstring(kHeading) +
                                         L"     Name:  Description     Value: Alignment for 1 MB\n"
                                         L"     Name:  Note     Value: \n"
                                         L"     Between4_8GB         0x00100000  (1048576)\n"
                                         L"     BetweenAVeryLongNameOfMoreThan20 0xFFFFFFFF  (4294967295)\n"
                                         L"     C                    0x00000000  (0)\n"
                                         L"     LessThan4GB          0x00010000  (65536)\n");
}

TEST_F(VdsAlignmentKey, StringWithoutTerminatorKeepsAllItsCharacters) {
    Create();
    const wchar_t text[] = {L'4', L'K'};
    Set(L"Unit", REG_SZ, text, sizeof text);
    EXPECT_EQ(GetVdsAlignmentText(), std::wstring(kHeading) + L"     Name:  Unit     Value: 4K\n");
}

TEST(ExtentInfoWin, JoinsAVolumesMountPointsInListOrder) {
    const std::wstring c = L"\\\\?\\Volume{c}\\";
    const std::wstring d = L"\\\\?\\Volume{d}\\";
    const MountPointList mountPoints = {{L"C:\\", c}, {L"D:\\", d}, {L"C:\\mnt\\d\\", d}, {L"E:\\", d}};
    EXPECT_EQ(JoinMountPoints(mountPoints, c), L"C:\\");
    EXPECT_EQ(JoinMountPoints(mountPoints, d), L"D:\\, C:\\mnt\\d\\, E:\\");
    EXPECT_EQ(JoinMountPoints(mountPoints, L"\\\\?\\Volume{none}\\"), L"");
    EXPECT_EQ(JoinMountPoints({}, c), L"");
}

bool IsVolumeGuidPath(const std::wstring& path) {
    return path.rfind(L"\\\\?\\Volume{", 0) == 0 && path.back() == L'\\';
}

// Whatever volumes this system has, the enumeration completes and hands back
// well-formed records.
TEST(ExtentInfoWin, EnumeratesThisSystemsVolumes) {
    const MountPointList mountPoints = GetLogicalMountPoints();
    for (const MountPoint& m : mountPoints) {
        EXPECT_FALSE(m.path.empty());
        EXPECT_EQ(m.path.back(), L'\\') << m.path;
        EXPECT_TRUE(IsVolumeGuidPath(m.volumeGuidPath)) << m.volumeGuidPath;
    }
    for (const MountPoint& letter : GetDriveLetterMountPoints()) {
        EXPECT_EQ(letter.path.size(), 3u) << letter.path;
        EXPECT_EQ(letter.path.substr(1), L":\\");
    }

    ExtentList volumes{ExtentInfo{}};
    const bool found = BuildOsVolumeList(volumes);
    if (!found) {
        EXPECT_TRUE(volumes.empty());
    }
    for (const ExtentInfo& e : volumes) {
        EXPECT_TRUE(IsVolumeGuidPath(e.volumeGuidPath)) << e.volumeGuidPath;
        EXPECT_EQ(e.volumePath, JoinMountPoints(mountPoints, e.volumeGuidPath));
        EXPECT_EQ(e.sectorSize, 0u);
    }
    std::cout << "[          ] " << mountPoints.size() << " mount points, " << volumes.size()
              << " volume extents" << (found ? "" : ", no fixed volume") << "\n";
}

}  // namespace
