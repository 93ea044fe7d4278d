// Journal.h - what one thread of the stress program did last, and the end of the program when something was
// wrong.
#pragma once

#include "frame/Types.h"

#include <mutex>
#include <string>
#include <vector>

namespace vxcio::stress {

// One for each thread. That thread writes; any may look.
class Journal {
public:
    // The words stand in front of all it prints: how to do the same again.
    void Begin(const std::string& heading);
    // An operation is about to be made; its result, once it is there, goes behind it.
    [[gnu::format(printf, 2, 3)]] void Note(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void Result(const char* format, ...);

    // Operations noted so far.
    uint64 Count() const;
    // Heading and last operations, the oldest first.
    std::string Text() const;

    // Prints the text and what was wrong, and ends the program with exit code 1.
    [[noreturn, gnu::format(printf, 2, 3)]] void Fail(const char* format, ...) const;

private:
    static constexpr std::size_t kKept = 60;

    mutable std::mutex m_mutex;
    // Guarded by m_mutex.
    std::string m_heading;
    std::vector<std::string> m_last; // a ring
    uint64 m_count = 0;
};

} // namespace vxcio::stress
