#include "FtpTarget.h"

#include "Console.h"
#include "FtpCommands.h"
#include "FtpListing.h"
#include "FtpLogin.h"
#include "FtpReading.h"
#include "Sizes.h"
#include "Text.h"

#include "frame/Status.h"

#include <stdexcept>
#include <utility>

namespace vxcio::tool {

namespace {

constexpr uint32 kModeCreate = 0;
constexpr uint32 kModeAppend = 1;

CQLSoftDataSinkEx1& SinkOf(CSoftDataIO& io) {
    return static_cast<CQLSoftDataSinkEx1&>(io);
}

} // namespace

std::string SizeTrouble(uint64 sent, uint64 told, const std::function<std::optional<uint32>()>& listedLow) {
    if (told == sent) {
        return {};
    }
    // A server that tells no sizes looks like this, too.
    if (told == 0) {
        if (sent > UINT32_MAX) {
            return "the server tells no size, and a listing none of 4 GiB or more: whether it holds all " +
                   WithCommas(sent) + " bytes cannot be known";
        }
        if (listedLow() == static_cast<uint32>(sent)) {
            return {};
        }
    }
    return "the server holds " + WithCommas(told) + " bytes instead of " + WithCommas(sent);
}

FtpTarget::FtpTarget(const CopyJob& job, const Options& options, LogView& log)
    : m_Job(job), m_Options(options), m_Log(log), m_strName(job.ftp->At(job.part).Shown()),
      m_qwWritten(job.goOnAt), m_bToOpen(job.goesOn) {}

std::unique_ptr<FtpTarget> FtpTarget::Open(const CopyJob& job, const Options& options, LogView& log,
                                           std::string& reason) {
    std::unique_ptr<FtpTarget> target(new FtpTarget(job, options, log));
    reason = job.goesOn ? std::string() : target->OpenSink();
    if (reason.empty()) {
        return target;
    }
    target->m_bEnded = true;
    return nullptr;
}

std::string FtpTarget::OpenSink() {
    std::string reason;
    m_pSession = FtpSession::Open<CQLSoftDataSinkEx1>(*m_Job.ftp, m_Options, m_Log, reason);
    if (!m_pSession) {
        return reason;
    }
    try {
        const std::optional<uint32> status = m_pSession->Ask<uint32>(
            [path = Widen(m_Job.part), mode = m_Job.goesOn ? kModeAppend : kModeCreate](CSoftDataIO& io) {
                return SinkOf(io).OpenFile(path.c_str(), 0, 0, mode, 0, 0, 0, 0, 0, nullptr);
            });
        if (status && *status == VXC_STATUS_OK) {
            return {};
        }
        reason = status ? FtpStatusWords(*status, m_Log.LastReply()) : m_pSession->NoAnswer();
    } catch (const std::out_of_range&) {
        // The library asks for the size of what may be there, and reads it between brackets.
        reason = m_pSession->Words("the server's answer makes no sense");
        m_pSession->GiveUp();
    }
    m_pSession.reset();
    return reason;
}

Input FtpTarget::ReadBack() const {
    Input input = PlainInput(m_strName);
    input.entries.front().ftp = std::make_shared<const FtpName>(PartName());
    return input;
}

// Whether all that was begun has gone out.
bool FtpTarget::WaitForBlock() {
    if (!m_pSession || !m_strFailure.empty()) {
        return false;
    }
    if (!m_pSession->Thread().Wait(m_pSession->Limit())) {
        m_strFailure = m_pSession->NoAnswer();
        return false;
    }
    const auto size = static_cast<int>(m_pBlock->data.size());
    if (m_pBlock->sent != size) {
        m_strFailure = "the connection took only " +
                       WithCommas(static_cast<uint64>(std::max(m_pBlock->sent, 0))) + " of " +
                       WithCommas(m_pBlock->data.size()) + " bytes; " +
                       m_pSession->Words("the server says nothing");
        return false;
    }
    m_qwWritten += m_pBlock->data.size();
    m_pBlock->data.clear();
    m_pBlock->sent = 0;
    return true;
}

bool FtpTarget::Write(const uint8* data, uint32 bytes) {
    if (std::exchange(m_bToOpen, false)) {
        m_strFailure = OpenSink();
    }
    if (!WaitForBlock()) {
        return false;
    }
    m_pBlock->data.assign(data, data + bytes);
    return m_pSession->Thread().Begin([io = m_pSession->Io(), block = m_pBlock] {
        block->sent = SinkOf(*io).Write(block->data.data(), static_cast<uint32>(block->data.size()), nullptr);
    });
}

std::string FtpTarget::Finish() {
    if (m_bToOpen) {
        m_strFailure = CheckSize();
        return m_strFailure;
    }
    if (!WaitForBlock()) {
        return m_strFailure;
    }
    m_Log.ClearReply();
    const std::optional<uint32> status =
        m_pSession->Ask<uint32>([](CSoftDataIO& io) { return SinkOf(io).CloseFile(); });
    if (!status || *status != VXC_STATUS_OK) {
        m_strFailure = status ? FtpStatusWords(*status, m_Log.LastReply()) : m_pSession->NoAnswer();
        return m_strFailure;
    }
    m_pSession.reset();
    m_strFailure = CheckSize();
    return m_strFailure;
}

// A server may say that all is well of a file that holds something else.
std::string FtpTarget::CheckSize() {
    std::string reason;
    const std::optional<uint64> size = FtpSizeOf(PartName(), m_Options, m_Log, reason);
    if (!size) {
        return "its size cannot be asked for: " + reason;
    }
    std::string trouble = SizeTrouble(m_qwWritten, *size, [&] {
        const std::optional<FtpEntry> entry = ListedEntry(PartName(), m_Options, m_Log, reason);
        return entry ? std::optional<uint32>(entry->sizeLow) : std::nullopt;
    });
    if (!trouble.empty() && m_Job.goesOn && WayOf(m_Options).mode == FTPMODE_NORMAL) {
        trouble += "; in mode normal it is asked for the part first, which makes some servers spoil what is "
                   "added: --active does without";
    }
    return trouble;
}

std::string FtpTarget::Publish() {
    if (m_Job.part != m_Job.place) {
        FtpCommands commands(m_Options, m_Log);
        bool isInTheWay = false;
        std::string reason = commands.Rename(PartName(), *m_Job.ftp, &isInTheWay);
        if (!reason.empty() && m_Job.exists && isInTheWay) {
            // Not every server puts a file in the place of another.
            const std::string kept = commands.Delete(*m_Job.ftp);
            reason = kept.empty() ? commands.Rename(PartName(), *m_Job.ftp) : kept;
        }
        if (!reason.empty()) {
            return "it cannot get its name: " + reason;
        }
    }
    m_bEnded = true;
    return {};
}

// The server lets go of the file when its connection ends, which must not be while a block still goes out.
void FtpTarget::CloseSink() {
    if (m_pSession && m_pSession->Thread().Wait(m_pSession->Limit())) {
        m_pSession->Ask<uint32>([](CSoftDataIO& io) { return SinkOf(io).CloseFile(); });
    }
    m_pSession.reset();
}

Leftover FtpTarget::Abandon() {
    m_bEnded = true;
    CloseSink();
    Leftover left;
    const std::string name = InQuotes(m_strName);
    if (m_Options.discard) {
        const std::string reason = FtpCommands(m_Options, m_Log).Delete(PartName());
        if (reason.empty()) {
            left.words = "nothing is left of it";
            return left;
        }
    }
    std::string reason;
    const std::optional<uint64> size = FtpSizeOf(PartName(), m_Options, m_Log, reason);
    if (!size) {
        left.words = "what stands at " + name + " cannot be told: " + reason;
        left.name = m_strName;
        return left;
    }
    left.name = m_strName;
    left.bytes = *size;
    left.words = name + " holds " + WithCommas(*size) + (*size == 1 ? " byte" : " bytes");
    return left;
}

FtpTarget::~FtpTarget() {
    if (m_bEnded) {
        return;
    }
    try {
        Complain(std::string(m_Job.verb) + ": " + Abandon().words);
    } catch (...) {
        // No memory for words; the file stands under its name for all to see.
    }
}

} // namespace vxcio::tool
