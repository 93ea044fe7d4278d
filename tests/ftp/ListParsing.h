// ListParsing.h - a listing's line as the library parses it, in memory that ends with the line.
#pragma once

#include "ftp/ListModel.h"
#include "ftp/ListParser.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace vxcio::test {

// A copy without a byte behind it, so that a step over the end is seen.
class ExactLine {
public:
    explicit ExactLine(std::string_view line) : m_size(line.size()), m_bytes(new char[line.size()]) {
        std::copy(line.begin(), line.end(), m_bytes.get());
    }
    std::string_view View() const { return {m_bytes.get(), m_size}; }

private:
    const std::size_t m_size;
    const std::unique_ptr<char[]> m_bytes;
};

struct Parsed {
    ListShape shape = ListShape::None;
    bool result = false;
    WIN32_FIND_DATAW record;

    uint64 Ticks() const { return TicksOf(record.ftLastWriteTime); }
    std::wstring Name() const { return record.cFileName; }
};

// Into a record that was full of something else.
inline Parsed ParseAs(ListShape shape, std::string_view line) {
    const ExactLine exact(line);
    Parsed parsed;
    std::memset(&parsed.record, 0xCC, sizeof parsed.record);
    parsed.shape = shape;
    parsed.result = ParseListLine(exact.View(), shape, parsed.record);
    return parsed;
}

inline Parsed Parse(std::string_view line) {
    return ParseAs(ShapeOfLine(ExactLine(line).View()), line);
}

// A Unix line: its head, filled up with blanks to the column of the size, and the rest.
inline std::string UnixLine(const std::string& rest, std::string head = "-rw-r--r--   1 user     group") {
    head.resize(32, ' ');
    return head + rest;
}

} // namespace vxcio::test
