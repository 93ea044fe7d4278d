// The steps of the control connection.
#include "support/FtpScriptServer.h"

#include "support/posix/FtpScriptSockets.h"

#include <cerrno>
#include <cstdio>
#include <utility>

#include <sys/socket.h>

namespace vxcio::test::script {

Server::Progress Server::DoControl(const Step& step) {
    if (step.kind != StepKind::AcceptControl && step.kind != StepKind::UntilTold &&
        step.kind != StepKind::After && !m_control.IsOpen()) {
        m_state.Fail("there is no control connection");
        return Progress::Wait;
    }
    switch (step.kind) {
    case StepKind::AcceptControl:
        return AcceptControl();
    case StepKind::ExpectPort:
        return ExpectPort();
    case StepKind::ExpectClosed:
        if (!m_heard.empty()) {
            m_state.Fail("got " + Quote(m_heard));
        }
        return m_controlChannel->sawEnd ? Progress::Done : Progress::Wait;
    case StepKind::Say:
        return Say(step.text);
    case StepKind::SayPort: {
        if (m_listeners.empty()) {
            m_state.Fail("there is no data port");
            return Progress::Wait;
        }
        std::string text = step.text;
        const std::string where = InCommas(m_address, m_listeners.back().port);
        for (std::size_t at = text.find('@'); at != std::string::npos; at = text.find('@', at)) {
            text.replace(at, 1, where);
        }
        return Say(text);
    }
    case StepKind::After:
    case StepKind::Quiet:
        return WaitForTime(step);
    case StepKind::UntilTold:
        m_state.awaited.told = true;
        if (m_state.told == 0) {
            return Progress::Wait;
        }
        --m_state.told;
        return Progress::Done;
    case StepKind::Fin:
        ::shutdown(m_control.Number(), SHUT_WR);
        m_controlChannel->finished = true;
        return Progress::Done;
    case StepKind::Rst:
        if (!HasSentAll(m_control.Number())) {
            return WaitUntilNotFull(*m_controlChannel);
        }
        ResetAtClose(m_control.Number());
        m_controlChannel->finished = true;
        m_control.Close();
        return Progress::Done;
    default:
        return Expect(step);
    }
}

Server::Progress Server::AcceptControl() {
    if (!m_heard.empty()) {
        m_state.Fail("got " + Quote(m_heard));
        return Progress::Wait;
    }
    uint16 peerPort = 0;
    Descriptor socket(AcceptFrom(m_controlListener.Number(), &peerPort));
    if (!socket.IsOpen()) {
        m_pollIn = m_controlListener.Number();
        m_state.awaited.connectsTo = m_port;
        m_state.awaited.accepted = m_controlAccepted;
        return Progress::Wait;
    }
    ++m_controlAccepted;
    const uint64 key = KeyOfPorts(m_port, peerPort);
    m_control = std::move(socket);
    m_controlChannel = &m_state.channels[key];
    *m_controlChannel = Channel{key}; // the system may give the same ports again
    m_state.control = m_controlChannel;
    TakeControl();
    return Progress::Done;
}

Server::Progress Server::Expect(const Step& step) {
    const bool isAny = step.kind == StepKind::ExpectAny;
    const std::size_t lineEnd = m_heard.find("\r\n");
    if (isAny && lineEnd != std::string::npos) {
        m_heard.erase(0, lineEnd + 2);
        return Progress::Done;
    }
    if (!isAny && m_heard.starts_with(step.text)) {
        m_heard.erase(0, step.text.size());
        return Progress::Done;
    }
    if (!isAny && !step.text.starts_with(m_heard)) {
        m_state.Fail("got " + Quote(m_heard));
    } else if (m_controlChannel->sawEnd) {
        m_state.Fail(m_heard.empty() ? "the client has closed"
                                     : "the client has closed after " + Quote(m_heard));
    }
    return Progress::Wait;
}

Server::Progress Server::ExpectPort() {
    const std::size_t lineEnd = m_heard.find("\r\n");
    if (lineEnd == std::string::npos) {
        if (m_controlChannel->sawEnd) {
            m_state.Fail("the client has closed");
        }
        return Progress::Wait;
    }
    const std::string line = m_heard.substr(0, lineEnd);
    // The address is that of the client's own end, so that the two numbers of the port alone are open.
    const std::string start = "PORT " + InCommas(PeerAddress(m_control.Number()), 0);
    const std::string head = start.substr(0, start.size() - 3);
    unsigned high = 256;
    unsigned low = 256;
    if (line.starts_with(head) && std::sscanf(line.c_str() + head.size(), "%u,%u", &high, &low) == 2 &&
        high < 256 && low < 256) {
        m_dialPort = static_cast<uint16>(high << 8 | low);
    }
    if (line != "PORT " + InCommas(PeerAddress(m_control.Number()), m_dialPort)) {
        m_state.Fail("got " + Quote(m_heard));
        return Progress::Wait;
    }
    m_heard.erase(0, lineEnd + 2);
    return Progress::Done;
}

Server::Progress Server::WaitForTime(const Step& step) {
    if (step.kind == StepKind::Quiet && !m_heard.empty()) {
        m_state.Fail("got " + Quote(m_heard));
        return Progress::Wait;
    }
    if (step.number == kForEver) {
        return Progress::Done; // the end of the script watches over it
    }
    if (!m_begun) {
        m_begun = true;
        m_deadline = m_state.Now() + step.number;
    }
    if (m_state.Now() >= m_deadline) {
        return Progress::Done;
    }
    m_state.awaited.time = m_deadline;
    return Progress::Wait;
}

Server::Progress Server::Say(std::string_view bytes) {
    return SendOn(m_control, *m_controlChannel, bytes.substr(static_cast<std::size_t>(m_moved)));
}

Server::Progress Server::SendOn(const Descriptor& socket, Channel& channel, std::string_view bytes) {
    while (!bytes.empty()) {
        const Progress full = WaitUntilNotFull(channel); // as it is before the attempt
        const ssize_t sent = ::send(socket.Number(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno == EAGAIN) {
            m_pollOut = socket.Number();
            return full;
        }
        if (sent < 0 && errno != EINTR) {
            break; // the client has gone; what it makes of that is its own matter
        }
        if (sent > 0) {
            channel.sent += static_cast<uint64>(sent);
            m_moved += static_cast<uint64>(sent);
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
    }
    m_state.awaited.full = nullptr;
    return Progress::Done;
}

Server::Progress Server::WaitUntilNotFull(const Channel& channel) {
    const ClientSocket* client = m_state.ClientOf(channel);
    m_state.awaited.full = &channel;
    m_state.awaited.fullReceived = client == nullptr ? 0 : client->received;
    m_state.awaited.fullEnds = client == nullptr ? 0 : client->ends;
    return Progress::Wait;
}

} // namespace vxcio::test::script
