// FtpSession.h - one logged-on FTP session of the library, whose server may stand still at any moment.
#pragma once

#include "FtpName.h"
#include "LogView.h"
#include "Options.h"
#include "TimedThread.h"

#include "module/VXCSoftCodecIO.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace vxcio::tool {

// Used by one thread. Each question to the library runs on a thread of the session and has a limit; one whose
// limit has passed ends the session: it is left as it is, without a farewell for which it would wait.
//
// A session is used for one transfer, or for commands without one: the library collects the last reply of a
// transfer where the next one is set up, waits 15 seconds there where it has been collected already, and
// takes it for that of the next command where it has not.
class FtpSession {
public:
    // Logged on. Null with a reason, in which the server's own words stand where it said any.
    template <class Io>
    static std::unique_ptr<FtpSession> Open(const FtpName& name, const Options& options, LogView& log,
                                            std::string& reason) {
        return Begin(std::shared_ptr<CSoftDataIO>(Io::Construct(IOWORKMODE_FTP)), name, options, log, reason);
    }

    // Says goodbye if the session stands, within a moment.
    ~FtpSession();
    FtpSession(const FtpSession&) = delete;
    FtpSession& operator=(const FtpSession&) = delete;

    const FtpName& Name() const { return m_Name; }
    LogView& Log() const { return m_Log; }
    std::chrono::milliseconds Limit() const { return m_Limit; }

    // What the library says, or nothing where it takes longer than the limit. `ask` owns what it uses beside
    // its argument.
    template <class Result>
    std::optional<Result> Ask(std::function<Result(CSoftDataIO&)> ask) {
        auto result = std::make_shared<Result>();
        const bool isThere =
            m_Thread.Do(m_Limit, [io = m_pIo, ask = std::move(ask), result] { *result = ask(*io); });
        return isThere ? std::optional<Result>(std::move(*result)) : std::nullopt;
    }

    // The object, and the thread for work on it that is begun and waited for apart.
    const std::shared_ptr<CSoftDataIO>& Io() const { return m_pIo; }
    TimedThread& Thread() { return m_Thread; }

    // Ends the session by these operations, within a moment; what takes longer goes on by itself.
    void Leave(std::function<void(CSoftDataIO&)> farewell);
    // The session is not to be used any more, not even for a farewell.
    void GiveUp() { m_bGood = false; }

    // "the server does not answer within 60000 ms".
    std::string NoAnswer() const;
    // What it last said in words, in front of `otherwise` where it said anything.
    std::string Words(const std::string& otherwise) const;

private:
    FtpSession(std::shared_ptr<CSoftDataIO> io, const FtpName& name, const Options& options, LogView& log);
    static std::unique_ptr<FtpSession> Begin(std::shared_ptr<CSoftDataIO> io, const FtpName& name,
                                             const Options& options, LogView& log, std::string& reason);
    std::string Connect(const Options& options);

    std::shared_ptr<CSoftDataIO> m_pIo;
    const FtpName m_Name;
    const std::chrono::milliseconds m_Limit;
    LogView& m_Log;
    TimedThread m_Thread;
    bool m_bGood = false;
};

// Why an operation that opens ended with this status, as the end of a sentence. `reply` is the server's last
// line, empty where it said nothing.
std::string FtpStatusWords(uint32 status, const std::string& reply);

} // namespace vxcio::tool
