// NetPaths.h - names of files on shares and what they are on this machine: the folder that this machine
// shares under the name, or the drive or folder that leads to the share. docs/linux.md tells where that is
// known from.
//
// What is known is found out at the first call and kept until the library is unloaded; shares and drives that
// come later stay unknown. Any thread; the first call, and one that has to find a host's address, may wait
// for the network. Where memory lacks, the answers are the names as they were given, or empty.
#pragma once

#include "frame/Export.h"
#include "frame/VXCString.h"

namespace vxcio {

// \\server\share\file to the local file; the name as given where none is known. No setting turns it off.
VXCSOFTCODECIO_API CVXCString UNC2Local(const wchar_t* path) noexcept;

// A local file to WORKGROUP\\server\share\file, or to Local\file where it is in no share or on a drive that
// is to stay local. Names that are not local come back as given.
VXCSOFTCODECIO_API CVXCString Local2UNC(const wchar_t* path) noexcept;

// One share. Texts of no content are empty, never null; they live only for the call.
struct NetPath {
    const wchar_t* nameUNC; // \\server\share; empty where the server is known by its address alone
    const wchar_t* ipUNC;   // \\1.2.3.4\share; empty where the address was not asked for yet
    const wchar_t* local;   // folder without a backslash at its end, or drive
};

// Calls `visit` for each share in the order in which names are compared with them, until it returns 0. The
// number of calls.
using NetPathVisitor = int (*)(void* context, const NetPath& path);
VXCSOFTCODECIO_API int VisitNetPaths(NetPathVisitor visit, void* context) noexcept;

// The same with the drives that are to stay local, as "D:\".
using SpecialDriveVisitor = int (*)(void* context, const wchar_t* drive);
VXCSOFTCODECIO_API int VisitSpecialDrives(SpecialDriveVisitor visit, void* context) noexcept;

} // namespace vxcio
