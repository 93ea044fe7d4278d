// LogView.h - the library's own log, shown on standard error, kept in a file, and remembered for the reason
// of a failure, which the library tells nowhere else.
#pragma once

#include "frame/Types.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio::tool {

// The one listener of the process from construction to destruction. Lines may come from any thread.
class LogView {
public:
    // Lines of level `highest` and below go to standard error when `onError` is set and to the end of
    // `file` when there is one. A file that cannot be written costs one complaint and nothing else.
    LogView(bool onError, const std::optional<std::string>& file, INFOTYPE highest);
    ~LogView();
    LogView(const LogView&) = delete;
    LogView& operator=(const LogView&) = delete;

    // Whether lines go to standard error.
    bool IsVerbose() const { return m_bOnError; }

    // From now on `listener` gets every line of every level, one after the other, on the thread that logs,
    // until the next call; null ends that. It must not throw or call back.
    using Listener = std::function<void(INFOTYPE level, std::string_view text)>;
    void Listen(Listener listener);

    // From now on what FTP servers say is heard, and counts for LastReply and LastFailure.
    void HearServers();
    // Forgets it, so that the next one tells of what is done now.
    void ClearReply();
    // The last line of a server's reply, with its number; empty where none came since ClearReply.
    std::string LastReply() const;
    // Counts how often a listing has said since HearServers that no more of it comes. It may outlive this.
    std::shared_ptr<const std::atomic<unsigned>> ListingEnds() const { return m_pListingEnds; }
    // From now on this text stands in no line that is shown, kept or given out.
    void Hide(const std::string& secret);

    // Forgets the failures so far.
    void Clear();
    // Forgets the last one, but keeps that of a write, which a thread may log at this very moment.
    void ClearButWrites();

    // The last error line since Clear that tells more than that a read gave nothing; empty without one.
    std::string LastFailure();

    // The last line since Clear in which the companion module for URLs tells why it failed, or the library
    // why it has none; empty without one.
    std::string RemoteFailure() const;
    // Whether the library has said since Clear that the module is missing: its open succeeds then.
    bool IsRemoteMissing() const;

    // The first error line since Clear that tells of a write; empty without one. The library itself tells a
    // write of its writer thread late, and the last ones never.
    std::string WriteFailure();

private:
    static void Receive(void* context, INFOTYPE level, const wchar_t* module, const wchar_t* text);
    void Take(INFOTYPE level, const std::string& module, const std::string& raw);
    void WriteLine(const std::string& line);
    void GiveUpFile(int error);
    void Register();
    bool TakeReply(const std::string& text);
    std::string WithoutSecrets(std::string text) const;

    const bool m_bOnError;
    const INFOTYPE m_nHighest; // of what is shown; failures are always heard
    const std::string m_strFile;
    const std::chrono::steady_clock::time_point m_tStart;
    mutable std::mutex m_Mutex;
    std::FILE* m_pFile;                 // guarded by m_Mutex; null when there is none
    std::string m_strFailure;           // guarded by m_Mutex
    std::string m_strWriteFailure;      // guarded by m_Mutex
    std::string m_strRemoteFailure;     // guarded by m_Mutex
    bool m_bRemoteMissing = false;      // guarded by m_Mutex
    Listener m_Listener;                // guarded by m_Mutex
    std::string m_strReply;             // guarded by m_Mutex
    std::vector<std::string> m_Secrets; // guarded by m_Mutex
    std::atomic<bool> m_bServers{false};
    const std::shared_ptr<std::atomic<unsigned>> m_pListingEnds = std::make_shared<std::atomic<unsigned>>(0u);
    std::atomic<bool> m_bListened{false};
};

} // namespace vxcio::tool
