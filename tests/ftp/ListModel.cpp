#include "ftp/ListModel.h"

#include "text/Utf8.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

namespace vxcio::test {

namespace {

// The scan ran into the line's length.
struct RanOut {};

class Line {
public:
    explicit Line(std::string_view bytes) : m_bytes(bytes) {}

    char At(std::size_t index) const {
        if (index >= m_bytes.size()) {
            throw RanOut();
        }
        return m_bytes[index];
    }
    void SkipBlanks(std::size_t& index) const {
        while (At(index) == ' ') {
            ++index;
        }
    }
    std::string CopyUpTo(std::size_t& index, char end) const {
        std::string field;
        while (At(index) != end) {
            field += At(index);
            ++index;
        }
        return field;
    }

private:
    const std::string m_bytes;
};

// The runtime library's reading, which is one of 64 bits here, with its low 32.
uint32 Number(const std::string& field) {
    return static_cast<uint32>(std::strtoll(field.c_str(), nullptr, 10));
}

uint16 Word(const std::string& field) {
    return static_cast<uint16>(Number(field));
}

uint16 Month(const std::string& field) {
    std::string small;
    for (const char c : std::string(field.c_str())) {
        small += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    static const std::string kNames = "jan feb mar apr may jun jul aug sep oct nov dec ";
    const std::size_t at = small.size() == 3 ? kNames.find(small + " ") : std::string::npos;
    return at == std::string::npos ? uint16{1} : static_cast<uint16>(at / 4 + 1);
}

struct Date {
    uint16 year = 0;
    uint16 month = 0;
    uint16 day = 0;
    uint16 hour = 0;
    uint16 minute = 0;
};

std::string Unix(const Line& line, int yearNow, Date& date, WIN32_FIND_DATAW& record) {
    std::size_t i = 32;
    line.SkipBlanks(i);
    record.nFileSizeLow = Number(line.CopyUpTo(i, ' '));
    ++i;
    date.month = Month(line.CopyUpTo(i, ' '));
    line.SkipBlanks(i);
    date.day = Word(line.CopyUpTo(i, ' '));
    line.SkipBlanks(i);
    std::string field = line.CopyUpTo(i, ' ');
    if (field.size() >= 3 && field[2] == ':') {
        field += std::string(2, '\0'); // behind it there is nothing
        date.hour = Word({field[0], field[1]});
        date.minute = Word({field[3], field[4]});
        date.year = static_cast<uint16>(yearNow);
    } else {
        date.year = Word(field);
    }
    ++i;
    return line.CopyUpTo(i, '\r');
}

std::string Dos(const Line& line, Date& date, WIN32_FIND_DATAW& record) {
    date.month = Word({line.At(0), line.At(1)});
    date.day = Word({line.At(3), line.At(4)});
    const int year = static_cast<int>(Number({line.At(6), line.At(7)}));
    date.year = static_cast<uint16>(year < 80 ? 2000 + year : 1900 + year);
    std::size_t i = 8;
    line.SkipBlanks(i);
    date.hour = Word(line.CopyUpTo(i, ':'));
    date.minute = Word({line.At(i + 1), line.At(i + 2)});
    if (std::string({line.At(i + 3), line.At(i + 4)}) == "PM") {
        date.hour = static_cast<uint16>(date.hour + 12);
    }
    i += 5;
    line.SkipBlanks(i);
    const std::string field = line.CopyUpTo(i, ' ');
    if (field.substr(0, 5) == "<DIR>") {
        record.dwFileAttributes = 16;
    } else {
        record.dwFileAttributes = 128;
        record.nFileSizeLow = Number(field);
    }
    ++i;
    line.SkipBlanks(i);
    return line.CopyUpTo(i, '\r');
}

bool IsSameTime(const FILETIME& left, const FILETIME& right) noexcept {
    return TicksOf(left) == TicksOf(right);
}

} // namespace

ListShape ModelShapeOfLine(std::string_view line) {
    std::string bytes(line);
    bytes.resize(std::max<std::size_t>(bytes.size(), 10), '\0');
    if (bytes[0] == 'd') {
        return ListShape::UnixFolder;
    }
    if (bytes[0] == '-') {
        return ListShape::UnixFile;
    }
    const bool isDos = bytes[2] == '-' && bytes[5] == '-' && bytes[9] == ' ';
    return isDos ? ListShape::Dos : ListShape::None;
}

bool ModelParseListLine(std::string_view line, ListShape shape, int yearNow, WIN32_FIND_DATAW& record) {
    record = {};
    Date date;
    std::string name;
    try {
        if (shape == ListShape::None) {
            return false;
        }
        if (shape == ListShape::Dos) {
            name = Dos(Line(line), date, record);
        } else {
            record.dwFileAttributes = shape == ListShape::UnixFolder ? 16 : 128;
            name = Unix(Line(line), yearNow, date, record);
        }
    } catch (const RanOut&) {
        return false;
    }
    const std::wstring wide = FromUtf8(name.c_str());
    std::copy_n(wide.data(), std::min<std::size_t>(wide.size(), 259), record.cFileName);
    const uint64 ticks = ModelTicks(date.year, date.month, date.day, date.hour, date.minute);
    for (FILETIME* const time : {&record.ftCreationTime, &record.ftLastAccessTime, &record.ftLastWriteTime}) {
        time->dwLowDateTime = static_cast<uint32>(ticks);
        time->dwHighDateTime = static_cast<uint32>(ticks >> 32);
    }
    return true;
}

bool IsSame(const WIN32_FIND_DATAW& left, const WIN32_FIND_DATAW& right) noexcept {
    return left.dwFileAttributes == right.dwFileAttributes &&
           IsSameTime(left.ftCreationTime, right.ftCreationTime) &&
           IsSameTime(left.ftLastAccessTime, right.ftLastAccessTime) &&
           IsSameTime(left.ftLastWriteTime, right.ftLastWriteTime) &&
           left.nFileSizeHigh == right.nFileSizeHigh && left.nFileSizeLow == right.nFileSizeLow &&
           left.dwReserved0 == right.dwReserved0 && left.dwReserved1 == right.dwReserved1 &&
           std::equal(std::begin(left.cFileName), std::end(left.cFileName), right.cFileName) &&
           std::equal(std::begin(left.cAlternateFileName), std::end(left.cAlternateFileName),
                      right.cAlternateFileName);
}

uint64 ModelTicks(int year, unsigned month, unsigned day, unsigned hour, unsigned minute, unsigned second) {
    using namespace std::chrono;
    const year_month_day date{std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)};
    // The library keeps a day and a month in 8 bits.
    if (year < 1601 || year > 30827 || month > 12 || day > 31 || !date.ok() || hour > 23 || minute > 59 ||
        second > 59) {
        return 0;
    }
    const sys_days start = std::chrono::year(1601) / January / 1;
    const std::chrono::seconds since =
        (sys_days(date) - start) + hours(hour) + minutes(minute) + seconds(second);
    return static_cast<uint64>(since.count()) * 10000000U;
}

} // namespace vxcio::test
