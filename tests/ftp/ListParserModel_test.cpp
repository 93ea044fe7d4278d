// Lines put together at random, read by the parser and step by step.
#include "ftp/ListParsing.h"

#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <random>
#include <span>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kYearNow = 2027;

class Lines {
public:
    explicit Lines(unsigned seed) : m_random(seed) {}

    std::string Next() {
        std::string line;
        switch (Below(4)) {
        case 0:
            line = Unix();
            break;
        case 1:
            line = Dos();
            break;
        case 2:
            line = Pieces();
            break;
        default:
            line = Damaged(Below(2) == 0 ? Unix() : Dos());
            break;
        }
        if (line.size() > kListLineMost) {
            line.resize(kListLineMost);
        }
        return line;
    }

private:
    std::size_t Below(std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(m_random);
    }
    template <std::size_t Count>
    std::string One(const char* const (&pieces)[Count]) {
        return pieces[Below(Count)];
    }
    // Mostly as many as there should be.
    std::string Blanks(std::size_t usual) { return std::string(Below(8) == 0 ? Below(5) : usual, ' '); }
    std::string Number(unsigned most) {
        const char* const odd[] = {"",    "0",          "-1",         "x",          "+7",
                                   "\t3", "4294967296", "3000000000", "65537",      "99999999999999999999",
                                   "1a",  "-",          "00000012",   "2147483648", "12,5"};
        return Below(6) == 0 ? One(odd) : std::to_string(Below(most));
    }
    std::string Name() {
        const char* const names[] = {
            "clip.mxf", "a b  c",           ".",   "..", "", " blank", "\xC3\xA4.mxf",
            "\xE4\xFF", "\xF0\x9F\x8E\xAC", "x\ry"};
        switch (Below(12)) {
        case 0:
            return std::string(Below(300), 'n');
        case 1:
            return std::string("zero\0byte", 9);
        default:
            return One(names);
        }
    }
    std::string End() {
        const char* const ends[] = {"\r\n", "\r\n", "\r\n", "\r\n", "\n", "\r", "", " \r\n"};
        return One(ends);
    }
    std::string Month() {
        const char* const months[] = {"Jan", "feb", "MAR", "aPr", "May", "Jun",  "jul", "Aug",
                                      "Sep", "oct", "Nov", "DEC", "",    "Janu", "xyz", "m\xE4r"};
        return One(months);
    }
    std::string Unix() {
        const char* const heads[] = {
            "drwxr-xr-x   2 user     group",        "-rw-r--r--   1 user     group",
            "-rw-r--r--    1 1000       1000",      "d",
            "-rw-r--r--   1 longername longername", "-rw-r--r--    1 media      nogroup  "};
        const char* const times[] = {"12:34", "00:00", "24:00", "23:5", "9:05",
                                     "12:60", ":12",   "ab:cd", "12:",  "1::30"};
        std::string line = One(heads);
        if (Below(8) != 0) {
            line.resize(std::max<std::size_t>(line.size(), 32), ' ');
        }
        line += Blanks(3) + Number(100000) + Blanks(1) + Month() + Blanks(1) + Number(33) + Blanks(1);
        line += Below(2) == 0 ? One(times) : Number(2100);
        return line + Blanks(1) + Name() + End();
    }
    std::string TwoDigits(unsigned most) {
        const char* const odd[] = {"xx", " 1", "-1", "1 ", "+1", "  "};
        const std::size_t number = Below(most);
        return Below(10) == 0 ? One(odd) : std::to_string(number / 10) + std::to_string(number % 10);
    }
    std::string Dos() {
        const char* const marks[] = {"AM", "PM", "pm", "  ", " 1", "P", ""};
        const char* const folders[] = {"<DIR>", "<DIR>", "<DIR>x", "<dir>", "<DIR"};
        std::string line = TwoDigits(14) + "-" + TwoDigits(33) + "-" + TwoDigits(100) + "  ";
        line += (Below(4) == 0 ? Number(30) : TwoDigits(13)) + ":" + TwoDigits(62) + One(marks);
        line += Blanks(7) + (Below(2) == 0 ? One(folders) : Number(1000000)) + Blanks(4);
        return line + Name() + End();
    }
    std::string Pieces() {
        const char* const pieces[] = {"d",     "-",  "01-23-24", " ",     "  ",         "        ", ":",
                                      "12:34", "PM", "AM",       "<DIR>", "123",        "Jan",      "2020",
                                      "\r",    "\n", "name",     "\xC3",  "drwxr-xr-x", "total 4"};
        std::string line;
        for (std::size_t count = Below(24); count > 0; --count) {
            line += One(pieces);
        }
        return line;
    }
    std::string Damaged(std::string line) {
        for (std::size_t count = 1 + Below(3); count > 0 && !line.empty(); --count) {
            const std::size_t at = Below(line.size());
            switch (Below(4)) {
            case 0:
                line.erase(at, 1);
                break;
            case 1:
                line[at] = static_cast<char>(Below(256));
                break;
            case 2:
                line.insert(at, 1, " :-\r0P"[Below(6)]);
                break;
            default:
                line.resize(at);
                break;
            }
        }
        return line;
    }

    std::mt19937 m_random;
};

std::string Readable(const std::string& line) {
    std::string text;
    for (const char c : line) {
        if (c >= ' ' && c <= '~') {
            text += c;
        } else {
            constexpr char kDigits[] = "0123456789abcdef";
            const auto byte = static_cast<unsigned char>(c);
            text += std::string("\\x") + kDigits[byte >> 4] + kDigits[byte & 15];
        }
    }
    return text;
}

} // namespace

TEST(ListParserModelTest, RandomLinesAreReadAsStepByStep) {
    const YearScope year(kYearNow);
    Lines lines(5);
    // By shape: entries with a date, entries without one, failures.
    std::array<std::array<int, 3>, 4> outcomes = {};
    for (int i = 0; i < 100000; ++i) {
        const std::string line = lines.Next();
        const ListShape shape = ModelShapeOfLine(line);
        WIN32_FIND_DATAW model;
        const bool result = ModelParseListLine(line, shape, kYearNow, model);
        const Parsed parsed = Parse(line);
        ASSERT_EQ(parsed.shape, shape) << Readable(line);
        ASSERT_EQ(parsed.result, result) << Readable(line);
        ASSERT_TRUE(IsSame(parsed.record, model)) << Readable(line);
        ++outcomes[static_cast<std::size_t>(shape)][!result ? 2 : parsed.Ticks() == 0 ? 1 : 0];
    }
    for (const ListShape shape : {ListShape::UnixFolder, ListShape::UnixFile, ListShape::Dos}) {
        for (const int outcome : outcomes[static_cast<std::size_t>(shape)]) {
            EXPECT_GT(outcome, 500) << static_cast<int>(shape);
        }
    }
    EXPECT_GT(outcomes[0][2], 500);
}
