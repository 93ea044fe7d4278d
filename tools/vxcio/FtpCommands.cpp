#include "FtpCommands.h"

#include "Text.h"

namespace vxcio::tool {

namespace {

std::wstring WidePath(const FtpName& name) {
    const std::size_t last = name.path.find_last_not_of('/');
    return Widen(last == std::string::npos ? name.path : name.path.substr(0, last + 1));
}

} // namespace

std::string FtpCommands::Do(const FtpName& name, std::function<int(CSoftDataIO&)> command) {
    std::string reason;
    if (!m_pSession || !m_pSession->Name().IsSameServer(name)) {
        m_pSession = FtpSession::Open<CSoftDataSource>(name, m_Options, m_Log, reason);
    }
    if (!m_pSession) {
        return reason;
    }
    m_Log.ClearReply();
    const std::optional<int> done = m_pSession->Ask<int>(std::move(command));
    if (done && *done != 0) {
        return {};
    }
    reason = done ? m_pSession->Words("the server does not answer") : m_pSession->NoAnswer();
    if (m_Log.LastReply().empty() || m_Log.LastReply().starts_with("421")) {
        m_pSession->GiveUp();
        m_pSession.reset();
    }
    return reason;
}

std::string FtpCommands::Delete(const FtpName& name) {
    return Do(name, [path = WidePath(name)](CSoftDataIO& io) { return io.DeleteFile1(path.c_str()); });
}

std::string FtpCommands::Rename(const FtpName& from, const FtpName& to) {
    return Do(from, [path = WidePath(from), other = WidePath(to)](CSoftDataIO& io) {
        return io.RenameFile(path.c_str(), other.c_str());
    });
}

std::string FtpCommands::MakeFolder(const FtpName& name) {
    return Do(name, [path = WidePath(name)](CSoftDataIO& io) { return io.MakeFolder(path.c_str()); });
}

std::string FtpCommands::RemoveFolder(const FtpName& name) {
    return Do(name, [path = WidePath(name)](CSoftDataIO& io) { return io.DeleteFolder(path.c_str()); });
}

} // namespace vxcio::tool
