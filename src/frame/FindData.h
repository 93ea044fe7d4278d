// FindData.h - the record that a listing fills for each entry, with the names that it has on Windows.
//
// Its layout is that of Windows where wchar_t has 16 bits; elsewhere the names are longer.
#pragma once

#include "frame/Types.h"

// 100 ns since the start of 1601, UTC; both 0 when the time is not known.
struct FILETIME {
    uint32 dwLowDateTime;
    uint32 dwHighDateTime;
};

inline constexpr uint32 FILE_ATTRIBUTE_DIRECTORY = 16;
inline constexpr uint32 FILE_ATTRIBUTE_NORMAL = 128;

struct WIN32_FIND_DATAW {
    uint32 dwFileAttributes; // FILE_ATTRIBUTE_DIRECTORY or FILE_ATTRIBUTE_NORMAL
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    uint32 nFileSizeHigh;
    uint32 nFileSizeLow;
    uint32 dwReserved0;
    uint32 dwReserved1;
    wchar_t cFileName[260]; // always terminated
    wchar_t cAlternateFileName[14];
};
