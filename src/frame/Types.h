// Types.h - the plain types and enumerations of the public interface.
//
// Units, everywhere: positions and sizes of files are 64-bit byte counts, the length of one transfer is a
// 32-bit byte count, times are milliseconds. Strings are wide: UTF-16 where wchar_t has 16 bits, one code
// point per element where it has 32.
#pragma once

#include <cstdint>

using uint8 = std::uint8_t;
using uint16 = std::uint16_t;
using uint32 = std::uint32_t;
using uint64 = std::uint64_t;
using int32 = std::int32_t;
using int64 = std::int64_t;

// A time that never ends.
inline constexpr uint32 VXC_INFINITE = 0xFFFFFFFFu;

// Transport of a source or sink. Any other value is allowed where a factory takes one; see there.
enum IOWordkMode : int {
    IOWORKMODE_FILE = 0,
    IOWORKMODE_FTP = 1,
};

// Kind of FTP server at the other end.
enum FTPMODE : int {
    FTPMODE_NORMAL = 0,
    FTPMODE_DELAYED = 1,
    FTPMODE_EXPLODED = 2,
    FTPMODE_XDCAM = 9,
};

// Level of a log line. A listener of level n hears all lines of level n and below.
enum INFOTYPE : int {
    INFOTYPE_ERROR = 1, // a failure
    INFOTYPE_PATH = 4,  // the trace of path conversion
    INFOTYPE_TRACE = 8, // the ordinary trace; also failures that are not fatal
};

// Kind of video of a clip on an XDCAM device; its values are those the device's format names map to.
enum PLUG_VIDEO_TYPE_ : int {};

// Selector of GetXInfo. No value has a meaning yet.
enum ENUMIOInfo_TYPE : int {};

// Stream facts that GetXInfo would fill. Only its address is passed.
struct SPlugStreamMediaInfo;

// Progress report of a copy: (code, text, bytes in all, bytes done, context); what it returns is not looked
// at. FileCopy.h has the codes.
using PFN_INFO_CALLBACK = int (*)(int, const wchar_t*, int64, int64, void*);
