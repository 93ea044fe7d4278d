// LogCapture.h - the log lines that appear while a test runs.
#pragma once

#include "sysu/HostControl.h"

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio::test {

struct LogLine {
    INFOTYPE level;
    std::wstring module;
    std::wstring text;

    bool operator==(const LogLine&) const = default;
};
// For the messages of failed expectations.
std::ostream& operator<<(std::ostream& out, const LogLine& line);

// Receives the lines of all levels from its construction to its destruction, in the order in which they
// come, from all threads. One within the life of another takes the lines alone and gives them back at its
// end. Any thread may call the functions; they give copies.
//
//   LogCapture log;
//   ...
//   EXPECT_THAT(log.Texts(), ElementsAre(L"first line", L"second line"));
class LogCapture {
public:
    LogCapture();
    // Lines up to this level alone, as a host may choose.
    explicit LogCapture(INFOTYPE highest);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> Lines() const;
    std::vector<std::wstring> Texts() const;
    std::vector<std::wstring> Texts(INFOTYPE level) const;

    // Lines in which the text stands, as a whole or as a part.
    bool Contains(std::wstring_view text) const;
    std::size_t Count(std::wstring_view text) const;
    // Waits for the first, or the n-th, of them. False when it did not come (Bounded.h).
    [[nodiscard]] bool WaitFor(std::wstring_view text, std::size_t n = 1);

    void Clear();

private:
    static void Receive(void* context, INFOTYPE level, const wchar_t* module, const wchar_t* text);
    std::size_t CountLocked(std::wstring_view text) const;

    const INFOTYPE m_highest;
    LogCapture* const m_former;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<LogLine> m_lines; // guarded by m_mutex
};

} // namespace vxcio::test
