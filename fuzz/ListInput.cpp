#include "fuzz/ListInput.h"

#include "ftp/ListParsing.h"
#include "fuzz/Require.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace vxcio::fuzz {

namespace {

constexpr ListShape kShapes[] = {ListShape::None, ListShape::UnixFolder, ListShape::UnixFile, ListShape::Dos};

void CheckLine(std::string_view line, int year) {
    const test::ExactLine exact(line);
    Require(ShapeOfLine(exact.View()) == test::ModelShapeOfLine(line),
            "the shape is that of the first bytes");
    for (const ListShape shape : kShapes) {
        WIN32_FIND_DATAW model;
        const bool result = test::ModelParseListLine(line, shape, year, model);
        const test::Parsed parsed = test::ParseAs(shape, line);
        Require(parsed.result == result, "a line is an entry where it is one step by step");
        Require(test::IsSame(parsed.record, model), "the record is the same");
        Require(*(std::end(parsed.record.cFileName) - 1) == L'\0', "the name is terminated");
        Require(parsed.record.nFileSizeHigh == 0 && parsed.record.cAlternateFileName[0] == L'\0',
                "what a listing does not tell stays 0");
    }
}

} // namespace

void FuzzListing(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return;
    }
    // Some of them have no file time.
    const int year = 1500 + 200 * data[0];
    const test::YearScope scope(year);
    std::string_view rest(reinterpret_cast<const char*>(data + 1), size - 1);
    while (!rest.empty()) {
        const std::size_t feed = rest.find('\n');
        const std::size_t length =
            std::min({rest.size(), kListLineMost, feed == std::string_view::npos ? feed : feed + 1});
        CheckLine(rest.substr(0, length), year);
        rest.remove_prefix(length);
    }
}

} // namespace vxcio::fuzz
