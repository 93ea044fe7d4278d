// MountTable.h - what is mounted where, as the system lists it.
//
// Pure but for ReadMountTable; any thread may call. All may throw std::bad_alloc.
#pragma once

#include "frame/Types.h"

#include <string>
#include <string_view>
#include <vector>

namespace vxcio::sysu {

struct Mount {
    uint64 id;
    uint32 major; // device number of its files
    uint32 minor;
    std::string root;       // the folder of the file system that is shown
    std::string point;      // where it is shown
    std::string fileSystem; // "ext4", "fuse.sshfs"
    std::string source;     // "/dev/sda1", "//server/share", "server:/export"
};

// Reads text in the form of /proc/self/mountinfo; lines that are none are left out.
std::vector<Mount> ParseMountTable(std::string_view text);

// The mounts of this process in the order they were made; empty where the system does not tell.
std::vector<Mount> ReadMountTable();

// The remote folder of a CIFS or NFS mount as parts: server, share, folders. Empty for other mounts.
std::vector<std::string> RemoteParts(const Mount& mount);

// The mount whose remote folder holds the folder of `parts` (server, share, folders; case ignored): the
// deepest one, and of equal ones the last, which hides the others. Null when there is none; else
// `partsUsed` tells how many parts the mount point stands for.
const Mount* FindShareMount(const std::vector<Mount>& mounts, const std::vector<std::string>& parts,
                            std::size_t& partsUsed);

// What of a share a folder of this system is, as parts: server, share, folders. The folder is a whole path
// without links, which need not be there. Empty where it lies on no share, or where a part has a backslash,
// which would make two of it.
std::vector<std::string> RemoteFolder(const std::vector<Mount>& mounts, std::string_view folder);

// A share and the folder where it is mounted.
struct ShareMount {
    std::vector<std::string> parts; // server, share, folders; without backslashes
    std::string point;
};

// The mounted shares that can be seen, in the order of their mounts: the last of those on one folder.
std::vector<ShareMount> MountedShares(const std::vector<Mount>& mounts);

} // namespace vxcio::sysu
