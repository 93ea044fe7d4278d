#include "LibraryCopy.h"

#include "Console.h"
#include "FileTarget.h"
#include "FtpLogin.h"
#include "FtpSession.h"
#include "FtpTalk.h"
#include "Terminal.h"
#include "Text.h"
#include "TimedThread.h"

#include "ftp/FileCopy.h"
#include "sysu/HostControl.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace vxcio::tool {

namespace {

using Clock = std::chrono::steady_clock;
using Kind = LibraryCopyEnd::Kind;

constexpr std::chrono::milliseconds kLook{50};      // for the wish to stop
constexpr std::chrono::milliseconds kFarewell{500}; // when all has been told
// The library's own limit for data is the same as that for questions, and tells more; and a transfer that is
// stopped has to hear the server's last word.
constexpr std::chrono::milliseconds kGrace{3000};
constexpr uint32 kDeclined = 1;

constexpr std::string_view kSourceRefused = "Open source file";
constexpr std::string_view kSendFailed = "Can't send data";

// What the two threads share; the copying one owns it as well, as it may be left behind.
struct Work {
    // Of the copying thread.
    std::wstring local;
    std::wstring remote;
    std::wstring host;
    std::wstring user;
    std::wstring password;
    int port = 0;
    FtpWay way{};
    bool byPart = false;
    FtpTalk talk;

    int cancel = 0; // set as an atomic

    std::mutex mutex;
    std::condition_variable changed;
    // Guarded by the mutex.
    uint64 steps = 0; // any sign of life
    std::vector<std::string> lines;
    int64 total = 0;
    int64 done = 0;
    bool hasData = false;
    bool isBegun = false;
    std::string refused;
    std::string reply; // the last one about the transfer
    bool isEnded = false;
    std::string endText;
    std::optional<std::string> question;
    std::optional<bool> answer;
    bool isLeft = false;
    bool isFinished = false;
    std::string thrown;
    uint32 status = 0;
};

int OnReport(int code, const wchar_t* text, int64 total, int64 done, void* context) {
    auto& work = *static_cast<Work*>(context);
    const std::string words = text == nullptr ? std::string() : Narrow(text);
    const std::lock_guard lock(work.mutex);
    ++work.steps;
    switch (code) {
    case VXC_COPY_PROGRESS:
        work.total = total;
        work.done = done;
        work.hasData = true;
        break;
    case VXC_COPY_REFUSED:
        work.refused = words;
        work.reply = work.talk.ReplyTo("RETR");
        break;
    case VXC_COPY_ENDED:
        work.total = total;
        work.done = done;
        work.endText = words;
        work.isEnded = true;
        work.reply = work.talk.ReplyTo("RETR");
        break;
    case VXC_COPY_BEGINS:
        work.isBegun = true;
        break;
    case VXC_COPY_STATUS:
        work.lines.push_back(words);
        break;
    default:
        break;
    }
    work.changed.notify_all();
    return 0;
}

int OnQuestion(void* context, const wchar_t* text, const wchar_t*, uint32) {
    auto& work = *static_cast<Work*>(context);
    std::unique_lock lock(work.mutex);
    work.question = text == nullptr ? std::string() : Narrow(text);
    work.answer.reset();
    work.changed.notify_all();
    work.changed.wait(lock, [&work] { return work.answer || work.isLeft; });
    return !work.isLeft && work.answer.value_or(false) ? kPromptYes : kPromptNo;
}

void Copy(Work& work) {
    uint32 status = 0;
    std::string thrown;
    try {
        const FtpTalk::Hearing hearing(work.talk);
        status = static_cast<uint32>(QLFileCopy(0, work.local.c_str(), work.remote.c_str(), work.way.mode,
                                                work.host.c_str(), work.user.c_str(), work.password.c_str(),
                                                work.port, &work.cancel, &OnReport, &work,
                                                work.byPart ? 1 : 0, work.way.isPassive ? 1 : 0));
    } catch (const std::exception& error) {
        thrown = error.what();
    }
    const std::lock_guard lock(work.mutex);
    work.status = status;
    work.thrown = thrown;
    work.isFinished = true;
    work.changed.notify_all();
}

// Whoever leaves, for whatever reason, stops the copy and lets no question come through any more.
class Watch {
public:
    Watch(std::shared_ptr<Work> work, const CopyJob& job, const Options& options, LogView& log,
          CopyReport& report, Question& question)
        : m_pWork(std::move(work)), m_Job(job), m_Limit(FtpLimit(options)), m_Log(log), m_Report(report),
          m_Question(question) {
        SetPrompt(&OnQuestion, m_pWork.get());
    }
    ~Watch() {
        SetPrompt(nullptr, nullptr);
        Cancel();
        const std::lock_guard lock(m_pWork->mutex);
        m_pWork->isLeft = true;
        m_pWork->changed.notify_all();
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    LibraryCopyEnd Run() {
        m_Thread.Begin([work = m_pWork] { Copy(*work); });
        std::unique_lock lock(m_pWork->mutex);
        Clock::time_point end = Clock::now() + m_Limit + kGrace;
        uint64 seen = 0;
        bool isStopping = false;
        bool isLeaving = false;
        while (!m_pWork->isFinished && Clock::now() < end) {
            m_pWork->changed.wait_for(lock, kLook);
            const bool isAsked = m_pWork->question.has_value();
            if (std::exchange(seen, m_pWork->steps) != m_pWork->steps || isAsked) {
                Tell(lock);
                end = Clock::now() + (isStopping ? kGrace : m_Limit + kGrace);
            }
            if (!isStopping && InterruptWanted()) {
                isStopping = true;
                Cancel();
                end = Clock::now() + kGrace;
            }
            if (!isLeaving && (m_pWork->isEnded || !m_pWork->refused.empty() || m_bDeclined)) {
                isLeaving = true;
                end = std::min(end, Clock::now() + kFarewell);
            }
        }
        m_pWork->isLeft = true;
        m_pWork->question.reset();
        Tell(lock);
        return End();
    }

private:
    void Cancel() const { std::atomic_ref<int>(m_pWork->cancel).store(1); }

    // What has come since the last call; answers a question.
    void Tell(std::unique_lock<std::mutex>& lock) {
        const std::vector<std::string> lines = std::exchange(m_pWork->lines, {});
        const std::optional<std::string> question = std::exchange(m_pWork->question, std::nullopt);
        const auto total = static_cast<uint64>(m_pWork->total);
        const auto done = static_cast<uint64>(m_pWork->done);
        const bool hasData = m_pWork->hasData;
        lock.unlock();
        if (m_Log.IsVerbose()) {
            for (const std::string& line : lines) {
                Complain("get: " + Shown(line));
            }
        }
        if (hasData && !std::exchange(m_bHasBegun, true)) {
            m_Report.Begin(m_Job, "copy", total);
        }
        if (hasData) {
            m_Report.Reach(done);
        }
        const bool answer = question && !InterruptWanted() && m_Question.Ask(*question);
        lock.lock();
        if (question) {
            m_pWork->answer = answer;
            m_bDeclined = m_bDeclined || !answer;
            m_pWork->changed.notify_all();
        }
    }

    // With the mutex held.
    LibraryCopyEnd End() {
        const Work& work = *m_pWork;
        LibraryCopyEnd end;
        end.total = static_cast<uint64>(work.total);
        end.done = static_cast<uint64>(work.done);
        end.isAllSent = work.reply.starts_with('2');
        end.isBegun = work.isBegun;
        end.reply = work.reply;
        Judge(end);
        return end;
    }

    void Judge(LibraryCopyEnd& end) const {
        const Work& work = *m_pWork;
        const auto say = [&end](Kind kind, std::string reason) {
            end.kind = kind;
            end.reason = std::move(reason);
        };
        if (work.isEnded && work.endText.starts_with(kSendFailed)) {
            say(Kind::TargetLost, WriteWords());
        } else if (work.isEnded && (work.done == work.total || !InterruptWanted())) {
            end.kind = Kind::Ended;
        } else if (!work.refused.empty() && work.refused.starts_with(kSourceRefused)) {
            say(Kind::SourceRefused, work.isFinished      ? FtpStatusWords(work.status, work.reply)
                                     : work.reply.empty() ? "the server does not send it"
                                                          : "the server says '" + Shown(work.reply) + "'");
        } else if (!work.refused.empty()) {
            say(Kind::TargetLost, WriteWords());
        } else if (InterruptWanted()) {
            say(Kind::Interrupted, "it was interrupted");
        } else if (m_bDeclined && !work.isBegun) {
            end.kind = Kind::Declined;
        } else if (!work.isFinished) {
            say(Kind::SourceLost,
                std::string(work.isBegun ? "the copy gets no further" : "the server does not answer") +
                    " within " + std::to_string(m_Limit.count()) + " ms");
        } else if (work.status == kDeclined && work.thrown.empty()) {
            end.kind = Kind::Declined;
        } else {
            say(Kind::SourceLost, work.thrown.empty() ? FtpStatusWords(work.status, "") : work.thrown);
        }
    }

    std::string WriteWords() const {
        const std::string write = m_Log.WriteFailure();
        const std::string any = m_Log.LastFailure();
        return !write.empty() ? WriteReason(write)
               : any.empty()  ? "the library could not write it"
                              : Shown(any);
    }

    const std::shared_ptr<Work> m_pWork;
    const CopyJob& m_Job;
    const std::chrono::milliseconds m_Limit;
    LogView& m_Log;
    CopyReport& m_Report;
    Question& m_Question;
    TimedThread m_Thread;
    bool m_bHasBegun = false;
    bool m_bDeclined = false;
};

} // namespace

LibraryCopyEnd CopyByLibrary(const CopyJob& job, bool byPart, const Options& options, LogView& log,
                             CopyReport& report, Question& question) {
    LibraryCopyEnd end;
    const FtpName& source = *job.input.entries.front().ftp;
    const std::optional<FtpLogin> login = LoginFor(source, options, end.reason);
    if (!login) {
        return end;
    }
    if (!login->password.empty()) {
        log.Hide(login->password);
    }
    log.HearServers();
    log.Clear();
    const auto work = std::make_shared<Work>();
    work->local = Widen(job.place);
    work->remote = Widen(source.path);
    work->host = Widen(source.host);
    work->user = Widen(login->user);
    work->password = Widen(login->password);
    work->port = source.port;
    work->way = WayOf(options);
    work->byPart = byPart;
    return Watch(work, job, options, log, report, question).Run();
}

} // namespace vxcio::tool
