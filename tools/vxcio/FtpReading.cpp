#include "FtpReading.h"

#include "Console.h"
#include "FtpTalk.h"
#include "Text.h"

#include "frame/Status.h"

#include <algorithm>

namespace vxcio::tool {

namespace {

constexpr uint32 kFromStart = 1;
constexpr uint64 kFarAway = uint64{1} << 30;
constexpr uint64 kNear = 4u << 20;

struct Opened {
    uint32 status = 0;
    uint64 size = 0;
    FtpTalk talk;
};

bool SaysMissing(const Opened& opened) {
    const std::string reply = opened.talk.ReplyTo("RETR");
    return opened.status == VXC_STATUS_FTP_RETR && (reply.starts_with("550") || reply.starts_with("553"));
}

// The library goes by the low 32 bits of a distance: one of just over 4 GiB would count as a few bytes. So a
// place is made between, from which the distance is a long one.
bool SeekFrom0(CSoftDataSource& source, uint64 position) {
    const auto low = static_cast<uint32>(position);
    const auto seek = [&source](uint64 to) {
        return source.Seek(static_cast<int64>(to), kFromStart) == static_cast<int64>(to);
    };
    if (position > UINT32_MAX && low <= kNear && !seek(position - kFarAway)) {
        return false;
    }
    return seek(position);
}

} // namespace

std::unique_ptr<FtpReading> FtpReading::Open(const FtpName& name, const Options& options, LogView& log,
                                             std::string& reason, bool* isMissing) {
    if (name.path.empty() || name.path.ends_with('/')) {
        reason = "it names a folder";
        return nullptr;
    }
    std::unique_ptr<FtpReading> reading(new FtpReading(name, options, log));
    reason = reading->Begin();
    if (isMissing != nullptr) {
        *isMissing = reading->m_bMissing;
    }
    return reason.empty() ? std::move(reading) : nullptr;
}

std::string FtpReading::Begin() {
    std::string reason;
    m_bTouched = false;
    m_qwPosition = 0;
    m_pSession = FtpSession::Open<CSoftDataSource>(m_Name, m_Options, m_Log, reason);
    if (!m_pSession) {
        return reason;
    }
    const std::optional<Opened> opened =
        m_pSession->Ask<Opened>([path = Widen(m_Name.path)](CSoftDataIO& io) {
            auto& source = static_cast<CSoftDataSource&>(io);
            Opened result;
            const FtpTalk::Hearing hearing(result.talk);
            result.status = source.OpenFile(path.c_str(), 0, nullptr, 0);
            result.size = source.GetFileSize();
            return result;
        });
    if (!opened || opened->status != VXC_STATUS_OK) {
        reason = opened ? FtpStatusWords(opened->status, m_Log.LastReply()) : m_pSession->NoAnswer();
        m_bMissing = opened && SaysMissing(*opened);
        Close();
        return reason;
    }
    m_qwSize = opened->size;
    if (m_Options.isPreReadAsked && m_Options.preRead.value_or(0) > 0) {
        const auto longest = std::min<uint32>(m_Options.block, 0x7FFFFFFF);
        Reader().EnablePreRead(static_cast<int>(*m_Options.preRead), static_cast<int>(longest));
        m_bPreRead = Reader().IsPreReadMode() != 0;
    }
    return {};
}

void FtpReading::Close() {
    if (m_pSession) {
        BreakTransfer(*m_pSession);
        m_pSession.reset();
    }
}

FtpReading::~FtpReading() {
    try {
        Close();
    } catch (...) {
        // There is nobody left to tell.
    }
}

void FtpReading::Seek(uint64 position) {
    if (position == m_qwPosition || !m_strFailure.empty()) {
        return;
    }
    if (m_bTouched) {
        Close();
        m_strFailure = Begin();
        if (!m_strFailure.empty() || position == 0) {
            return;
        }
    }
    const bool wasPreRead = m_bPreRead;
    const std::optional<int> isThere =
        m_pSession->Ask<int>([position, wasPreRead, preRead = m_Options.preRead.value_or(0),
                              block = m_Options.block](CSoftDataIO& io) {
            auto& source = static_cast<CSoftDataSource&>(io);
            source.DisablePreRead();
            const bool good = SeekFrom0(source, position);
            if (good && wasPreRead) {
                source.EnablePreRead(static_cast<int>(preRead),
                                     static_cast<int>(std::min<uint32>(block, 0x7FFFFFFF)));
            }
            return good ? 1 : 0;
        });
    m_qwPosition = position;
    if (!isThere || *isThere == 0) {
        m_strFailure =
            isThere ? m_pSession->Words("the server does not begin within a file") : m_pSession->NoAnswer();
    }
}

int FtpReading::Read(uint8* buffer, uint32 bytes) {
    if (!m_pSession || !m_strFailure.empty()) {
        return 0;
    }
    m_bTouched = true;
    const int got = Reader().Read(buffer, bytes);
    if (got <= 0) {
        CheckEnd();
        return 0;
    }
    m_qwPosition += static_cast<uint64>(got);
    return got;
}

// The end of the data is the end of the file only if the server says so.
void FtpReading::CheckEnd() {
    m_strFailure = EndTransfer(*m_pSession);
    m_pSession.reset();
}

void FtpReading::Restart(uint64 position) {
    m_strFailure.clear();
    m_bTouched = true;
    m_qwPosition = position + 1;
    Seek(position);
}

std::string EndTransfer(FtpSession& session) {
    const std::optional<FtpTalk> talk = session.Ask<FtpTalk>([](CSoftDataIO& io) {
        auto& source = static_cast<CSoftDataSource&>(io);
        FtpTalk heard;
        const FtpTalk::Hearing hearing(heard);
        source.DisablePreRead();
        source.CloseFile();
        return heard;
    });
    const std::string reply = talk ? talk->LastReply() : std::string();
    if (reply.starts_with('2')) {
        return {};
    }
    session.GiveUp();
    const std::string broken = session.Log().LastFailure();
    return !talk             ? session.NoAnswer()
           : !reply.empty()  ? "the server says '" + Shown(reply) + "'"
           : !broken.empty() ? Shown(broken)
                             : "the connection broke off, or the server does not say that this is all";
}

// The session before the file: a server that says little to a transfer which is broken off costs the source
// two seconds for its last word, and the session none.
void BreakTransfer(FtpSession& session) {
    session.Leave([](CSoftDataIO& io) {
        auto& source = static_cast<CSoftDataSource&>(io);
        source.DisablePreRead();
        source.Close();
        source.CloseFile();
    });
}

std::optional<uint64> FtpSizeOf(const FtpName& name, const Options& options, LogView& log,
                                std::string& reason, bool* isMissing) {
    Options plain = options;
    plain.preRead.reset();
    const std::unique_ptr<FtpReading> reading = FtpReading::Open(name, plain, log, reason, isMissing);
    return reading ? std::optional<uint64>(reading->Size()) : std::nullopt;
}

} // namespace vxcio::tool
