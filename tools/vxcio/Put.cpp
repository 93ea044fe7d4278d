// vxcio put: one file to a server, as a copy with questions, or by going on with what an earlier put has
// left.
#include "ComparePart.h"
#include "Console.h"
#include "CopyReport.h"
#include "Copying.h"
#include "ExitCodes.h"
#include "FtpCommands.h"
#include "FtpReading.h"
#include "LibraryCopy.h"
#include "Question.h"
#include "Sizes.h"
#include "Stream.h"
#include "Terminal.h"
#include "Verbs.h"

#include <memory>
#include <optional>
#include <utility>

namespace vxcio::tool {

namespace {

// What is settled before a byte goes out. Its steps give the exit code of a failure that has been told, or
// nothing.
class Putting {
public:
    Putting(CopyJob job, const Options& options, LogView& log, CopyReport& report)
        : m_Job(std::move(job)), m_Options(options), m_Log(log), m_Report(report), m_Question(options) {}

    int Run() {
        for (const auto step : {&Putting::SettleTarget, &Putting::SettlePart}) {
            if (const std::optional<int> failed = (this->*step)()) {
                return *failed;
            }
        }
        return CopyOne(m_Job, m_Options, m_Log, m_Report);
    }

private:
    std::string Part() const { return InQuotes(m_Job.ftp->At(m_Job.part).Shown()); }

    int Fail(int exitCode, const std::string& reason) {
        const int code = InterruptWanted() ? kExitInterrupted : exitCode;
        const std::string words = "the copy to " + InQuotes(m_Job.target) + " was interrupted";
        m_Report.TellFailure(m_Job, InterruptWanted() ? words : reason, code, nullptr);
        return code;
    }
    int FailTarget(const std::string& reason) {
        return Fail(kExitTarget, "cannot write " + InQuotes(m_Job.target) + ": " + reason);
    }
    int FailSource(const std::string& reason) {
        return Fail(kExitFailed, InQuotes(m_Job.input.written) + ": " + reason);
    }
    int Decline(const std::string& what) {
        return Fail(kExitFailed, what + " is there and stays as it is: " + m_Question.WhyNot());
    }

    // Its size where it is there, which a listing need not show.
    std::optional<uint64> Find(const FtpName& name, std::string& reason) {
        bool isMissing = false;
        const std::optional<uint64> size = FtpSizeOf(name, m_Options, m_Log, reason, &isMissing);
        if (isMissing) {
            reason.clear();
        }
        return size;
    }

    std::optional<int> SettleTarget() {
        std::string reason;
        m_Job.exists = m_Job.exists || Find(*m_Job.ftp, reason).has_value();
        if (!m_Job.exists && !reason.empty()) {
            return FailTarget("whether it is there cannot be told: " + reason);
        }
        if (m_Job.exists && !m_Question.AskToOverwrite(m_Job.target)) {
            return Decline(InQuotes(m_Job.target));
        }
        return std::nullopt;
    }

    // A part that is there is gone on with, or lost after a question, or nothing is done.
    std::optional<int> SettlePart() {
        if (m_Job.part == m_Job.place) {
            return std::nullopt; // of a device
        }
        m_Job.part = m_Job.place + kLibraryPart;
        const FtpName part = m_Job.ftp->At(m_Job.part);
        std::string reason;
        const std::optional<uint64> size = Find(part, reason);
        if (!size) {
            return reason.empty() ? std::nullopt
                                  : std::optional<int>(FailTarget("whether " + Part() +
                                                                  " is there cannot be told: " + reason));
        }
        if (*size == 0 && IsProvenEmpty(part, m_Options, m_Log)) {
            return Remove(part);
        }
        if (m_Options.resume) {
            std::string against;
            if (const std::optional<int> failed = ComparePart(part, against)) {
                return failed;
            }
            if (m_Job.goesOn) {
                return std::nullopt;
            }
            m_Report.End();
            Complain("put: " + Part() + " is not gone on with: " + against);
        }
        return m_Question.AskToOverwrite(part.Shown()) ? Remove(part) : Decline(Part());
    }

    // Sending goes astray where there is one.
    std::optional<int> Remove(const FtpName& part) {
        const std::string reason = FtpCommands(m_Options, m_Log).Delete(part);
        return reason.empty() ? std::nullopt
                              : std::optional<int>(FailTarget(Part() + " cannot be removed: " + reason));
    }

    std::optional<int> ComparePart(const FtpName& part, std::string& against) {
        std::string reason;
        const std::unique_ptr<Stream> source = Stream::Open(m_Job.input, m_Options, m_Log, reason);
        if (!source) {
            return Fail(kExitFailed, "cannot open " + InQuotes(m_Job.input.written) + ": " + reason);
        }
        Options plain = m_Options;
        plain.preRead.reset();
        const std::unique_ptr<FtpReading> there = FtpReading::Open(part, plain, m_Log, reason);
        if (!there) {
            return FailTarget(Part() + " cannot be read: " + reason);
        }
        const uint64 bytes = there->Size();
        if (bytes == 0 || bytes > source->Size()) {
            against = bytes == 0 ? "the server tells no size of it"
                                 : "it holds " + WithCommas(bytes) + " bytes, and the source " +
                                       WithCommas(source->Size());
            return std::nullopt;
        }
        m_Report.Begin(m_Job, "compare", bytes);
        uint64 at = 0;
        switch (Compare(*source, *there, {{0, bytes}}, m_Report, at, reason)) {
        case Likeness::Same:
            m_Job.goesOn = true;
            m_Job.goOnAt = bytes;
            break;
        case Likeness::Differs:
            against = "it differs from the source at byte " + WithCommas(at);
            break;
        case Likeness::Unread:
        case Likeness::Interrupted:
            return FailSource("it cannot be compared with " + Part() + ": " + reason);
        }
        return std::nullopt;
    }

    CopyJob m_Job;
    const Options& m_Options;
    LogView& m_Log;
    CopyReport& m_Report;
    Question m_Question;
};

} // namespace

int RunPut(const Options& options, LogView& log) {
    const CopyPlan plan = MakeCopyPlan(options, log);
    if (plan.exitCode != kExitOk) {
        Complain("put: " + plan.reason);
        return plan.exitCode;
    }
    CopyReport report(options, [] { return CopyReport::Clock::now(); });
    CopyJob job = plan.jobs.front();
    job.verb = "put";
    return Putting(job, options, log, report).Run();
}

} // namespace vxcio::tool
