// ListModel.h - the reading of a listing's line step by step, byte after byte, as slowly as can be: what the
// parser is held against.
#pragma once

#include "frame/FindData.h"
#include "ftp/ListParser.h"
#include "platform/UtcClock.h"

#include <string_view>

namespace vxcio::test {

// The year that it is in listings, for its scope. One at a time.
class YearScope {
public:
    explicit YearScope(int year) noexcept : m_before(UtcClock()) {
        s_year = year;
        UtcClock().year = [] { return s_year; };
    }
    ~YearScope() { UtcClock() = m_before; }
    YearScope(const YearScope&) = delete;
    YearScope& operator=(const YearScope&) = delete;

private:
    static inline int s_year = 0;
    const UtcClockTable m_before;
};

ListShape ModelShapeOfLine(std::string_view line);

// What the parser gives in the year `yearNow`; all of the record, after a failure too.
bool ModelParseListLine(std::string_view line, ListShape shape, int yearNow, WIN32_FIND_DATAW& record);

bool IsSame(const WIN32_FIND_DATAW& left, const WIN32_FIND_DATAW& right) noexcept;

// 100 ns since 1601 by the calendar of the standard library, or 0 where there is no such date.
uint64 ModelTicks(int year, unsigned month, unsigned day, unsigned hour, unsigned minute,
                  unsigned second = 0);

inline uint64 TicksOf(const FILETIME& time) noexcept {
    return uint64{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

} // namespace vxcio::test
