// vxcio get: one file from a server, by the library's own file copy, or by going on with what an earlier get
// has left.
#include "Console.h"
#include "ExitCodes.h"
#include "FileTarget.h"
#include "FtpLogin.h"
#include "FtpSession.h"
#include "GetCheck.h"
#include "GetPart.h"
#include "Guarded.h"
#include "LibraryCopy.h"
#include "Question.h"
#include "Reader.h"
#include "ResumeRecord.h"
#include "Terminal.h"
#include "Verbs.h"

#include <cstdio>
#include <memory>
#include <optional>
#include <utility>

namespace vxcio::tool {

namespace {

using Clock = CopyReport::Clock;

struct TargetLost {}; // ends the reading

// One download. Its steps give the exit code of a failure that has been told, or nothing.
class Getting {
public:
    Getting(const CopyJob& job, const Options& options, LogView& log, CopyReport& report)
        : m_Job(job), m_Options(options), m_Log(log), m_Report(report), m_Question(options),
          m_Source(*job.input.entries.front().ftp), m_bByPart(WayOf(options).mode == FTPMODE_NORMAL) {
        m_Job.part = m_Job.place + kLibraryPart;
    }

    int Run() {
        const Clock::time_point start = Clock::now();
        for (const auto step :
             {&Getting::Look, &Getting::SettlePart, &Getting::Fetch, &Getting::Check, &Getting::Publish}) {
            if (const std::optional<int> failed = (this->*step)()) {
                return *failed;
            }
        }
        RemoveRecord(m_Job.part, m_Options);
        m_Facts.seconds = std::chrono::duration<double>(Clock::now() - start).count();
        m_Facts.resumed = m_Job.goOnAt;
        m_Report.Tell(m_Job, m_Facts);
        return kExitOk;
    }

private:
    std::string Source() const { return InQuotes(m_Job.input.written); }
    std::string Target() const { return InQuotes(m_Job.target); }
    std::string Part() const { return InQuotes(m_Job.target + kLibraryPart); }

    int Fail(int exitCode, const std::string& reason) {
        m_pStream.reset();
        m_File.reset();
        if (m_pTarget) {
            m_pTarget->Abandon();
            m_pTarget.reset();
        }
        if (!m_bBegun) {
            m_Report.TellFailure(m_Job, reason, exitCode, nullptr);
            return exitCode;
        }
        TakeBack();
        const Leftover left = LeaveDownload(m_Job, m_bByPart ? m_Job.part : m_Job.place,
                                            m_bByPart ? &m_SourceFacts : nullptr, m_Options);
        m_Report.TellFailure(m_Job, reason, exitCode, &left);
        return exitCode;
    }
    int FailOpen(const std::string& reason) {
        return InterruptWanted() ? FailInterrupted()
                                 : Fail(kExitFailed, "cannot open " + Source() + ": " + reason);
    }
    int FailSource(const std::string& reason) {
        return InterruptWanted() ? FailInterrupted() : Fail(kExitFailed, Source() + ": " + reason);
    }
    int FailTarget(const std::string& reason) {
        return Fail(kExitTarget, "cannot write " + Target() + ": " + reason);
    }
    int FailInterrupted() { return Fail(kExitInterrupted, "the copy to " + Target() + " was interrupted"); }
    int Decline(const std::string& what) {
        return InterruptWanted()
                   ? FailInterrupted()
                   : Fail(kExitFailed, what + " is there and stays as it is: " + m_Question.WhyNot());
    }

    // A file that turns out not to be whole loses its name again.
    void TakeBack() {
        if (m_bByPart && std::exchange(m_bNamed, false)) {
            Within<int>(TargetLimit(m_Options), [from = m_Job.place, to = m_Job.part] {
                return std::rename(from.c_str(), to.c_str());
            });
        }
    }

    // Folder, part and server, before anything is touched.
    std::optional<int> Look() {
        const std::string folder = m_Job.place.substr(0, m_Job.place.rfind('/') + 1);
        const NameFacts around = LookWithin(folder, m_Options);
        if (around.kind != NameKind::Folder) {
            return FailTarget(around.kind == NameKind::Unknown ? around.reason
                                                               : "there is no folder " + InQuotes(folder));
        }
        m_Part = LookWithin(m_Job.part, m_Options);
        if (m_Part.kind != NameKind::File && (m_Part.kind != NameKind::Missing || m_Part.leadsNowhere)) {
            return FailTarget(Part() + " is in the way: " +
                              (m_Part.kind == NameKind::Unknown ? m_Part.reason : "it is no ordinary file"));
        }
        std::string reason;
        if (!FtpSession::Open<CSoftDataSource>(m_Source, m_Options, m_Log, reason)) {
            return FailOpen(reason);
        }
        if (m_bByPart) {
            // Ahead of the transfer, so that what comes is not older than this.
            m_SourceFacts.time = ListedTime(m_Source, m_Options, m_Log);
        }
        return std::nullopt;
    }

    // A part that is there is gone on with, or lost after a question, or nothing is done.
    std::optional<int> SettlePart() {
        if (m_Part.bytes == 0) {
            m_Question.Settle(ResumeText(m_Job.place), true);
            return std::nullopt;
        }
        if (m_Options.resume) {
            if (m_Job.exists && !m_Question.AskToOverwrite(m_Job.place)) {
                return Decline(Target());
            }
            std::string reason;
            switch (MatchPart(m_Job, m_Part.bytes, m_Options, m_Log, m_Report, m_SourceFacts, m_pStream,
                              reason)) {
            case Match::Same:
                m_Job.goesOn = true;
                m_Job.goOnAt = m_Part.bytes;
                return std::nullopt;
            case Match::Differs:
                break;
            case Match::SourceFailed:
                return FailSource("it cannot be compared with " + Part() + ": " + reason);
            case Match::PartFailed:
                return FailTarget(Part() + " cannot be read: " + reason);
            case Match::Interrupted:
                return FailInterrupted();
            }
            m_pStream.reset();
            m_Report.End();
            Complain("get: " + Part() + " is not gone on with: " + reason);
        }
        if (!m_Question.AskToOverwrite(m_Job.part)) {
            return Decline(Part());
        }
        // The library writes it anew whatever it is told.
        m_Question.Settle(ResumeText(m_Job.place), true);
        return std::nullopt;
    }

    std::optional<int> Fetch() { return m_Job.goesOn ? FetchRest() : FetchAll(); }

    std::optional<int> FetchAll() {
        using Kind = LibraryCopyEnd::Kind;
        const LibraryCopyEnd end = CopyByLibrary(m_Job, m_bByPart, m_Options, m_Log, m_Report, m_Question);
        m_bBegun = end.isBegun;
        m_SourceFacts.size = end.total;
        // The library gives the name where the sizes agree.
        m_bNamed = end.kind == Kind::Ended && (!m_bByPart || end.done == end.total);
        switch (end.kind) {
        case Kind::Ended:
            break;
        case Kind::Declined:
            return Decline(Target());
        case Kind::SourceRefused:
            return FailOpen(end.reason);
        case Kind::SourceLost:
            return FailSource(end.reason);
        case Kind::TargetLost:
            return FailTarget(end.reason);
        case Kind::Interrupted:
            return FailInterrupted();
        }
        if (const std::string failure = m_Log.WriteFailure(); !failure.empty()) {
            return FailTarget(WriteReason(failure));
        }
        if (const std::string trouble = TroubleWith(end, m_Source, m_Options, m_Log); !trouble.empty()) {
            return FailSource(trouble);
        }
        m_Facts.bytes = end.done;
        return std::nullopt;
    }

    std::optional<int> FetchRest() {
        std::string reason;
        m_pTarget = FileTarget::Open(m_Job, m_Options, m_Log, reason);
        if (!m_pTarget) {
            return FailTarget(reason);
        }
        m_bBegun = true;
        m_Report.Begin(m_Job, "copy", m_SourceFacts.size - m_Job.goOnAt);
        uint64 written = 0;
        uint64 done = 0;
        ReadEnd end = ReadEnd::Short;
        try {
            end = ReadThrough(
                *m_pStream, ReadJob{m_Job.goOnAt, std::nullopt, m_Options.block}, m_Log, m_Report.Bar(),
                m_Job.target,
                [&](const uint8* data, uint32 bytes) {
                    if (!m_pTarget->Write(data, bytes)) {
                        throw TargetLost{};
                    }
                    m_Report.Reach(written += bytes);
                },
                done, reason);
        } catch (const TargetLost&) {
            reason = m_pTarget->WriteFailure();
            return FailTarget(reason.empty() ? "the library could not write it" : reason);
        }
        m_pStream.reset();
        // Also behind a failure what came is to stand there, for the next one to go on with.
        const std::string failure = m_pTarget->Finish();
        if (end == ReadEnd::Interrupted) {
            return FailInterrupted();
        }
        if (!failure.empty()) {
            return FailTarget(failure);
        }
        if (end == ReadEnd::Short) {
            return FailSource(reason);
        }
        m_Facts.bytes = m_Job.goOnAt + written;
        return std::nullopt;
    }

    std::optional<int> Check() {
        const std::string name = m_bNamed ? m_Job.place : m_Job.part;
        using Opened = std::pair<TargetFile::Pointer, std::string>;
        const std::optional<Opened> opened = Within<Opened>(TargetLimit(m_Options), [name] {
            Opened result;
            result.first = TargetFile::Open(name, result.second);
            return result;
        });
        if (!opened || !opened->first) {
            return FailTarget(opened ? opened->second : "the disk does not answer in time");
        }
        m_File = opened->first;
        std::string reason;
        switch (
            CheckDownload(m_Job, m_File, m_SourceFacts.size, m_Options, m_Log, m_Report, m_Facts, reason)) {
        case Arrived::Whole:
            return std::nullopt;
        case Arrived::SourceFailed:
            return FailSource(reason);
        case Arrived::TargetFailed:
            return FailTarget(reason);
        case Arrived::Differs:
            return Fail(kExitMismatch, "the copy to " + Target() + " is spoilt: " + reason);
        case Arrived::Interrupted:
            break;
        }
        return FailInterrupted();
    }

    std::optional<int> Publish() {
        if (m_bNamed) {
            return std::nullopt;
        }
        if (InterruptWanted()) {
            return FailInterrupted();
        }
        if (m_pTarget) {
            const std::string failure = m_pTarget->Publish();
            return failure.empty() ? std::nullopt : std::optional<int>(FailTarget(failure));
        }
        const std::optional<std::string> failure = Within<std::string>(
            TargetLimit(m_Options), [file = m_File, place = m_Job.place] { return file->RenameTo(place); });
        if (!failure || !failure->empty()) {
            return FailTarget("it cannot get its name: " +
                              (failure ? *failure : std::string("the disk does not answer in time")));
        }
        return std::nullopt;
    }

    CopyJob m_Job;
    const Options& m_Options;
    LogView& m_Log;
    CopyReport& m_Report;
    Question m_Question;
    const FtpName& m_Source;
    const bool m_bByPart; // it has its name when it is whole
    NameFacts m_Part;     // as it was found
    SourceFacts m_SourceFacts;
    std::unique_ptr<Stream> m_pStream;
    std::unique_ptr<FileTarget> m_pTarget;
    TargetFile::Pointer m_File;
    bool m_bBegun = false; // something is left behind
    bool m_bNamed = false; // what was fetched has the target's name
    CopyFacts m_Facts;
};

} // namespace

int RunGet(const Options& options, LogView& log) {
    Options whole = options;
    if (whole.names.size() == 1) {
        whole.names.emplace_back(".");
    }
    const CopyPlan plan = MakeCopyPlan(whole, log);
    if (plan.exitCode != kExitOk) {
        Complain("get: " + plan.reason);
        return plan.exitCode;
    }
    CopyJob job = plan.jobs.front();
    job.verb = "get";
    while (job.place.starts_with("././")) { // as it stands in questions
        job.place.erase(0, 2);
    }
    CopyReport report(whole, [] { return Clock::now(); });
    return Getting(job, whole, log, report).Run();
}

} // namespace vxcio::tool
