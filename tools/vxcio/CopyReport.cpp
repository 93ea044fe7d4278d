#include "CopyReport.h"

#include "Console.h"
#include "DigestList.h"
#include "Json.h"
#include "Sizes.h"
#include "Terminal.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vxcio::tool {

namespace {

constexpr std::chrono::milliseconds kBetweenLines{500};

// The bar stands on standard error; beside it only lines of JSON would get in its way.
Progress::Ground GroundOf(const Options& options, const std::function<CopyReport::Clock::time_point()>& now) {
    return {IsErrorTerminal() && !(options.json && IsOutputTerminal()), ErrorColumns(), now,
            [](std::string_view bar) { ShowBar(bar); }};
}

double Seconds(CopyReport::Clock::duration time) {
    return std::chrono::duration<double>(time).count();
}

// Fractions of less than a millisecond tell nothing.
double Rounded(double value) {
    return std::round(value * 1000) / 1000;
}

} // namespace

CopyReport::CopyReport(const Options& options, std::function<Clock::time_point()> now)
    : m_bJson(options.json), m_fnNow(std::move(now)), m_Progress(GroundOf(options, m_fnNow)) {}

void CopyReport::Begin(const CopyJob& job, const char* work, uint64 total) {
    m_pJob = &job;
    m_pszWork = work;
    m_qwTotal = total;
    m_tBegin = m_fnNow();
    m_tTold = m_tBegin;
    m_Progress.Begin(std::string(work == std::string_view("copy") ? "" : work) +
                         (work == std::string_view("copy") ? "" : " ") + job.target,
                     total);
}

void CopyReport::Reach(uint64 bytes) {
    m_Progress.Reach(bytes);
    if (!m_bJson) {
        return;
    }
    const Clock::time_point now = m_fnNow();
    if (now - m_tTold < kBetweenLines) {
        return;
    }
    m_tTold = now;
    const double rate = static_cast<double>(bytes) / Seconds(now - m_tBegin);
    Json line = {{"event", "progress"}, {"work", m_pszWork}, {"to", m_pJob->target}, {"bytes", bytes}};
    if (m_qwTotal > 0) {
        line["total"] = m_qwTotal;
    }
    line["bytesPerSecond"] = static_cast<uint64>(rate);
    if (m_qwTotal > 0 && rate > 0) {
        line["secondsLeft"] = Rounded(static_cast<double>(m_qwTotal - std::min(bytes, m_qwTotal)) / rate);
    }
    PrintJsonLine(line);
}

void CopyReport::End() {
    m_Progress.End();
}

void CopyReport::Tell(const CopyJob& job, const CopyFacts& facts) {
    m_Progress.End();
    if (m_bJson) {
        Json line = {{"event", "copied"},    {"from", job.input.written},
                     {"to", job.target},     {"start", facts.start},
                     {"bytes", facts.bytes}, {"seconds", Rounded(facts.seconds)}};
        if (facts.resumed > 0) {
            line["resumed"] = facts.resumed;
        }
        if (!facts.digest.empty()) {
            line["md5"] = facts.digest;
        }
        line["verified"] = !facts.verifiedFrom.empty();
        if (!facts.verifiedFrom.empty()) {
            line["verifiedFrom"] = facts.verifiedFrom;
        }
        PrintJsonLine(line);
    } else if (facts.digest.empty()) {
        Print("# " + WithCommas(facts.bytes) + (facts.bytes == 1 ? " byte" : " bytes") + " in " +
              InQuotes(job.target) + "\n");
    } else if (facts.start == 0) {
        Print(FormatDigestLine(facts.digest, job.target) + "\n");
    } else {
        // The digest of a part would be taken for that of the file.
        Print("# " + facts.digest + "  " + WithCommas(facts.bytes) + " bytes from byte " +
              WithCommas(facts.start) + " of " + InQuotes(job.target) + "\n");
    }
}

void CopyReport::TellFailure(const CopyJob& job, const std::string& reason, int exitCode,
                             const Leftover* left) {
    m_Progress.End();
    Complain(std::string(job.verb) + ": " + reason + (left == nullptr ? "" : "; " + left->words));
    if (!m_bJson) {
        return;
    }
    Json line = {{"event", "failed"},
                 {"from", job.input.written},
                 {"to", job.target},
                 {"error", reason},
                 {"exitCode", exitCode}};
    if (left != nullptr && !left->name.empty()) {
        line["left"] = {{"name", left->name}, {"bytes", left->bytes}};
    }
    PrintJsonLine(line);
}

} // namespace vxcio::tool
