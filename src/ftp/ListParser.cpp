#include "ftp/ListParser.h"

#include "ftp/ReplyText.h"
#include "platform/UtcClock.h"
#include "text/Utf8.h"

#include <algorithm>
#include <iterator>
#include <type_traits>

namespace vxcio {

namespace {

constexpr std::size_t kUnixSizeColumn = 32;
constexpr std::size_t kDosTimeColumn = 8;

struct ListedDate {
    uint16 year = 0;
    uint16 month = 0;
    uint16 day = 0;
    uint16 hour = 0;
    uint16 minute = 0;
};

// The low bits of a number, where a longer one is cut.
uint32 Number(std::string_view field) noexcept {
    return static_cast<uint32>(LongNumberIn(field));
}

uint16 ShortNumber(std::string_view field) noexcept {
    return static_cast<uint16>(Number(field));
}

// Steps through a line. An operation is false where it runs into the end of the line, and so is each behind
// it that looks for something.
class Scan {
public:
    Scan(std::string_view line, std::size_t start) noexcept : m_line(line), m_at(start) {}

    void SkipBlanks() noexcept {
        while (m_at < m_line.size() && m_line[m_at] == ' ') {
            ++m_at;
        }
    }
    void Pass(std::size_t bytes) noexcept { m_at += bytes; }
    // What stands before the next such byte, at which it stops.
    bool Until(char end, std::string_view& field) noexcept {
        const std::size_t found = m_line.find(end, m_at);
        if (found == std::string_view::npos) {
            return false;
        }
        field = m_line.substr(m_at, found - m_at);
        m_at = found;
        return true;
    }
    bool Take(std::size_t bytes, std::string_view& field) noexcept {
        if (m_at > m_line.size() || m_line.size() - m_at < bytes) {
            return false;
        }
        field = m_line.substr(m_at, bytes);
        m_at += bytes;
        return true;
    }

private:
    const std::string_view m_line;
    std::size_t m_at; // may lie behind the line, where nothing is found
};

// Independent of the locale, in which an "i" may have another capital.
char Lower(char letter) noexcept {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

// An unknown name is January.
uint16 MonthOf(std::string_view name) noexcept {
    constexpr std::string_view kMonths[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                            "jul", "aug", "sep", "oct", "nov", "dec"};
    name = name.substr(0, name.find('\0'));
    for (std::size_t i = 0; i < std::size(kMonths); ++i) {
        if (std::ranges::equal(name, kMonths[i], {}, Lower)) {
            return static_cast<uint16>(i + 1);
        }
    }
    return 1;
}

void SetName(std::string_view name, WIN32_FIND_DATAW& record) noexcept {
    constexpr std::size_t kMost = std::extent_v<decltype(record.cFileName)> - 1; // a zero stays behind it
    name = name.substr(0, name.find('\0'));
    std::size_t length = 0;
    for (std::size_t at = 0; at < name.size();) {
        wchar_t units[2] = {};
        const std::size_t count = TakeUtf8(name, at, units);
        if (count > kMost - length) {
            break;
        }
        std::copy_n(units, count, record.cFileName + length);
        length += count;
    }
}

// A time of day, "hh:mm" with anything behind it, or a year.
void ReadTimeOrYear(std::string_view field, ListedDate& date) noexcept {
    if (field.size() > 2 && field[2] == ':') {
        date.hour = ShortNumber(field.substr(0, 2));
        date.minute = ShortNumber(field.substr(3, 2));
        date.year = static_cast<uint16>(UtcClock().year());
    } else {
        date.year = ShortNumber(field);
    }
}

// Owner and group are not read: the size is looked for from the column in which the servers have it.
bool ParseUnix(std::string_view line, ListedDate& date, std::string_view& name,
               WIN32_FIND_DATAW& record) noexcept {
    Scan scan(line, kUnixSizeColumn);
    std::string_view field;
    scan.SkipBlanks();
    if (!scan.Until(' ', field)) {
        return false;
    }
    record.nFileSizeLow = Number(field);
    // One blank and no more: with two the month is empty, and the columns behind it slip by one.
    scan.Pass(1);
    if (!scan.Until(' ', field)) {
        return false;
    }
    date.month = MonthOf(field);
    scan.SkipBlanks();
    if (!scan.Until(' ', field)) {
        return false;
    }
    date.day = ShortNumber(field);
    scan.SkipBlanks();
    if (!scan.Until(' ', field)) {
        return false;
    }
    ReadTimeOrYear(field, date);
    scan.Pass(1);
    return scan.Until('\r', name);
}

bool ParseDos(std::string_view line, ListedDate& date, std::string_view& name,
              WIN32_FIND_DATAW& record) noexcept {
    if (line.size() < kDosTimeColumn) {
        return false;
    }
    date.month = ShortNumber(line.substr(0, 2));
    date.day = ShortNumber(line.substr(3, 2));
    const auto year = static_cast<int32>(Number(line.substr(6, 2)));
    date.year = static_cast<uint16>(year + (year < 80 ? 2000 : 1900));

    Scan scan(line, kDosTimeColumn);
    std::string_view field;
    scan.SkipBlanks();
    if (!scan.Until(':', field)) {
        return false;
    }
    date.hour = ShortNumber(field);
    scan.Pass(1);
    if (!scan.Take(2, field)) {
        return false;
    }
    date.minute = ShortNumber(field);
    if (!scan.Take(2, field)) {
        return false;
    }
    if (field == "PM") {
        // Also to the hour 12, so half past noon is no time of day.
        date.hour = static_cast<uint16>(date.hour + 12);
    }
    scan.SkipBlanks();
    if (!scan.Until(' ', field)) {
        return false;
    }
    const bool folder = field.starts_with("<DIR>");
    record.dwFileAttributes = folder ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    record.nFileSizeLow = folder ? 0 : Number(field);
    scan.Pass(1);
    scan.SkipBlanks();
    return scan.Until('\r', name);
}

bool IsLeap(uint32 year) noexcept {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

uint32 DaysOfMonth(uint32 year, uint32 month) noexcept {
    constexpr uint32 kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return kDays[month - 1] + (month == 2 && IsLeap(year) ? 1 : 0);
}

} // namespace

ListShape ShapeOfLine(std::string_view line) noexcept {
    if (line.starts_with('d')) {
        return ListShape::UnixFolder;
    }
    if (line.starts_with('-')) {
        return ListShape::UnixFile;
    }
    if (line.size() > 9 && line[2] == '-' && line[5] == '-' && line[9] == ' ') {
        return ListShape::Dos;
    }
    return ListShape::None;
}

bool ParseListLine(std::string_view line, ListShape shape, WIN32_FIND_DATAW& record) noexcept {
    record = {};
    ListedDate date;
    std::string_view name;
    bool read = false;
    if (shape == ListShape::UnixFolder || shape == ListShape::UnixFile) {
        record.dwFileAttributes =
            shape == ListShape::UnixFolder ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
        read = ParseUnix(line, date, name, record);
    } else if (shape == ListShape::Dos) {
        read = ParseDos(line, date, name, record);
    }
    if (!read) {
        return false;
    }
    SetName(name, record);
    FILETIME time = {};
    if (FileTimeOf(date.year, date.month, date.day, date.hour, date.minute, 0, time)) {
        record.ftCreationTime = time;
        record.ftLastAccessTime = time;
        record.ftLastWriteTime = time;
    }
    return true;
}

bool FileTimeOf(uint16 year, uint16 month, uint16 day, uint16 hour, uint16 minute, uint16 second,
                FILETIME& time) noexcept {
    if (year < 1601 || year > 30827 || month < 1 || month > 12 || day < 1 || day > DaysOfMonth(year, month) ||
        hour > 23 || minute > 59 || second > 59) {
        return false;
    }
    // 1601 begins a cycle of 400 years, so whole years and their leap days can be counted off.
    const uint64 years = year - 1601U;
    uint64 days = years * 365 + years / 4 - years / 100 + years / 400;
    for (uint32 earlier = 1; earlier < month; ++earlier) {
        days += DaysOfMonth(year, earlier);
    }
    days += day - 1U;
    const uint64 seconds = ((days * 24 + hour) * 60 + minute) * 60 + second;
    const uint64 ticks = seconds * 10000000;
    time.dwLowDateTime = static_cast<uint32>(ticks);
    time.dwHighDateTime = static_cast<uint32>(ticks >> 32);
    return true;
}

} // namespace vxcio
