#include "LogView.h"

#include "Console.h"
#include "Text.h"

#include "sysu/HostControl.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <string_view>
#include <utility>

namespace vxcio::tool {

namespace {

// At the end of a file this line comes too, so it tells nothing by itself.
constexpr std::string_view kNothingRead = "ReadFileWithTwoHandle()";

// How lines begin that tell of a failed write.
constexpr std::string_view kWriteFailures[] = {"WriteFile(nNumberOfBytesToWrite[",
                                               "CQLSoftFileHandle::WriteFile("};

bool IsWriteFailure(std::string_view text) {
    return std::any_of(std::begin(kWriteFailures), std::end(kWriteFailures),
                       [text](std::string_view start) { return text.starts_with(start); });
}

} // namespace

LogView::LogView(bool onError, const std::optional<std::string>& file, INFOTYPE highest)
    : m_bOnError(onError), m_nHighest(highest), m_strFile(file.value_or("")),
      m_tStart(std::chrono::steady_clock::now()), m_pFile(nullptr) {
    if (file) {
        m_pFile = std::fopen(m_strFile.c_str(), "a");
        if (m_pFile == nullptr) {
            GiveUpFile(errno);
        }
    }
    Register(false);
}

void LogView::Register(bool all) {
    const bool shown = m_bOnError || !m_strFile.empty();
    SetLogReceiver(&LogView::Receive, this, all ? INFOTYPE_TRACE : shown ? m_nHighest : INFOTYPE_ERROR);
}

void LogView::Listen(Listener listener) {
    const bool all = listener != nullptr;
    {
        const std::lock_guard lock(m_Mutex);
        m_Listener = std::move(listener);
    }
    Register(all);
}

LogView::~LogView() {
    SetLogReceiver(nullptr, nullptr, INFOTYPE_ERROR);
    if (m_pFile != nullptr) {
        std::fclose(m_pFile);
    }
}

void LogView::Clear() {
    const std::lock_guard lock(m_Mutex);
    m_strFailure.clear();
    m_strWriteFailure.clear();
}

void LogView::ClearButWrites() {
    const std::lock_guard lock(m_Mutex);
    m_strFailure.clear();
}

std::string LogView::WriteFailure() {
    const std::lock_guard lock(m_Mutex);
    return m_strWriteFailure;
}

std::string LogView::LastFailure() {
    const std::lock_guard lock(m_Mutex);
    return m_strFailure;
}

void LogView::Receive(void* context, INFOTYPE level, const wchar_t* module, const wchar_t* text) {
    try {
        static_cast<LogView*>(context)->Take(level, module == nullptr ? "" : Narrow(module),
                                             text == nullptr ? "" : Narrow(text));
    } catch (...) {
        // A line for which memory lacks is lost; the library must not notice.
    }
}

void LogView::Take(INFOTYPE level, const std::string& module, const std::string& text) {
    const std::lock_guard lock(m_Mutex);
    if (level <= INFOTYPE_ERROR && !text.starts_with(kNothingRead)) {
        m_strFailure = text;
        if (m_strWriteFailure.empty() && IsWriteFailure(text)) {
            m_strWriteFailure = text;
        }
    }
    if (m_Listener) {
        m_Listener(level, text);
    }
    if (level > m_nHighest || (!m_bOnError && m_pFile == nullptr)) {
        return;
    }
    const std::chrono::duration<double> since = std::chrono::steady_clock::now() - m_tStart;
    std::array<char, 48> head{};
    std::snprintf(head.data(), head.size(), "%10.6f [%d] ", since.count(), static_cast<int>(level));
    WriteLine(head.data() + module + ": " + Shown(text));
}

void LogView::WriteLine(const std::string& line) {
    if (m_bOnError) {
        PrintErrorLine(line);
    }
    if (m_pFile != nullptr) {
        // Each line is out at once, so that the log tells how far a run came that hangs.
        if (std::fputs((line + "\n").c_str(), m_pFile) < 0 || std::fflush(m_pFile) != 0) {
            const int error = errno;
            std::fclose(m_pFile);
            m_pFile = nullptr;
            GiveUpFile(error);
        }
    }
}

void LogView::GiveUpFile(int error) {
    Complain("warning: the log cannot be written to '" + Shown(m_strFile) + "': " + std::strerror(error));
}

} // namespace vxcio::tool
