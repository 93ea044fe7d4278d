#include "FtpSession.h"

#include "Console.h"
#include "FtpLogin.h"
#include "Terminal.h"
#include "Text.h"

#include "frame/Status.h"

#include <array>
#include <cstdio>
#include <mutex>
#include <vector>

namespace vxcio::tool {

namespace {

// A server that broke off a transfer may not answer to a goodbye for long, and nobody needs its answer.
constexpr std::chrono::milliseconds kFarewell{500};

// Objects whose server does not answer are kept: their destructors would talk to it, and wait.
void Keep(std::shared_ptr<CSoftDataIO> io) {
    static std::mutex mutex;
    static auto* const kept = new std::vector<std::shared_ptr<CSoftDataIO>>; // for good
    const std::lock_guard lock(mutex);
    kept->push_back(std::move(io));
}

const char* StatusWord(uint32 status) {
    switch (status) {
    case VXC_STATUS_FTP_CONNECT:
        return "there is no connection to the server";
    case VXC_STATUS_FTP_USER:
        return "the server refuses the user";
    case VXC_STATUS_FTP_PASSWORD:
        return "the server refuses the password";
    case VXC_STATUS_FTP_PORT:
        return "the server refuses the address of an active transfer";
    case VXC_STATUS_FTP_RETR:
        return "the server does not send it";
    case VXC_STATUS_FTP_STOR:
        return "the server does not take it";
    case VXC_STATUS_FTP_REST:
        return "the server does not begin within a file";
    case VXC_STATUS_FTP_SOCKET:
    case VXC_STATUS_FTP_ACCEPT:
        return "there is no data connection";
    case VXC_STATUS_FTP_SEND:
        return "the connection to the server is lost";
    case VXC_STATUS_FTP_REPLY:
        return "the server does not answer as an FTP server";
    case VXC_STATUS_FTP_TYPE:
        return "the server refuses binary transfers";
    case VXC_STATUS_WRITE:
        return "the server could not store it";
    case VXC_STATUS_NOT_AVAILABLE:
        return "this build has no FTP";
    default:
        return "the library could not open it";
    }
}

} // namespace

std::string FtpStatusWords(uint32 status, const std::string& reply) {
    std::array<char, 32> number{};
    std::snprintf(number.data(), number.size(), " (status 0x%08X)", status);
    const bool isOld = status == VXC_STATUS_FTP_SEND || reply.empty();
    return StatusWord(status) + (isOld ? std::string() : ": '" + Shown(reply) + "'") + number.data();
}

FtpSession::FtpSession(std::shared_ptr<CSoftDataIO> io, const FtpName& name, const Options& options,
                       LogView& log)
    : m_pIo(std::move(io)), m_Name(name), m_Limit(FtpLimit(options)), m_Log(log) {}

std::unique_ptr<FtpSession> FtpSession::Begin(std::shared_ptr<CSoftDataIO> io, const FtpName& name,
                                              const Options& options, LogView& log, std::string& reason) {
    if (!io) {
        reason = "this build has no FTP, or memory lacks";
        return nullptr;
    }
    std::unique_ptr<FtpSession> session(new FtpSession(std::move(io), name, options, log));
    reason = session->Connect(options);
    return reason.empty() ? std::move(session) : nullptr;
}

std::string FtpSession::Connect(const Options& options) {
    std::string reason;
    const std::optional<FtpLogin> login = LoginFor(m_Name, options, reason);
    if (!login) {
        return reason;
    }
    if (!login->password.empty()) {
        m_Log.Hide(login->password);
    }
    m_Log.HearServers();
    const FtpWay way = WayOf(options);
    const std::optional<int> status =
        Ask<int>([way, host = Widen(m_Name.host), user = Widen(login->user),
                  password = Widen(login->password), port = m_Name.port](CSoftDataIO& io) {
            const int result = io.Connect(way.mode, host.c_str(), user.c_str(), password.c_str(), port, 0);
            if (result == 0 && way.isPassive) {
                io.SetPASVMode(1);
            }
            return result;
        });
    if (!status) {
        return NoAnswer();
    }
    m_bGood = *status == 0;
    return m_bGood ? std::string() : FtpStatusWords(static_cast<uint32>(*status), m_Log.LastReply());
}

FtpSession::~FtpSession() {
    try {
        Leave([](CSoftDataIO& io) { io.Close(); });
    } catch (...) {
        // There is nobody left to tell.
    }
}

void FtpSession::Leave(std::function<void(CSoftDataIO&)> farewell) {
    std::shared_ptr<CSoftDataIO> io = std::move(m_pIo);
    if (!io) {
        return;
    }
    // What is still under way has a moment as well.
    if (!m_bGood || !m_Thread.Wait(kFarewell)) {
        Keep(std::move(io));
        return;
    }
    // Deleted by its thread, whenever that comes back.
    m_Thread.Do(kFarewell, [io = std::move(io), farewell = std::move(farewell)] { farewell(*io); });
}

std::string FtpSession::NoAnswer() const {
    return InterruptWanted() ? "it was interrupted"
                             : "the server does not answer within " + std::to_string(m_Limit.count()) + " ms";
}

std::string FtpSession::Words(const std::string& otherwise) const {
    const std::string reply = m_Log.LastReply();
    return reply.empty() ? otherwise : "the server says '" + Shown(reply) + "'";
}

} // namespace vxcio::tool
