#include "support/LogCapture.h"

#include "support/Bounded.h"
#include "text/Utf8.h"

#include <algorithm>
#include <limits>

namespace vxcio::test {

namespace {

// The capture that receives. Changed by the thread of the tests alone.
LogCapture* g_current = nullptr;

} // namespace

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    return out << static_cast<int>(line.level) << ' ' << ToDisplayUtf8(line.module) << ": "
               << ToDisplayUtf8(line.text);
}

LogCapture::LogCapture() : LogCapture(static_cast<INFOTYPE>(std::numeric_limits<int>::max())) {}

LogCapture::LogCapture(INFOTYPE highest) : m_highest(highest), m_former(g_current) {
    g_current = this;
    SetLogReceiver(&LogCapture::Receive, this, highest);
}

LogCapture::~LogCapture() {
    // Returns when no thread is within Receive any more.
    if (m_former != nullptr) {
        SetLogReceiver(&LogCapture::Receive, m_former, m_former->m_highest);
    } else {
        SetLogReceiver(nullptr, nullptr, INFOTYPE_ERROR);
    }
    g_current = m_former;
}

void LogCapture::Receive(void* context, INFOTYPE level, const wchar_t* module, const wchar_t* text) {
    auto* self = static_cast<LogCapture*>(context);
    {
        const std::lock_guard lock(self->m_mutex);
        self->m_lines.push_back({level, module, text});
    }
    self->m_changed.notify_all();
}

std::vector<LogLine> LogCapture::Lines() const {
    const std::lock_guard lock(m_mutex);
    return m_lines;
}

std::vector<std::wstring> LogCapture::Texts() const {
    const std::lock_guard lock(m_mutex);
    std::vector<std::wstring> texts;
    for (const LogLine& line : m_lines) {
        texts.push_back(line.text);
    }
    return texts;
}

std::vector<std::wstring> LogCapture::Texts(INFOTYPE level) const {
    const std::lock_guard lock(m_mutex);
    std::vector<std::wstring> texts;
    for (const LogLine& line : m_lines) {
        if (line.level == level) {
            texts.push_back(line.text);
        }
    }
    return texts;
}

std::size_t LogCapture::CountLocked(std::wstring_view text) const {
    return static_cast<std::size_t>(std::count_if(m_lines.begin(), m_lines.end(), [&](const LogLine& line) {
        return line.text.find(text) != std::wstring::npos;
    }));
}

bool LogCapture::Contains(std::wstring_view text) const {
    return Count(text) != 0;
}

std::size_t LogCapture::Count(std::wstring_view text) const {
    const std::lock_guard lock(m_mutex);
    return CountLocked(text);
}

bool LogCapture::WaitFor(std::wstring_view text, std::size_t n) {
    std::unique_lock lock(m_mutex);
    return WaitBounded(m_changed, lock, [&] { return CountLocked(text) >= n; });
}

void LogCapture::Clear() {
    const std::lock_guard lock(m_mutex);
    m_lines.clear();
}

} // namespace vxcio::test
