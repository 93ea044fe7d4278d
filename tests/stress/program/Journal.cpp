#include "stress/program/Journal.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace vxcio::stress {

namespace {

[[gnu::format(printf, 1, 0)]] std::string Formatted(const char* format, va_list arguments) {
    char text[400];
    std::vsnprintf(text, sizeof text, format, arguments);
    return text;
}

} // namespace

void Journal::Begin(const std::string& heading) {
    const std::lock_guard lock(m_mutex);
    m_heading = heading;
    m_last.assign(kKept, std::string());
    m_count = 0;
}

void Journal::Note(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string text = Formatted(format, arguments);
    va_end(arguments);
    const std::lock_guard lock(m_mutex);
    m_last[m_count++ % kKept] = std::move(text);
}

void Journal::Result(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string text = Formatted(format, arguments);
    va_end(arguments);
    const std::lock_guard lock(m_mutex);
    m_last[(m_count - 1) % kKept] += " -> " + text;
}

uint64 Journal::Count() const {
    const std::lock_guard lock(m_mutex);
    return m_count;
}

std::string Journal::Text() const {
    const std::lock_guard lock(m_mutex);
    std::string text = m_heading + "\n";
    for (uint64 at = m_count - std::min<uint64>(m_count, kKept); at < m_count; ++at) {
        text += "  " + m_last[at % kKept] + "\n";
    }
    return text;
}

void Journal::Fail(const char* format, ...) const {
    va_list arguments;
    va_start(arguments, format);
    const std::string text = Formatted(format, arguments);
    va_end(arguments);
    std::fprintf(stderr, "%s  WRONG: %s\n", Text().c_str(), text.c_str());
    std::fflush(nullptr);
    std::_Exit(1);
}

} // namespace vxcio::stress
