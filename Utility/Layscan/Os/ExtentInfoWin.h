#pragma once
// Windows: the mount points behind the OS volume list. Drive letters come
// from the logical drive strings, folder mount points from each fixed
// volume's mount-point enumeration.

#include <string>
#include <vector>

struct MountPoint {
    std::wstring path;            // "C:\" or "C:\mnt\data\"
    std::wstring volumeGuidPath;  // "\\?\Volume{...}\" of the volume mounted there
};

using MountPointList = std::vector<MountPoint>;

// Every drive letter that names a volume, in the order the system lists them.
MountPointList GetDriveLetterMountPoints();
// Drive letters, then the folder mount points found on every fixed volume.
// A folder mount point is named through its host volume's first mount point;
// a host volume without one fails the check "i != mountPoints.end()".
MountPointList GetLogicalMountPoints();
// The mount points of one volume joined with ", ", empty when it has none.
std::wstring JoinMountPoints(const MountPointList& mountPoints, const std::wstring& volumeGuidPath);
