// PlatformTypes.h - the system types that cross the interface of the system layer.
//
// They keep the meaning of the like-named Windows types without any system header.
#pragma once

#include "frame/Types.h"

// Opaque here: callers pass null.
struct VXC_SECURITY_ATTRIBUTES;
struct _VXC_OVERLAPPED;

union _VXC_LARGE_INTEGER {
    struct {
        uint32 LowPart;
        int32 HighPart;
    } u;
    int64 QuadPart;
};

// What an operation that makes a file handle gives when it fails; all others give null.
inline void* const VXC_INVALID_HANDLE = reinterpret_cast<void*>(static_cast<std::intptr_t>(-1));

// Results of the waits.
inline constexpr uint32 VXC_WAIT_OBJECT_0 = 0;
inline constexpr uint32 VXC_WAIT_TIMEOUT = 258;
inline constexpr uint32 VXC_WAIT_FAILED = 0xFFFFFFFFu;
inline constexpr uint32 VXC_MAXIMUM_WAIT_OBJECTS = 64;

// Exit code of a thread that still runs.
inline constexpr unsigned long VXC_STILL_ACTIVE = 259;

// VXC_CreateThread: make the thread suspended.
inline constexpr uint32 VXC_CREATE_SUSPENDED = 4;

// VXC_CreateFileW: access, share, disposition and flags.
inline constexpr uint32 VXC_GENERIC_READ = 0x80000000u;
inline constexpr uint32 VXC_GENERIC_WRITE = 0x40000000u;
inline constexpr uint32 VXC_FILE_SHARE_READ = 1;
inline constexpr uint32 VXC_FILE_SHARE_WRITE = 2;
inline constexpr uint32 VXC_CREATE_NEW = 1;
inline constexpr uint32 VXC_CREATE_ALWAYS = 2;
inline constexpr uint32 VXC_OPEN_EXISTING = 3;
inline constexpr uint32 VXC_OPEN_ALWAYS = 4;
inline constexpr uint32 VXC_TRUNCATE_EXISTING = 5;
inline constexpr uint32 VXC_FILE_ATTRIBUTE_READONLY = 0x00000001u;
inline constexpr uint32 VXC_FILE_ATTRIBUTE_NORMAL = 0x00000080u;
inline constexpr uint32 VXC_FILE_FLAG_DELETE_ON_CLOSE = 0x04000000u;
inline constexpr uint32 VXC_FILE_FLAG_SEQUENTIAL_SCAN = 0x08000000u;
inline constexpr uint32 VXC_FILE_FLAG_RANDOM_ACCESS = 0x10000000u;
inline constexpr uint32 VXC_FILE_FLAG_NO_BUFFERING = 0x20000000u;
inline constexpr uint32 VXC_FILE_FLAG_WRITE_THROUGH = 0x80000000u;
// Private to this library: keep the read-ahead window. The file handle clears it before the system sees it.
inline constexpr uint32 VXC_FILE_FLAG_KEEP_WINDOW = 0x00100000u;

// VXC_SetFilePointer: methods.
inline constexpr uint32 VXC_FILE_BEGIN = 0;
inline constexpr uint32 VXC_FILE_CURRENT = 1;
inline constexpr uint32 VXC_FILE_END = 2;
inline constexpr uint32 VXC_INVALID_SET_FILE_POINTER = 0xFFFFFFFFu;

// Drive types.
inline constexpr uint32 VXC_DRIVE_UNKNOWN = 0;
inline constexpr uint32 VXC_DRIVE_NO_ROOT_DIR = 1;
inline constexpr uint32 VXC_DRIVE_REMOVABLE = 2;
inline constexpr uint32 VXC_DRIVE_FIXED = 3;
inline constexpr uint32 VXC_DRIVE_REMOTE = 4;
inline constexpr uint32 VXC_DRIVE_CDROM = 5;
inline constexpr uint32 VXC_DRIVE_RAMDISK = 6;

// Last-error numbers, the same on every system.
inline constexpr uint32 VXC_ERROR_SUCCESS = 0;
inline constexpr uint32 VXC_ERROR_FILE_NOT_FOUND = 2;
inline constexpr uint32 VXC_ERROR_PATH_NOT_FOUND = 3;
inline constexpr uint32 VXC_ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr uint32 VXC_ERROR_ACCESS_DENIED = 5;
inline constexpr uint32 VXC_ERROR_INVALID_HANDLE = 6;
inline constexpr uint32 VXC_ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr uint32 VXC_ERROR_NOT_SAME_DEVICE = 17;
inline constexpr uint32 VXC_ERROR_WRITE_PROTECT = 19;
inline constexpr uint32 VXC_ERROR_GEN_FAILURE = 31;
inline constexpr uint32 VXC_ERROR_SHARING_VIOLATION = 32;
inline constexpr uint32 VXC_ERROR_BAD_NETPATH = 53;
inline constexpr uint32 VXC_ERROR_FILE_EXISTS = 80;
inline constexpr uint32 VXC_ERROR_INVALID_PARAMETER = 87;
inline constexpr uint32 VXC_ERROR_DISK_FULL = 112;
inline constexpr uint32 VXC_ERROR_SEM_TIMEOUT = 121;
inline constexpr uint32 VXC_ERROR_MOD_NOT_FOUND = 126;
inline constexpr uint32 VXC_ERROR_PROC_NOT_FOUND = 127;
inline constexpr uint32 VXC_ERROR_NEGATIVE_SEEK = 131;
inline constexpr uint32 VXC_ERROR_DIR_NOT_EMPTY = 145;
inline constexpr uint32 VXC_ERROR_ALREADY_EXISTS = 183;
inline constexpr uint32 VXC_ERROR_BAD_EXE_FORMAT = 193;
inline constexpr uint32 VXC_ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr uint32 VXC_ERROR_FILE_TOO_LARGE = 223;
inline constexpr uint32 VXC_ERROR_NOACCESS = 998;
inline constexpr uint32 VXC_ERROR_IO_DEVICE = 1117;
inline constexpr uint32 VXC_ERROR_NOT_ALL_ASSIGNED = 1300;
