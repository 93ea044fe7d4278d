#include "GetPart.h"

#include "ComparePart.h"
#include "Console.h"
#include "FtpListing.h"
#include "Guarded.h"
#include "ResumeRecord.h"
#include "Sizes.h"

#include <chrono>
#include <cstdio>
#include <ratio>

namespace vxcio::tool {

namespace {

// A listing tells minutes, and no zone. A file that has just been written may be written again within the
// same minute; of one whose time lies so far back, here and wherever the server stands, the next change
// shows.
constexpr std::chrono::hours kSettled{48};

bool IsSettled(uint64 time) {
    using Ticks = std::chrono::duration<uint64, std::ratio<1, 10'000'000>>;
    constexpr Ticks kUnixEpoch{116'444'736'000'000'000}; // from the start of 1601
    const auto now = std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch());
    return Ticks(time) + kSettled < kUnixEpoch + now;
}

} // namespace

NameFacts LookWithin(const std::string& name, const Options& options) {
    const std::chrono::milliseconds limit = TargetLimit(options);
    const std::optional<NameFacts> facts = Within<NameFacts>(limit, [name] { return LookAt(name); });
    if (facts) {
        return *facts;
    }
    NameFacts unknown;
    unknown.reason = "the disk does not answer within " + std::to_string(limit.count()) + " ms";
    return unknown;
}

uint64 ListedTime(const FtpName& source, const Options& options, LogView& log) {
    std::string ignored;
    const std::optional<FtpEntry> entry = ListedEntry(source, options, log, ignored);
    return entry && IsSettled(entry->time) ? entry->time : 0;
}

Match MatchPart(const CopyJob& job, uint64 bytes, const Options& options, LogView& log, CopyReport& report,
                SourceFacts& facts, std::unique_ptr<Stream>& source, std::string& reason) {
    source = Stream::Open(job.input, options, log, reason);
    if (!source) {
        return Match::SourceFailed;
    }
    facts.size = source->Size();
    if (facts.size == 0 || bytes > facts.size) {
        reason = facts.size == 0
                     ? "the server tells no size of the source"
                     : "it holds " + WithCommas(bytes) + " bytes, and the source " + WithCommas(facts.size);
        return Match::Differs;
    }
    const std::unique_ptr<Stream> part = Stream::Open(PlainInput(job.part), options, log, reason);
    if (!part) {
        return Match::PartFailed;
    }
    const ResumeRecord now{job.input.written, facts.size, facts.time, bytes};
    const bool isKnown = facts.time != 0 && ReadRecord(job.part, options) == now;
    const std::vector<Range> ranges = isKnown ? WindowsOf(bytes) : std::vector<Range>{{0, bytes}};
    uint64 total = 0;
    for (const Range& range : ranges) {
        total += range.bytes;
    }
    report.Begin(job, "compare", total);
    uint64 at = 0;
    switch (Compare(*source, *part, ranges, report, at, reason)) {
    case Likeness::Same:
        return Match::Same;
    case Likeness::Differs:
        reason = "it differs from the source at byte " + WithCommas(at);
        return Match::Differs;
    case Likeness::Interrupted:
        return Match::Interrupted;
    case Likeness::Unread:
        break;
    }
    return Match::SourceFailed;
}

Leftover LeaveDownload(const CopyJob& job, const std::string& name, const SourceFacts* facts,
                       const Options& options) {
    // As the target was written, not as it was found.
    const std::string shown = job.target + name.substr(job.place.size());
    const NameFacts there = LookWithin(name, options);
    Leftover left;
    if (there.kind == NameKind::Missing) {
        left.words = "nothing is left of it";
        return left;
    }
    // Nobody goes on with nothing.
    if (facts != nullptr && there.kind == NameKind::File && there.bytes == 0) {
        Within<int>(TargetLimit(options), [name] { return std::remove(name.c_str()); });
        RemoveRecord(job.part, options);
        left.words = "nothing is left of it";
        return left;
    }
    left.name = shown;
    if (there.kind != NameKind::File) {
        left.words = "what stands at " + InQuotes(shown) + " cannot be told";
        return left;
    }
    left.bytes = there.bytes;
    left.words =
        InQuotes(shown) + " holds " + WithCommas(left.bytes) + (left.bytes == 1 ? " byte" : " bytes");
    if (facts == nullptr) {
        return left;
    }
    if (facts->size == 0 || facts->time == 0) {
        RemoveRecord(job.part, options); // one of another part
        return left;
    }
    const ResumeRecord record{job.input.written, facts->size, facts->time, there.bytes};
    if (const std::string failure = WriteRecord(job.part, record, options); !failure.empty()) {
        Complain("get: warning: what " + InQuotes(shown) + " was made from cannot be noted: " + failure);
    }
    return left;
}

} // namespace vxcio::tool
