// ListParser.h - the lines of a directory listing, read by position: the shape that Unix servers send, as
// "ls -l" does, and that of DOS servers. Any bytes are safe input. Nothing throws or allocates, any thread
// may call.
#pragma once

#include "frame/FindData.h"
#include "frame/Types.h"

#include <cstddef>
#include <string_view>

namespace vxcio {

inline constexpr std::size_t kListLineMost = 260; // a longer line is cut there, and its rest is a line

enum class ListShape { None, UnixFolder, UnixFile, Dos };

// By the first bytes of a line, which may be shorter than any shape. None is a line that is no entry: a
// total, a link, a blank line.
ListShape ShapeOfLine(std::string_view line) noexcept;

// Fills the record from a line with all its bytes, the end of line among them: the name ends at its CR. False
// where a field or the name runs into the end of the line, so also for a line that ends in LF alone, and for
// the shape None. The record is zeroed first; after a failure it holds what was read up to there.
//
// A size has 32 bits; of a longer number the low ones are kept. The size of a folder is that of its line in
// the Unix shape, and 0 in the DOS shape. A date that is none leaves the times 0. A time of day without a
// year stands in the year that it is now, in UTC. The name is UTF-8, with its other bytes kept as FromUtf8
// does; it ends at a zero byte, or at 259 characters.
bool ParseListLine(std::string_view line, ListShape shape, WIN32_FIND_DATAW& record) noexcept;

// 100 ns since 1601 of a date of the Gregorian calendar, UTC, in the years 1601 to 30827. False where there
// is no such date or time of day; `time` is left alone then.
bool FileTimeOf(uint16 year, uint16 month, uint16 day, uint16 hour, uint16 minute, uint16 second,
                FILETIME& time) noexcept;

} // namespace vxcio
