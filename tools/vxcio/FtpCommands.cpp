#include "FtpCommands.h"

#include "Text.h"

namespace vxcio::tool {

namespace {

struct Answer {
    int done = 0;
    FtpTalk talk;
};

std::wstring WidePath(const FtpName& name) {
    const std::size_t last = name.path.find_last_not_of('/');
    return Widen(last == std::string::npos ? name.path : name.path.substr(0, last + 1));
}

} // namespace

std::string FtpCommands::Do(const FtpName& name, std::function<int(CSoftDataIO&)> command, FtpTalk* talk) {
    std::string reason;
    if (!m_pSession || !m_pSession->Name().IsSameServer(name)) {
        m_pSession = FtpSession::Open<CSoftDataSource>(name, m_Options, m_Log, reason);
    }
    if (!m_pSession) {
        return reason;
    }
    std::optional<Answer> answer = m_pSession->Ask<Answer>([command = std::move(command)](CSoftDataIO& io) {
        Answer heard;
        const FtpTalk::Hearing hearing(heard.talk);
        heard.done = command(io);
        return heard;
    });
    if (!answer || answer->done == 0) {
        reason = answer ? answer->talk.Words() : m_pSession->NoAnswer();
        // An answer that is still to come would be taken for that to the next command.
        if (!answer || !IsRefusal(answer->talk.LastReply())) {
            m_pSession->GiveUp();
            m_pSession.reset();
        }
    }
    if (answer && talk != nullptr) {
        *talk = std::move(answer->talk);
    }
    return reason;
}

std::string FtpCommands::Delete(const FtpName& name) {
    return Do(name, [path = WidePath(name)](CSoftDataIO& io) { return io.DeleteFile1(path.c_str()); });
}

std::string FtpCommands::Rename(const FtpName& from, const FtpName& to, bool* isTargetRefused) {
    FtpTalk talk;
    std::string reason = Do(
        from,
        [path = WidePath(from), other = WidePath(to)](CSoftDataIO& io) {
            return io.RenameFile(path.c_str(), other.c_str());
        },
        &talk);
    if (isTargetRefused != nullptr) {
        *isTargetRefused = IsRefusal(talk.ReplyTo("RNTO"));
    }
    return reason;
}

std::string FtpCommands::MakeFolder(const FtpName& name) {
    return Do(name, [path = WidePath(name)](CSoftDataIO& io) { return io.MakeFolder(path.c_str()); });
}

std::string FtpCommands::RemoveFolder(const FtpName& name) {
    return Do(name, [path = WidePath(name)](CSoftDataIO& io) { return io.DeleteFolder(path.c_str()); });
}

} // namespace vxcio::tool
