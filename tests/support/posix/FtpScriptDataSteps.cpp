// The steps of the data connection.
#include "support/FtpScriptServer.h"

#include "support/posix/FtpScriptSockets.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <sys/socket.h>

namespace vxcio::test::script {

namespace {

constexpr uint64 kPiece = 64 << 10;

} // namespace

Server::Progress Server::DoData(const Step& step) {
    switch (step.kind) {
    case StepKind::Listen:
        return Listen();
    case StepKind::AcceptData:
        return AcceptData(step.number);
    case StepKind::Dial:
        return Dial();
    case StepKind::RefuseData:
        if (DataListener* listener = ListenerOf(kLatest)) {
            listener->socket.Close();
        }
        return Progress::Done;
    case StepKind::DataIsThere:
        if (!IsDataThere()) {
            m_state.Fail("the client has not connected to the data port");
        }
        return Progress::Done;
    case StepKind::NoDataYet:
        if (IsDataThere()) {
            m_state.Fail("the client has connected to the data port");
        }
        return Progress::Done;
    default:
        break;
    }
    Data* data = CurrentData();
    if (data == nullptr) {
        m_state.Fail("there is no data connection");
        return Progress::Wait;
    }
    switch (step.kind) {
    case StepKind::DSend:
    case StepKind::DSendPattern:
        return SendData(step);
    case StepKind::DReceive:
        return ReceiveData(step.number);
    case StepKind::DFin:
        ::shutdown(data->socket.Number(), SHUT_WR);
        data->channel->finished = true;
        return Progress::Done;
    case StepKind::DRst:
        return ResetData();
    case StepKind::DHold:
        data->isHeld = true;
        return Progress::Done;
    case StepKind::DExpectNothing:
        if (HasCaller(data->socket.Number())) {
            m_state.Fail("the client has sent or closed");
        }
        return Progress::Done;
    default:
        return ExpectDataClosed();
    }
}

Server::DataListener* Server::ListenerOf(uint64 number) {
    const uint64 wanted = number == kLatest ? m_listeners.size() - 1 : number;
    if (wanted >= m_listeners.size()) {
        m_state.Fail("there is no such data port");
        return nullptr;
    }
    return &m_listeners[static_cast<std::size_t>(wanted)];
}

Server::Data* Server::CurrentData() {
    return m_data.empty() || !m_data.back().socket.IsOpen() ? nullptr : &m_data.back();
}

Server::Progress Server::Listen() {
    DataListener listener;
    listener.socket = Descriptor(ListenAt(m_address, &listener.port));
    if (!listener.socket.IsOpen()) {
        m_state.Fail("no port could be had");
        return Progress::Wait;
    }
    m_listeners.push_back(std::move(listener));
    return Progress::Done;
}

void Server::AddData(Descriptor socket, uint64 key, bool dialled) {
    Channel& channel = m_state.channels[key];
    channel = Channel{key}; // the system may give the same ports again
    m_data.push_back({std::move(socket), &channel, false});
    m_state.data = &channel;
    m_state.dataKeys.push_back({key, dialled});
}

Server::Progress Server::AcceptData(uint64 number) {
    DataListener* listener = ListenerOf(number);
    if (listener == nullptr) {
        return Progress::Wait;
    }
    uint16 peerPort = 0;
    Descriptor socket(AcceptFrom(listener->socket.Number(), &peerPort));
    if (!socket.IsOpen()) {
        m_pollIn = listener->socket.Number();
        m_state.awaited.connectsTo = listener->port;
        m_state.awaited.accepted = listener->accepted;
        return Progress::Wait;
    }
    ++listener->accepted;
    AddData(std::move(socket), KeyOfPorts(listener->port, peerPort), false);
    return Progress::Done;
}

bool Server::IsDataThere() {
    const DataListener* listener = ListenerOf(kLatest);
    return listener != nullptr && HasCaller(listener->socket.Number());
}

Server::Progress Server::Dial() {
    Descriptor socket(m_dialPort == 0 ? -1 : ConnectTo(PeerAddress(m_control.Number()), m_dialPort));
    if (!socket.IsOpen()) {
        m_state.Fail("nobody listens where PORT says");
        return Progress::Wait;
    }
    AddData(std::move(socket), KeyOfDial(m_dialPort, m_dials[m_dialPort]++), true);
    return Progress::Done;
}

Server::Progress Server::SendData(const Step& step) {
    const Data& data = *CurrentData();
    if (step.kind == StepKind::DSend) {
        return SendOn(data.socket, *data.channel,
                      std::string_view(step.text).substr(static_cast<std::size_t>(m_moved)));
    }
    while (m_moved < step.number) {
        const std::string piece =
            Pattern(std::min(kPiece, step.number - m_moved), step.seed, step.from + m_moved);
        const uint64 before = m_moved;
        if (SendOn(data.socket, *data.channel, piece) == Progress::Wait) {
            return Progress::Wait;
        }
        if (m_moved - before < piece.size()) {
            break; // the client has gone
        }
    }
    return Progress::Done;
}

Server::Progress Server::ReceiveData(uint64 bytes) {
    Data& data = *CurrentData();
    if (!m_begun) {
        m_begun = true;
        m_state.received.clear();
    }
    char piece[kPiece];
    while (m_moved < bytes) {
        const std::size_t size = static_cast<std::size_t>(std::min(kPiece, bytes - m_moved));
        const ssize_t got = ::recv(data.socket.Number(), piece, size, MSG_DONTWAIT);
        if (got > 0) {
            m_moved += static_cast<uint64>(got);
            data.channel->received += static_cast<uint64>(got);
            m_state.received.append(piece, static_cast<std::size_t>(got));
        } else if (got < 0 && errno == EAGAIN) {
            m_pollIn = data.socket.Number();
            m_state.awaited.data = true;
            return Progress::Wait;
        } else if (got == 0 || errno != EINTR) {
            data.channel->sawEnd = true;
            if (bytes != kAll) {
                m_state.Fail("the client has closed after " + std::to_string(m_moved) + " bytes");
                return Progress::Wait;
            }
            data.socket.Close();
            return Progress::Done;
        }
    }
    return Progress::Done;
}

Server::Progress Server::ExpectDataClosed() {
    Data& data = *CurrentData();
    char byte = 0;
    const ssize_t got = ::recv(data.socket.Number(), &byte, 1, MSG_DONTWAIT);
    if (got > 0) {
        m_state.Fail("the client has sent something");
        return Progress::Wait;
    }
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
        m_pollIn = data.socket.Number();
        m_state.awaited.data = true;
        return Progress::Wait;
    }
    data.channel->sawEnd = true;
    data.socket.Close();
    return Progress::Done;
}

Server::Progress Server::ResetData() {
    Data& data = *CurrentData();
    if (!HasSentAll(data.socket.Number())) {
        return WaitUntilNotFull(*data.channel);
    }
    ResetAtClose(data.socket.Number());
    data.channel->finished = true;
    data.socket.Close();
    return Progress::Done;
}

void Server::LookAtHeld() {
    for (const Data& data : m_data) {
        if (data.isHeld && data.socket.IsOpen() && HasCaller(data.socket.Number())) {
            m_state.Fail("the client has sent or closed on a data connection that is held");
        }
    }
}

} // namespace vxcio::test::script
