#include "Console.h"
#include "CopyPlan.h"
#include "CopyReport.h"
#include "CopyTarget.h"
#include "CopyVerify.h"
#include "Copying.h"
#include "DigestSource.h"
#include "ExitCodes.h"
#include "Guarded.h"
#include "Reader.h"
#include "Sizes.h"
#include "Stream.h"
#include "Terminal.h"
#include "Verbs.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

namespace vxcio::tool {

namespace {

using Clock = CopyReport::Clock;

struct TargetLost {}; // ends the reading

// One copy. Its steps give the exit code of a failure that has been told, or nothing.
class Copying {
public:
    Copying(const CopyJob& job, const Options& options, LogView& log, CopyReport& report)
        : m_Job(job), m_Options(options), m_Log(log), m_Report(report) {}

    int Run() {
        const Clock::time_point start = Clock::now();
        for (const auto step : {&Copying::Open, &Copying::Transfer, &Copying::Bring, &Copying::Publish}) {
            if (const std::optional<int> failed = (this->*step)()) {
                return *failed;
            }
        }
        m_Facts.seconds = std::chrono::duration<double>(Clock::now() - start).count();
        m_Report.Tell(m_Job, m_Facts);
        return kExitOk;
    }

private:
    std::string Source() const { return InQuotes(m_Job.input.written); }
    std::string Target() const { return InQuotes(m_Job.target); }

    int Fail(int exitCode, const std::string& reason) {
        m_pStream.reset();
        if (m_pTarget) {
            const Leftover left = m_pTarget->Abandon();
            m_Report.TellFailure(m_Job, reason, exitCode, &left);
        } else {
            m_Report.TellFailure(m_Job, reason, exitCode, nullptr);
        }
        return exitCode;
    }
    int FailTarget(const std::string& reason) {
        return Fail(kExitTarget, "cannot write " + Target() + ": " + reason);
    }
    int FailInterrupted() { return Fail(kExitInterrupted, "the copy to " + Target() + " was interrupted"); }

    // The source first: without it the target is left alone.
    std::optional<int> Open() {
        std::string reason;
        m_pStream = Stream::Open(m_Job.input, m_Options, m_Log, reason);
        if (!m_pStream) {
            return Fail(kExitFailed, "cannot open " + Source() + ": " + reason);
        }
        m_pTarget = CopyTarget::Open(m_Job, m_Options, m_Log, reason);
        if (!m_pTarget) {
            return FailTarget(reason);
        }
        m_Facts.start = m_pTarget->Start();
        m_Facts.resumed = m_Job.goOnAt;
        return std::nullopt;
    }

    std::optional<int> Transfer() {
        // A sink digests a file from its first byte on, if at all, and here a part of one may be wanted.
        std::unique_ptr<Reading> digested;
        if (NeedsDigest(m_Job, *m_pTarget)) {
            digested = OpenDigestSource(*m_pStream);
            if (!digested) {
                return Fail(kExitFailed, "memory lacks");
            }
            digested->Source()->EnableMD5_Check(1);
            digested->Source()->BeginMD5_Check(1);
        }
        Readable& readable = digested ? static_cast<Readable&>(*digested) : *m_pStream;
        std::string reason;
        ReadEnd end = ReadEnd::Short;
        m_Report.Begin(m_Job, "copy", m_pStream->Size());
        try {
            end = ReadThrough(
                readable, ReadJob{0, std::nullopt, Block()}, m_Log, m_Report.Bar(), m_Job.target,
                [this](const uint8* data, uint32 bytes) { Take(data, bytes); }, m_Facts.bytes, reason);
        } catch (const TargetLost&) {
            if (IsCutShort()) {
                return FailInterrupted();
            }
            reason = m_pTarget->WriteFailure();
            return FailTarget(reason.empty() ? "the library could not write it" : reason);
        }
        if (end == ReadEnd::Interrupted) {
            return FailInterrupted();
        }
        if (const std::string failure = m_pTarget->WriteFailure(); !failure.empty()) {
            return FailTarget(failure); // whatever reading says: its words may be those of the write
        }
        if (end == ReadEnd::Short) {
            return Fail(kExitFailed, Source() + ": " + reason);
        }
        if (digested) {
            m_Facts.digest = TakeDigest(*digested->Source());
        }
        return std::nullopt;
    }

    // The wish to stop ends a wait for a server, which is no failure of it.
    bool IsCutShort() const { return m_Job.ftp && InterruptWanted(); }

    // A sink for files has blocks of its own; to a server each goes out as it was read.
    uint32 Block() const { return m_Job.ftp ? m_Options.targetBlock : m_Options.block; }

    void Take(const uint8* data, uint32 bytes) {
        // What stands there already was compared.
        const auto there =
            static_cast<uint32>(std::min<uint64>(bytes, m_Job.goOnAt - std::min(m_Job.goOnAt, m_qwTaken)));
        if (there < bytes && !m_pTarget->Write(data + there, bytes - there)) {
            throw TargetLost{};
        }
        m_qwTaken += bytes;
        m_Report.Reach(m_qwTaken);
    }

    // All that was written reaches the file, and the disk where that is wanted.
    std::optional<int> Bring() {
        m_pStream.reset();
        if (m_Facts.digest.empty()) {
            m_Facts.digest = m_pTarget->Digest();
        }
        std::string reason = m_pTarget->Finish();
        if (!reason.empty()) {
            return IsCutShort() ? FailInterrupted() : FailTarget(reason);
        }
        if (m_Facts.digest.empty()) {
            return Fail(kExitFailed, Source() + ": the library gave no digest");
        }
        Checked checked = Checked::Good;
        if (m_pTarget->File() && (m_Options.verify || m_Options.sync)) {
            checked = SyncTarget(m_Job, *m_pTarget, m_Facts.bytes, m_Options, m_Report, reason);
        }
        if (checked == Checked::Good && m_Options.verify) {
            checked = VerifyTarget(m_Job, *m_pTarget, m_Facts.bytes, m_Facts.digest, m_Options, m_Log,
                                   m_Report, m_Facts.verifiedFrom, reason);
        }
        switch (checked) {
        case Checked::Good:
            return std::nullopt;
        case Checked::Differs:
            return Fail(kExitMismatch, "the copy to " + Target() + " is spoilt: " + reason);
        case Checked::Interrupted:
            return FailInterrupted();
        case Checked::Failed:
            break;
        }
        return FailTarget(reason);
    }

    std::optional<int> Publish() {
        if (InterruptWanted()) {
            return FailInterrupted();
        }
        std::string reason = m_pTarget->Publish();
        if (!reason.empty()) {
            return FailTarget(reason);
        }
        if (m_Options.sync) {
            const std::string place = m_Job.place;
            const std::optional<std::string> synced =
                Within<std::string>(TargetLimit(m_Options), [place] { return SyncFolderOf(place); });
            if (!synced || !synced->empty()) {
                m_pTarget.reset(); // it is whole and has its name
                return FailTarget("it is whole, but its name may not be on the disk yet: " +
                                  (synced ? *synced : std::string("the disk does not answer in time")));
            }
        }
        return std::nullopt;
    }

    const CopyJob& m_Job;
    const Options& m_Options;
    LogView& m_Log;
    CopyReport& m_Report;
    std::unique_ptr<Stream> m_pStream;
    std::unique_ptr<CopyTarget> m_pTarget;
    uint64 m_qwTaken = 0;
    CopyFacts m_Facts;
};

} // namespace

int CopyOne(const CopyJob& job, const Options& options, LogView& log, CopyReport& report) {
    return Copying(job, options, log, report).Run();
}

int RunCopy(const Options& options, LogView& log) {
    const CopyPlan plan = MakeCopyPlan(options, log);
    if (plan.exitCode != kExitOk) {
        Complain("copy: " + plan.reason);
        return plan.exitCode;
    }
    CopyReport report(options, [] { return Clock::now(); });
    int code = kExitOk;
    for (std::size_t i = 0; i < plan.jobs.size(); ++i) {
        const int one = InterruptWanted() ? kExitInterrupted : CopyOne(plan.jobs[i], options, log, report);
        code = std::max(code, one);
        // A source that cannot be read is no reason to leave out the others; a bad target is one.
        if (one > kExitFailed) {
            if (const std::size_t rest = plan.jobs.size() - i - 1; rest > 0) {
                report.End();
                Complain("copy: " + WithCommas(rest) + (rest == 1 ? " file was" : " files were") +
                         " not begun");
            }
            break;
        }
    }
    return code;
}

} // namespace vxcio::tool
