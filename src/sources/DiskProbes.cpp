#include "sources/DiskProbes.h"

#include "frame/Log.h"
#include "frame/TransferDefaults.h"
#include "frame/VXCString.h"
#include "paths/PathTests.h"
#include "platform/DiskQueries.h"

using namespace vxcio;

uint32 GetDiskSectorSize(const wchar_t* path) {
    const CVXCString name(path);
    LogTrace(L"GetDiskSectorSize(%s)--1", name.c_str());
    const CVXCString root = name.Left(DiskQueries().rootLength(name));
    uint32 sectorSize = 0;
    if (DiskQueries().getDiskFreeSpace(root, &sectorSize) == 0) {
        LogError(L"%s", L"GetDiskSectorSize()--::GetDiskFreeSpace() return FALSE!!");
        sectorSize = kDefaultSectorSize;
    } else if (sectorSize == 0) {
        LogError(L"GetDiskSectorSize()-- BytesPerSector = %d(Get from ::GetDiskFreeSpace()), Change to 512",
                 sectorSize);
        sectorSize = kDefaultSectorSize;
    }
    LogTrace(L"GetDiskSectorSize(%s)--SectorSize is %d --2", root.c_str(), sectorSize);
    return sectorSize;
}

uint32 GetDiskDriveType(const wchar_t* path) {
    const CVXCString name(path);
    const CVXCString root =
        IsUncPath(name) ? name.Left(name.ReverseFind(L'\\') + 1) : name.Left(DiskQueries().rootLength(name));
    return DiskQueries().getDriveType(root);
}
