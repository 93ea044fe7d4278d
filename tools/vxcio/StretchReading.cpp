#include "StretchReading.h"

#include "Console.h"
#include "FtpReading.h"
#include "FtpTalk.h"
#include "Text.h"

#include "frame/Status.h"
#include "ftp/StretchHead.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace vxcio::tool {

namespace {

// Of one question to the library: a slow device has the limit of the session for each.
constexpr uint32 kPiece = 256u << 10;

struct Opened {
    uint32 status = 0;
    uint32 first = 0;
    FtpTalk talk;
};

CSoftDataSource& SourceOf(CSoftDataIO& io) {
    return static_cast<CSoftDataSource&>(io);
}

} // namespace

std::unique_ptr<StretchReading> StretchReading::Open(const FtpName& clip, FtpStretch& stretch,
                                                     const Options& options, LogView& log,
                                                     std::string& reason) {
    if (clip.OwnName().empty()) {
        reason = "it names a folder";
        return nullptr;
    }
    std::unique_ptr<StretchReading> reading(new StretchReading(log));
    reason = reading->Begin(clip, stretch, options);
    return reason.empty() ? std::move(reading) : nullptr;
}

std::string StretchReading::Begin(const FtpName& clip, FtpStretch& stretch, const Options& options) {
    std::string reason;
    m_pSession = FtpSession::Open<CSoftDataSource>(clip, options, m_Log, reason);
    if (!m_pSession) {
        return reason;
    }
    const std::optional<Opened> opened = m_pSession->Ask<Opened>(
        [path = Widen(clip.path), from = stretch.from, to = stretch.to](CSoftDataIO& io) {
            Opened result;
            const FtpTalk::Hearing hearing(result.talk);
            uint32 end = to;
            result.first = from;
            result.status =
                static_cast<uint32>(SourceOf(io).OpenXDCAMFtpMXF(path.c_str(), result.first, end, nullptr));
            return result;
        });
    if (!opened || opened->status != VXC_STATUS_OK) {
        return opened ? FtpStatusWords(opened->status, opened->talk.LastReply()) : m_pSession->NoAnswer();
    }
    stretch.first = opened->first;
    m_strOpening = m_Log.LastFailure(); // it reads, too
    return {};
}

StretchReading::~StretchReading() {
    try {
        if (m_pSession) {
            BreakTransfer(*m_pSession);
        }
    } catch (...) {
        // There is nobody left to tell.
    }
}

void StretchReading::Seek(uint64 position) {
    if (position != m_qwPosition && m_strFailure.empty()) {
        m_strFailure = "a stretch is read from its start to its end";
    }
}

// Only the last one is short, as files are read.
int StretchReading::Read(uint8* buffer, uint32 bytes) {
    uint32 done = 0;
    for (int got = 1; got > 0 && done < bytes; done += static_cast<uint32>(std::max(got, 0))) {
        got = ReadPiece(buffer + done, bytes - done);
    }
    return static_cast<int>(done);
}

int StretchReading::ReadPiece(uint8* buffer, uint32 bytes) {
    if (!m_pSession || !m_strFailure.empty()) {
        return 0;
    }
    int got = 0;
    if (m_bInHead) {
        got = StretchHead(SourceOf(*m_pSession->Io()), m_qwPosition, buffer, bytes);
        m_bInHead = got > 0;
    }
    if (!m_bInHead) {
        const std::optional<std::vector<uint8>> data =
            m_pSession->Ask<std::vector<uint8>>([size = std::min(bytes, kPiece)](CSoftDataIO& io) {
                std::vector<uint8> read(size);
                read.resize(static_cast<std::size_t>(std::max(SourceOf(io).Read(read.data(), size), 0)));
                return read;
            });
        if (!data) {
            m_strFailure = m_pSession->NoAnswer();
            m_pSession->GiveUp();
            m_pSession.reset();
            return 0;
        }
        std::copy(data->begin(), data->end(), buffer);
        got = static_cast<int>(data->size());
    }
    if (got == 0) {
        CheckEnd();
        return 0;
    }
    if (m_qwPosition < m_first.size()) {
        const auto count = std::min<uint64>(m_first.size() - m_qwPosition, static_cast<uint64>(got));
        std::memcpy(m_first.data() + m_qwPosition, buffer, count);
    }
    m_qwPosition += static_cast<uint64>(got);
    return got;
}

void StretchReading::CheckEnd() {
    m_strFailure = EndTransfer(*m_pSession);
    m_pSession.reset();
    if (!m_strFailure.empty() && !m_strOpening.empty()) {
        m_strFailure = Shown(m_strOpening);
    }
    if (m_strFailure.empty()) {
        if (const std::string trouble = MxfTrouble(m_first, m_qwPosition); !trouble.empty()) {
            m_strFailure = "the device says that this is all, and it is no whole MXF file: " + trouble;
        }
    }
}

} // namespace vxcio::tool
