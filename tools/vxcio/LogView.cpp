#include "LogView.h"

#include "Console.h"
#include "FtpTalk.h"
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

// How the line begins that tells of a download that broke off, and that of the end of any listing.
constexpr std::string_view kDataLost = "Can't get data from ftp sever";
constexpr std::string_view kListingEnd = " Can't get data from ftp sever";

// The companion module that reads URLs, and what the library says where it cannot be loaded.
constexpr std::string_view kRemoteModule = "QLRRemoteFileU";
constexpr std::string_view kNoModule = "Can't laod dll[";

constexpr std::string_view kHidden = "*****"; // as the library writes it

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
    Register();
}

void LogView::Register() {
    const bool all = m_bListened || m_bServers;
    const bool shown = m_bOnError || !m_strFile.empty();
    SetLogReceiver(&LogView::Receive, this, all ? INFOTYPE_TRACE : shown ? m_nHighest : INFOTYPE_ERROR);
}

void LogView::Listen(Listener listener) {
    m_bListened = listener != nullptr;
    {
        const std::lock_guard lock(m_Mutex);
        m_Listener = std::move(listener);
    }
    Register();
}

void LogView::HearServers() {
    if (!m_bServers.exchange(true)) {
        Register();
    }
    ClearReply();
}

void LogView::ClearReply() {
    const std::lock_guard lock(m_Mutex);
    m_strReply.clear();
}

std::string LogView::LastReply() const {
    const std::lock_guard lock(m_Mutex);
    return m_strReply;
}

void LogView::Hide(const std::string& secret) {
    const std::lock_guard lock(m_Mutex);
    if (std::find(m_Secrets.begin(), m_Secrets.end(), secret) == m_Secrets.end()) {
        m_Secrets.push_back(secret);
    }
}

std::string LogView::WithoutSecrets(std::string text) const {
    for (const std::string& secret : m_Secrets) {
        for (std::size_t at = text.find(secret); at != std::string::npos;
             at = text.find(secret, at + kHidden.size())) {
            text.replace(at, secret.size(), kHidden);
        }
    }
    return text;
}

// A line of a reply is logged as it came, its end behind it.
bool LogView::TakeReply(const std::string& text) {
    const auto isDigit = [&text](std::size_t i) { return text[i] >= '0' && text[i] <= '9'; };
    if (text.size() < 4 || !isDigit(0) || !isDigit(1) || !isDigit(2) || (text[3] != ' ' && text[3] != '-')) {
        return false;
    }
    const std::string words = text.substr(4, text.find_last_not_of("\r\n ") - 3);
    m_strReply = text.substr(0, 4) + WithoutSecrets(text.size() > 4 ? words : std::string());
    return true;
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
    m_strRemoteFailure.clear();
    m_bRemoteMissing = false;
}

void LogView::ClearButWrites() {
    const std::lock_guard lock(m_Mutex);
    m_strFailure.clear();
}

std::string LogView::RemoteFailure() const {
    const std::lock_guard lock(m_Mutex);
    return m_strRemoteFailure;
}

bool LogView::IsRemoteMissing() const {
    const std::lock_guard lock(m_Mutex);
    return m_bRemoteMissing;
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

void LogView::Take(INFOTYPE level, const std::string& module, const std::string& raw) {
    const std::lock_guard lock(m_Mutex);
    const std::string text = WithoutSecrets(raw);
    if (m_bServers) {
        if (TakeReply(raw)) {
            FtpTalk::HearReply(m_strReply);
        } else {
            FtpTalk::HearOther(raw);
        }
        if (raw.starts_with(kDataLost)) {
            m_strFailure = text;
        } else if (raw.starts_with(kListingEnd)) {
            ++*m_pListingEnds;
        }
    }
    if (level <= INFOTYPE_ERROR && !raw.starts_with(kNothingRead)) {
        m_strFailure = text;
        const bool isMissing = raw.starts_with(kNoModule) && raw.find(kRemoteModule) != std::string::npos;
        if (isMissing || module == kRemoteModule) {
            m_strRemoteFailure = text;
            m_bRemoteMissing = m_bRemoteMissing || isMissing;
        }
        if (m_strWriteFailure.empty() && IsWriteFailure(raw)) {
            m_strWriteFailure = text;
        }
    }
    if (m_Listener) {
        m_Listener(level, raw);
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
