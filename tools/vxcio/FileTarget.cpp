#include "FileTarget.h"

#include "Console.h"
#include "DigestSource.h"
#include "Guarded.h"
#include "Probe.h"
#include "Sizes.h"
#include "Text.h"

#include <array>
#include <cstdio>
#include <optional>
#include <string_view>
#include <utility>

namespace vxcio::tool {

namespace {

constexpr uint32 kModeCreate = 0;
constexpr uint32 kModeAppend = 1;
constexpr uint32 kFromStart = 1;

std::string NoAnswer(std::chrono::milliseconds limit) {
    return "the disk does not answer within " + std::to_string(limit.count()) + " ms";
}

struct Opened {
    TargetFile::Pointer file;
    TargetFile::Standing standing;
    std::string reason;
};

Opened OpenFile(const std::string& place, bool inPlace) {
    Opened opened;
    opened.file =
        inPlace ? TargetFile::Open(place, opened.reason) : TargetFile::MakeBeside(place, opened.reason);
    if (opened.file) {
        opened.standing = opened.file->Look();
    }
    return opened;
}

} // namespace

std::string WriteReason(const std::string& failure) {
    static constexpr std::string_view kSystem = ") error--";
    static constexpr std::string_view kLate = "(wait time:";
    if (const std::size_t at = failure.find(kSystem); at != std::string::npos) {
        return Shown(failure.substr(at + kSystem.size()));
    }
    if (const std::size_t at = failure.rfind(kLate); at != std::string::npos) {
        const std::size_t from = at + kLate.size();
        return "the disk did not answer within " + failure.substr(from, failure.find(' ', from) - from) +
               " ms";
    }
    return Shown(failure);
}

template <class Result, class Function>
std::optional<Result> FileTarget::Ask(Function function) const {
    // Its thread may outlive this.
    return Within<Result>(m_Limit, [file = m_pFile, function] { return function(*file); });
}

FileTarget::FileTarget(const CopyJob& job, const Options& options, LogView& log, TargetFile::Pointer file,
                       uint64 start)
    : m_strTarget(job.target), m_strPlace(job.place), m_pszVerb(job.verb),
      m_bInPlace(options.append && job.exists && !job.goesOn), m_bGoesOn(job.goesOn),
      m_bDiscard(options.discard), m_Limit(TargetLimit(options)), m_Log(log), m_pFile(std::move(file)),
      m_qwStart(start) {}

std::unique_ptr<FileTarget> FileTarget::Open(const CopyJob& job, const Options& options, LogView& log,
                                             std::string& reason) {
    const bool inPlace = job.goesOn || (options.append && job.exists);
    const std::string place = job.goesOn ? job.part : job.place;
    reason = inPlace ? ReasonAgainst(place) : std::string();
    if (!reason.empty()) {
        return nullptr;
    }
    const std::chrono::milliseconds limit = TargetLimit(options);
    const std::optional<Opened> opened =
        Within<Opened>(limit, [place, inPlace] { return OpenFile(place, inPlace); });
    if (!opened || !opened->file) {
        reason = opened ? opened->reason : NoAnswer(limit);
        return nullptr;
    }
    if (job.goesOn && opened->standing.bytes != job.goOnAt) {
        reason = InQuotes(place) + " changes while it is compared";
        return nullptr;
    }
    std::unique_ptr<FileTarget> target(
        new FileTarget(job, options, log, opened->file, inPlace ? opened->standing.bytes : 0));
    reason = target->OpenSink(options);
    if (!reason.empty()) {
        target->m_bEnded = true;
        if (!inPlace) {
            target->Ask<std::string>([](const TargetFile& file) { return file.Remove(); });
        }
        return nullptr;
    }
    return target;
}

std::string FileTarget::OpenSink(const Options& options) {
    m_pSink.reset(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FILE));
    if (!m_pSink) {
        return "memory lacks";
    }
    m_Log.Clear();
    const uint32 status = m_pSink->OpenFile(
        Widen(m_pFile->Name()).c_str(), options.targetBuffer, options.targetBlock,
        m_bInPlace || m_bGoesOn ? kModeAppend : kModeCreate,
        options.targetUnbuffered ? VXC_FILE_FLAG_NO_BUFFERING : VXC_FILE_FLAG_SEQUENTIAL_SCAN, 0, 0, 0, 0,
        nullptr);
    if (status != VXC_STATUS_OK) {
        std::array<char, 32> number{};
        std::snprintf(number.data(), number.size(), " (status 0x%08X)", status);
        const std::string failure = m_Log.LastFailure();
        return (failure.empty() ? "the library could not open it" : Shown(failure)) + number.data();
    }
    m_bOpen = true;
    if (m_pSink->GetFileSize() != m_qwStart) {
        return "it changes while it is opened";
    }
    m_pSink->EnableMD5_Check(1);
    m_pSink->BeginMD5_Check(1);
    return {};
}

bool FileTarget::Write(const uint8* data, uint32 bytes) {
    if (m_pSink->Write(data, bytes, nullptr) != static_cast<int>(bytes)) {
        return false;
    }
    m_qwWritten += bytes;
    return true;
}

std::string FileTarget::WriteFailure() const {
    const std::string failure = m_Log.WriteFailure();
    return failure.empty() ? failure : WriteReason(failure);
}

std::string FileTarget::Finish() {
    std::string failure = WriteFailure();
    if (failure.empty()) {
        m_Log.ClearButWrites(); // what reading has said by now is no failure of the target
        bool isGood = true;
        if (m_qwWritten > 0) {
            // A move brings out what the ring holds; a file that has failed gives nothing back, and behind
            // the first read that gave nothing the second one says so.
            uint8 byte = 0;
            m_pSink->Seek(0, kFromStart);
            isGood = m_pSink->ReadBack(&byte, 1) == 1 && m_pSink->ReadBack(&byte, 1) == 1;
        }
        m_pSink->CloseFile();
        m_bOpen = false;
        failure = WriteFailure();
        if (failure.empty()) {
            failure = Shown(m_Log.LastFailure());
        }
        if (failure.empty() && !isGood) {
            failure = "the library could not write it";
        }
    }
    return failure.empty() ? CheckFile() : failure;
}

// As a person would write it.
std::string FileTarget::ShownName() const {
    if (m_bInPlace) {
        return m_strTarget;
    }
    static constexpr std::string_view kHere = "./";
    return m_strTarget.starts_with(kHere) || !Name().starts_with(kHere) ? Name()
                                                                        : Name().substr(kHere.size());
}

std::string FileTarget::CheckFile() const {
    const auto standing = Ask<TargetFile::Standing>([](const TargetFile& file) { return file.Look(); });
    if (!standing || !standing->isKnown) {
        return standing ? "the disk does not tell what became of it" : NoAnswer(m_Limit);
    }
    if (!standing->isThere) {
        return "somebody removed, renamed or replaced " + InQuotes(ShownName()) + " while it was written";
    }
    if (standing->bytes != m_qwStart + m_qwWritten) {
        return "the disk holds " + WithCommas(standing->bytes) + " bytes instead of " +
               WithCommas(m_qwStart + m_qwWritten);
    }
    return {};
}

std::string FileTarget::Digest() {
    return TakeDigest(*m_pSink);
}

std::string FileTarget::Publish() {
    if (!m_bInPlace) {
        const std::string place = m_strPlace;
        const auto reason =
            Ask<std::string>([place](const TargetFile& file) { return file.RenameTo(place); });
        if (!reason || !reason->empty()) {
            return "it cannot get its name: " + (reason ? *reason : NoAnswer(m_Limit));
        }
    }
    m_bEnded = true;
    return {};
}

Leftover FileTarget::Abandon() {
    m_bEnded = true;
    if (std::exchange(m_bOpen, false)) {
        m_pSink->CloseFile();
    }
    std::string cut;
    if (m_bInPlace) {
        const uint64 start = m_qwStart;
        const auto reason = Ask<std::string>([start](const TargetFile& file) { return file.CutTo(start); });
        cut = reason ? *reason : NoAnswer(m_Limit);
    } else if (m_bDiscard) {
        Ask<std::string>(
            [](const TargetFile& file) { return file.Look().isThere ? file.Remove() : std::string(); });
    }
    Leftover left;
    const auto standing = Ask<TargetFile::Standing>([](const TargetFile& file) { return file.Look(); });
    const std::string name = InQuotes(ShownName());
    if (!standing || !standing->isKnown) {
        left.name = ShownName();
        left.words = "what stands at " + name + " cannot be told, as the disk does not answer";
        return left;
    }
    if (!standing->isThere) {
        left.words = standing->isOther ? name + " is another file by now"
                     : m_bInPlace      ? name + " is not there any more"
                                       : "nothing is left of it";
        return left;
    }
    left.name = ShownName();
    left.bytes = standing->bytes;
    left.words = name + " holds " + WithCommas(left.bytes) + (left.bytes == 1 ? " byte" : " bytes");
    if (m_bInPlace) {
        left.words += cut.empty() ? ", as before"
                                  : ", of which " + WithCommas(m_qwStart) +
                                        " were there before: it cannot be cut back: " + cut;
    }
    return left;
}

FileTarget::~FileTarget() {
    if (m_bEnded) {
        return;
    }
    try {
        Complain(std::string(m_pszVerb) + ": " + Abandon().words);
    } catch (...) {
        // No memory for words; the file stands under its name for all to see.
    }
}

} // namespace vxcio::tool
