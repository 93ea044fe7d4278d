// What lies under a name: drive types and the needs of unbuffered transfers.
#include "frame/SystemLayer.h"
#include "sysu/HostControl.h"
#include "sysu/LastError.h"
#include "sysu/posix/DirectNeeds.h"
#include "sysu/posix/FileObject.h"
#include "sysu/posix/MountTable.h"
#include "sysu/posix/NativeName.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/vfs.h>

using namespace vxcio;
using namespace vxcio::sysu;

namespace {

bool IsMissing(int error) {
    return error == ENOENT || error == ENOTDIR || error == EACCES || error == ENAMETOOLONG || error == ELOOP;
}

// The facts of the name or of the nearest folder above it that can be asked, which `path` becomes; of a
// drive or share, not above its own folder. 0 or the system's error.
int ReadNearestFacts(std::string& path, std::size_t rootLength, FileFacts* facts) {
    for (;;) {
        const int error = ReadFileFacts(AT_FDCWD, path, facts);
        if (error == 0 || !IsMissing(error) || path.size() <= rootLength || path == "/" || path == ".") {
            return error;
        }
        const std::size_t last = path.find_last_not_of('/');
        const std::size_t slash = last == std::string::npos ? 0 : path.rfind('/', last);
        if (slash == std::string::npos) {
            path = ".";
        } else {
            path.resize(std::max({slash, rootLength, std::size_t{1}}));
        }
    }
}

std::string FileSystemName(const std::string& path, const FileFacts& facts) {
    if (facts.isBlockDevice) {
        return "?"; // it lies on one, but is none
    }
    const std::vector<Mount> mounts = ReadMountTable();
    const auto found = std::find_if(mounts.rbegin(), mounts.rend(), [&](const Mount& mount) {
        return facts.mountId != 0 ? mount.id == facts.mountId
                                  : mount.major == facts.major && mount.minor == facts.minor;
    });
    if (found != mounts.rend()) {
        return found->fileSystem;
    }
    struct statfs record {};
    const bool isKnown = ::statfs(path.c_str(), &record) == 0;
    return isKnown ? FileSystemOfMagic(static_cast<uint64>(record.f_type) & 0xFFFFFFFFu) : "?";
}

// 1, or 0 with the last error and *facts zeroed; the drive type of a failure is told all the same.
int Query(const wchar_t* name, DiskFacts* facts) {
    *facts = {};
    facts->driveType = VXC_DRIVE_NO_ROOT_DIR;
    NativeName native = ToNativeName(name);
    if (native.error != 0) {
        SetLastError(native.error);
        return 0;
    }
    FileFacts file;
    if (const int error = ReadNearestFacts(native.path, native.rootLength, &file)) {
        facts->driveType = IsMissing(error) ? VXC_DRIVE_NO_ROOT_DIR : VXC_DRIVE_UNKNOWN;
        SetNameError(error, native.path);
        return 0;
    }
    const BlockDevice device = DeviceOf(file);
    const std::string fileSystem = FileSystemName(native.path, file);
    facts->driveType = DriveTypeOf(fileSystem, device);
    facts->directMemory = file.directMemory;
    facts->directOffset = file.directOffset;
    if (file.directOffset != 0) {
        facts->sectorSize = file.directOffset;
    } else if (IsOnLocalDisk(fileSystem)) {
        facts->sectorSize = device.sectorSize;
    }
    fileSystem.copy(facts->fileSystem, sizeof facts->fileSystem - 1);
    return 1;
}

} // namespace

int vxcio::QueryDisk(const wchar_t* name, DiskFacts* facts) noexcept {
    if (facts == nullptr) {
        SetLastError(VXC_ERROR_INVALID_PARAMETER);
        return 0;
    }
    int result = 0;
    try {
        result = Query(name, facts);
    } catch (...) {
        SetLastError(VXC_ERROR_NOT_ENOUGH_MEMORY);
    }
    if (result == 0) {
        *facts = {};
    }
    return result;
}

uint32 VXC_GetDriveTypeW(const wchar_t* root) noexcept {
    try {
        DiskFacts facts{};
        Query(root, &facts);
        return facts.driveType;
    } catch (...) {
        SetLastError(VXC_ERROR_NOT_ENOUGH_MEMORY);
        return VXC_DRIVE_UNKNOWN;
    }
}
