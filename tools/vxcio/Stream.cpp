#include "Stream.h"

#include "Console.h"
#include "CopyWatch.h"
#include "FtpReading.h"
#include "HttpListReading.h"
#include "HttpReading.h"
#include "HttpWords.h"
#include "Probe.h"
#include "Sizes.h"
#include "StretchReading.h"
#include "Terminal.h"
#include "Text.h"

#include "frame/SystemLayer.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace vxcio::tool {

namespace {

using Clock = std::chrono::steady_clock;

// A copy that failed is opened again once a second.
constexpr std::chrono::milliseconds kPatience{3000};
constexpr std::chrono::milliseconds kPause{20};
constexpr std::chrono::milliseconds kAskLimit{10000};
constexpr std::chrono::milliseconds kLostLimit{2000}; // reading has to begin
constexpr uint32 kNoLimit = 0xFFFFFFFF;

PreRead PreReadOf(const Options& options, bool isNeeded) {
    constexpr uint32 kMost = 0x7FFFFFFF;
    PreRead preRead;
    preRead.longestRead = static_cast<int>(std::min(options.block, kMost));
    preRead.bytes = static_cast<int>(std::max(options.preRead.value_or(0), isNeeded ? 1u : 0u));
    return preRead;
}

// Two copies past the cache: a read of other than whole sectors reports its full size whatever came. The ring
// reads whole sectors only.
bool NeedsPreRead(const Input& input, const Options& options) {
    return options.unbuffered && std::any_of(input.entries.begin(), input.entries.end(),
                                             [](const Entry& entry) { return !entry.second.empty(); });
}

uint32 FlagsOf(const Options& options) {
    return options.unbuffered ? VXC_FILE_FLAG_NO_BUFFERING : VXC_FILE_FLAG_SEQUENTIAL_SCAN;
}

// Both copies by themselves, with what keeps each from being read.
std::string ReasonOfPair(const Entry& entry, const Options& options) {
    const FileFacts first = AskFile(entry.first, AskLimit(options));
    const FileFacts second = AskFile(entry.second, AskLimit(options));
    const auto words = [](const FileFacts& facts) {
        return !facts.opened ? facts.reason : facts.size == 0 ? "it is empty" : "it can be opened by now";
    };
    return "neither copy could be opened: copy 1 " + InQuotes(entry.first) + ": " + words(first) +
           "; copy 2 " + InQuotes(entry.second) + ": " + words(second);
}

std::string ReasonOfLoss(const LostCopy& lost) {
    if (lost.timedOut) {
        return "the disk did not answer in time";
    }
    const FileFacts facts = AskFile(lost.name, kLostLimit);
    if (!facts.opened) {
        return facts.reason;
    }
    return facts.size == 0 ? "it is empty" : "it could not be opened when the other was";
}

void WarnOfLostCopy(const LostCopy& lost) {
    Complain("warning: copy " + std::to_string(lost.number) + " " + InQuotes(lost.name) +
             " cannot be read: " + ReasonOfLoss(lost) + "; the other is read alone");
}

std::unique_ptr<Reading> OpenEntry(const Entry& entry, const Options& options, const PreRead& preRead,
                                   LogView& log, std::string& reason) {
    if (!entry.wrong.empty()) {
        reason = entry.wrong;
        return nullptr;
    }
    if (entry.ftp && entry.stretch) {
        return StretchReading::Open(*entry.ftp, *entry.stretch, options, log, reason);
    }
    if (entry.ftp) {
        return FtpReading::Open(*entry.ftp, options, log, reason);
    }
    if (entry.url) {
        return HttpReading::Open(*entry.url, options, log, reason);
    }
    for (const std::string* const name : {&entry.first, &entry.second}) {
        reason = name == &entry.second && name->empty() ? std::string() : ReasonAgainst(*name);
        if (!reason.empty()) {
            reason = entry.second.empty() ? reason : InQuotes(*name) + ": " + reason;
            return nullptr;
        }
    }
    SourcePointer source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    if (!source) {
        reason = "this build has no file source, or memory lacks";
        return nullptr;
    }
    const std::wstring second = Widen(entry.second);
    const uint32 status = source->OpenFile(Widen(entry.first).c_str(), FlagsOf(options),
                                           second.empty() ? nullptr : second.c_str(), 0);
    if (status != VXC_STATUS_OK) {
        const uint32 error = VXC_GetLastError();
        const std::string errorText = LastErrorWords();
        reason = entry.second.empty() ? OpenReason(entry.first, status, error, errorText, log.LastFailure())
                                      : ReasonOfPair(entry, options);
        return nullptr;
    }
    return std::make_unique<SourceReading>(std::move(source), preRead);
}

// What keeps an entry from being part of a list; empty when nothing does.
std::string ReasonAgainstPart(const Entry& entry, bool isPaired) {
    if (entry.ftp) {
        return "a list is one of files and URLs";
    }
    if (entry.url && isPaired) {
        return "a URL has no second copy, so it cannot be part of a list in which others have one";
    }
    if (entry.url && entry.url->url.find('*') != std::string::npos) {
        return "a URL that holds a '*' cannot be part of a list; write the star as %2A";
    }
    if (!entry.url &&
        (entry.first.find('*', 1) != std::string::npos || (isPaired && entry.first.starts_with('*')))) {
        return "a name that holds a '*' cannot be part of a list; give it another name, by a link";
    }
    return {};
}

// The list as the array takes it: a text each, with a star between two copies. Copies count only where every
// text has one, so a file without is its own second copy: the others keep theirs.
bool MakeList(const Input& input, CVXCStringArray& list, std::string& reason) {
    const bool paired = std::any_of(input.entries.begin(), input.entries.end(),
                                    [](const Entry& entry) { return !entry.second.empty(); });
    for (const Entry& entry : input.entries) {
        reason = ReasonAgainstPart(entry, paired);
        if (!reason.empty()) {
            reason = InQuotes(entry.first) + ": " + reason;
            return false;
        }
        std::string text = entry.url ? entry.url->url : entry.first;
        if (paired) {
            text += '*' + (entry.second.empty() ? entry.first : entry.second);
        }
        if (!list.Add(Widen(text).c_str())) {
            reason = "no memory for the list";
            return false;
        }
    }
    return true;
}

std::string PlaceOf(const Input& input, const Entry& entry) {
    return "entry " + WithCommas(static_cast<uint64>(&entry - input.entries.data()) + 1) + " of " +
           WithCommas(input.entries.size()) + ", " + InQuotes(entry.written) + ": ";
}

// Which entry keeps the list from being opened.
std::string ReasonOfList(const Input& input, const Options& options, LogView& log, uint32 status,
                         const std::string& fallback) {
    // What the open itself has told need not be asked for, and waited for, once more.
    for (const Entry& entry : input.entries) {
        if (entry.url && IsAbout(*entry.url, log)) {
            return PlaceOf(input, entry) + OpenWords(*entry.url, log, status);
        }
    }
    for (const Entry& entry : input.entries) {
        if (InterruptWanted()) {
            break;
        }
        if (entry.url || !entry.second.empty()) {
            std::string reason;
            if (!OpenEntry(entry, options, {}, log, reason)) {
                return PlaceOf(input, entry) + reason;
            }
        } else if (const FileFacts facts = AskFile(entry.first, AskLimit(options)); !facts.opened) {
            return PlaceOf(input, entry) + facts.reason;
        }
    }
    return "all " + WithCommas(input.entries.size()) + " files can be opened one by one, but not together: " +
           OpenReason("list", status, VXC_ERROR_SUCCESS, fallback, log.LastFailure());
}

std::unique_ptr<Reading> OpenUrlList(const Input& input, const std::shared_ptr<const CVXCStringArray>& list,
                                     const Options& options, LogView& log, std::string& reason) {
    for (const Entry& entry : input.entries) {
        if (entry.url) {
            HidePassword(*entry.url, log);
        }
    }
    ListFailure failure;
    std::unique_ptr<Reading> reading =
        HttpListReading::Open({list, CountUrls(input), FlagsOf(options)}, options, log, failure);
    if (!reading) {
        reason = !failure.reason.empty()
                     ? failure.reason
                     : ReasonOfList(input, options, log, failure.status, failure.systemError);
    }
    return reading;
}

std::unique_ptr<Reading> OpenList(const Input& input, const Options& options, const PreRead& preRead,
                                  LogView& log, std::string& reason) {
    const auto list = std::make_shared<CVXCStringArray>();
    if (!MakeList(input, *list, reason)) {
        return nullptr;
    }
    for (const Entry& entry : input.entries) {
        for (const std::string* const name : {&entry.first, &entry.second}) {
            const bool isNone = entry.url || (name->empty() && name == &entry.second);
            const std::string against = isNone ? "" : ReasonAgainst(*name);
            if (!against.empty()) {
                reason = InQuotes(*name) + ": " + against;
                return nullptr;
            }
        }
    }
    if (CountUrls(input) > 0) {
        return OpenUrlList(input, list, options, log, reason);
    }
    ArrayPointer array(ConstructDataSourceArray());
    if (!array) {
        reason = "memory lacks";
        return nullptr;
    }
    const uint32 status = array->OpenFiles(*list, FlagsOf(options));
    if (status != VXC_STATUS_OK) {
        const std::string words = LastErrorWords();
        array.reset();
        reason = ReasonOfList(input, options, log, status, words);
        return nullptr;
    }
    return std::make_unique<ArrayReading>(std::move(array), preRead);
}

} // namespace

std::chrono::milliseconds AskLimit(const Options& options) {
    const uint32 limit = options.timeOut.value_or(kNoLimit);
    return limit == kNoLimit ? kAskLimit : std::min(kAskLimit, std::chrono::milliseconds(limit));
}

Stream::Stream(std::unique_ptr<Reading> reading, LogView& log, std::shared_ptr<CopyWatch> watch, bool joined)
    : m_pReading(std::move(reading)), m_Log(log), m_pWatch(std::move(watch)), m_bJoined(joined),
      m_qwSize(m_pReading->Size()) {}

Stream::~Stream() {
    m_Log.Listen(nullptr);
    if (m_pWatch && m_Log.IsVerbose() && m_qwReads > 0) {
        const auto slowest = std::chrono::duration_cast<std::chrono::milliseconds>(m_tSlowest);
        Complain(WithCommas(m_qwReads) + " reads, the longest took " +
                 WithCommas(static_cast<uint64>(slowest.count())) + " ms, at byte " +
                 WithCommas(m_qwSlowestAt));
    }
}

int Stream::ReadTimed(uint8* buffer, uint32 bytes) {
    const Clock::time_point start = Clock::now();
    const int got = m_pReading->Read(buffer, bytes);
    const Clock::duration took = Clock::now() - start;
    ++m_qwReads;
    if (took > m_tSlowest) {
        m_tSlowest = took;
        m_qwSlowestAt = m_qwPosition;
    }
    return got;
}

std::unique_ptr<Stream> Stream::Open(const Input& input, const Options& options, LogView& log,
                                     std::string& reason) {
    log.Clear();
    const PreRead preRead = PreReadOf(options, NeedsPreRead(input, options));
    const Entry& first = input.entries.front();
    if (!input.joined && first.second.empty()) {
        std::unique_ptr<Reading> reading = OpenEntry(first, options, preRead, log, reason);
        return reading ? std::unique_ptr<Stream>(new Stream(std::move(reading), log, nullptr, false))
                       : nullptr;
    }
    std::function<void(const std::string&)> tell;
    if (log.IsVerbose()) {
        tell = Complain;
    }
    const auto watch = std::make_shared<CopyWatch>(std::move(tell));
    log.Listen([watch](INFOTYPE level, std::string_view text) { watch->Take(level, text); });
    std::unique_ptr<Reading> reading = input.joined ? OpenList(input, options, preRead, log, reason)
                                                    : OpenEntry(first, options, preRead, log, reason);
    if (!reading) {
        log.Listen(nullptr);
        return nullptr;
    }
    for (const LostCopy& lost : watch->TakeLost()) {
        WarnOfLostCopy(lost);
    }
    watch->TakeTrouble(); // of the opening
    return std::unique_ptr<Stream>(new Stream(std::move(reading), log, watch, input.joined));
}

uint64 Stream::Size() {
    return m_pReading->Size();
}

bool Stream::IsPreRead() {
    return m_pReading->IsPreRead();
}

CSoftDataSource* Stream::Single() const {
    return m_pWatch ? nullptr : m_pReading->Source();
}

void Stream::Seek(uint64 position) {
    m_qwPosition = position;
    m_pReading->Seek(position);
}

int Stream::Read(uint8* buffer, uint32 bytes) {
    if (!m_pWatch) {
        return m_pReading->Read(buffer, bytes);
    }
    const Clock::time_point start = Clock::now();
    bool wasTrouble = false;
    for (bool first = true;; first = false) {
        const int got = ReadTimed(buffer, bytes);
        // Within a list, bytes that are missing from one file would be followed by those of the next. What
        // was read ahead may have met the gap long before this read.
        const bool trouble = m_pWatch->TakeTrouble() && m_bJoined;
        wasTrouble = wasTrouble || trouble;
        if (got > 0 && !trouble) {
            m_qwPosition += static_cast<uint64>(got);
            return got;
        }
        // It has tried enough by itself; or a file of a list has become smaller, and at the place where its
        // bytes are missing the array would give those of the next file, again and again.
        const bool isFinal = !m_pReading->Failure().empty() || (m_bJoined && !wasTrouble);
        if (isFinal || m_qwPosition >= m_qwSize || InterruptWanted() || Clock::now() - start > kPatience) {
            return 0;
        }
        if (!first) {
            std::this_thread::sleep_for(kPause);
        }
        m_pReading->Restart(m_qwPosition);
        m_pWatch->TakeTrouble(); // the next read goes to the files anew, and tells for itself
    }
}

} // namespace vxcio::tool
