#pragma once
// Per-disk context handed to every report section: what the driver knows of
// the disk besides its sectors, gathered before the disk is reported.

#include <cstdint>

#include "SectorBuffer/Dev/DiskDevice.h"
#include "Utility/Layscan/Model/ExtentInfo.h"
#include "Utility/Layscan/Model/StorageAccessAlignmentDescriptor.h"

namespace nsLayout {

struct DiskInfo {
    uint16_t diskNumber = 0;  // 0 for a sector file or image
    uint32_t sectorSize = 0;  // logical sector size in bytes
    ExtentList extents;       // the OS volume extents that lie on this disk
    // A drive of the system, which its storage driver can be asked about;
    // false for a sector file or an image.
    bool isPhysicalDrive = false;
    // The disk's shape as its source reports it; a sector file or an image
    // file has the translation geometry. Its sector size is not used: the
    // sector source's is.
    DiskDeviceGeometry geometry = DiskImage::kTranslationGeometry;
    // What the storage driver says of a physical drive (Version 0: nothing).
    StorageAccessAlignmentDescriptor alignment;
    // -verify: the models read the few sectors the consistency checks need
    // and each disk's report ends with their section.
    bool verify = false;
    // -save: the sectors the consistency checks need are read as well, so
    // that the saved file can be verified as the disk could.
    bool saving = false;

    // Keeps, in list order, the extents on this disk, with this disk's sector size.
    static DiskInfo Make(uint16_t diskNumber, uint32_t sectorSize, const ExtentList& volumes,
                         bool isPhysicalDrive = false);
};

}  // namespace nsLayout
