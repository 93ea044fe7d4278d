#include "support/FtpWire.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vxcio::test {

namespace {

constexpr uint16 kFirstPort = 1000;
constexpr int kSocketNotConnected = 10057;

FtpWire* g_wire = nullptr; // changed while no other thread is in the table

thread_local int t_error = 0;

int FailWith(int error) {
    t_error = error;
    return -1;
}

} // namespace

FtpWire::FtpWire(std::string content, FateOf fateOf)
    : m_content(std::move(content)), m_fateOf(std::move(fateOf)), m_lastPort(kFirstPort) {
    g_wire = this;
    SocketTable& table = Sockets();
    table.open = Open;
    table.connect = Connect;
    table.bind = [](SocketToken, uint32, uint16) { return FailWith(10049); };
    table.listen = [](SocketToken, int) { return FailWith(10022); };
    table.accept = [](SocketToken) -> SocketToken {
        FailWith(10022);
        return kNoSocket;
    };
    table.send = Send;
    table.receive = Receive;
    table.receiveNow = ReceiveNow;
    table.waitReadable = WaitReadable;
    table.readable = Readable;
    table.name = [](SocketToken, uint32*, uint16*) { return FailWith(10022); };
    table.shutdown = Shutdown;
    table.close = Close;
    table.lastError = [] { return t_error; };
    HostNames().firstAddress = [](const char* host, uint32* address) {
        *address = 0x7F000001;
        return *host != 0;
    };
}

FtpWire::~FtpWire() {
    Finish();
    Sockets() = m_table;
    HostNames() = m_names;
    g_wire = nullptr;
}

FtpWire& FtpWire::Current() {
    return *g_wire;
}

// ---- For the test -------------------------------------------------------------------------------------

void FtpWire::LoseReplies(uint32 oneOf) {
    const std::lock_guard lock(m_mutex);
    m_lossOneOf = oneOf;
}

void FtpWire::SetPiece(uint32 bytes) {
    const std::lock_guard lock(m_mutex);
    m_piece = bytes;
}

bool FtpWire::WaitForStall() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_stalled > 0 || m_isOver; });
    return !m_isOver;
}

void FtpWire::Release() {
    const std::lock_guard lock(m_mutex);
    for (auto& [token, link] : m_links) {
        if (IsStalled(link)) {
            link.fate = Fate();
        }
    }
    m_changed.notify_all();
}

void FtpWire::Finish() {
    const std::lock_guard lock(m_mutex);
    m_isOver = true;
    m_changed.notify_all();
}

std::vector<std::string> FtpWire::Lines() const {
    const std::lock_guard lock(m_mutex);
    return m_lines;
}

int FtpWire::Transfers() const {
    const std::lock_guard lock(m_mutex);
    return m_transfers;
}

int FtpWire::OpenSockets() const {
    const std::lock_guard lock(m_mutex);
    return static_cast<int>(m_links.size());
}

// ---- The server ---------------------------------------------------------------------------------------

FtpWire::Link* FtpWire::Find(SocketToken token) {
    const auto found = m_links.find(token);
    if (found == m_links.end()) {
        t_error = kSocketNotASocket;
        return nullptr;
    }
    return &found->second;
}

void FtpWire::Say(Link& control, const std::string& line) {
    if (m_lossOneOf == 0 || ++m_replies % m_lossOneOf != 0) {
        control.said += line + "\r\n";
    }
}

void FtpWire::Answer(SocketToken token, Link& control, const std::string& command) {
    const std::string verb = command.substr(0, 4);
    if (verb == "USER") {
        Say(control, "230 in");
    } else if (verb == "TYPE") {
        Say(control, "200 binary");
    } else if (verb == "PASV") {
        m_lastPort = static_cast<uint16>(m_lastPort == 0xFFFF ? kFirstPort : m_lastPort + 1);
        control.dataPort = m_lastPort;
        control.restart = 0;          // a position belongs to the transfer that is set up
        m_dataByPort[m_lastPort] = 0; // nobody has connected
        Say(control, "227 here (127,0,0,1," + std::to_string(control.dataPort / 256) + "," +
                         std::to_string(control.dataPort % 256) + ")");
    } else if (verb == "SIZE") {
        Say(control, "213 " + std::to_string(m_content.size()));
    } else if (verb == "REST") {
        control.restart = std::strtoull(command.c_str() + 5, nullptr, 10);
        Say(control, "350 there");
    } else if (verb == "RETR") {
        control.owesEnd = true;
        BeginTransfer(token, control);
        Say(control, "150 sending");
    } else {
        Say(control, verb == "QUIT" ? "221 bye" : "500 what");
    }
}

// When both the command and the connection are there.
void FtpWire::BeginTransfer(SocketToken token, Link& control) {
    const auto port = m_dataByPort.find(control.dataPort);
    Link* const data = port == m_dataByPort.end() || port->second == 0 ? nullptr : Find(port->second);
    if (!control.owesEnd || data == nullptr || data->hasBegun) {
        return;
    }
    data->hasBegun = true;
    data->control = token;
    data->position = std::exchange(control.restart, 0);
    data->fate = m_fateOf ? m_fateOf(data->position) : Fate();
    ++m_transfers;
}

void FtpWire::TellEnd(Link& data, const char* reply) {
    if (std::exchange(data.toldEnd, true) || !data.hasBegun) {
        return;
    }
    if (Link* const control = Find(data.control); control != nullptr) {
        control->owesEnd = false;
        Say(*control, reply);
    }
}

bool FtpWire::IsStalled(const Link& link) const {
    return !link.isControl && link.hasBegun && link.fate.end == End::Stall && link.out >= link.fate.after &&
           !m_isOver;
}

bool FtpWire::IsReadable(const Link& link) const {
    return m_isOver || !link.isConnected ||
           (link.isControl ? !link.said.empty() : link.hasBegun && !IsStalled(link));
}

int FtpWire::TakeData(Link& link, uint8* buffer, uint32 bytes) {
    if (m_isOver) {
        return 0;
    }
    uint64 left = link.position < m_content.size() ? m_content.size() - link.position : 0;
    if (link.fate.end != End::Whole) {
        if (link.out >= link.fate.after && link.fate.end == End::Reset) {
            TellEnd(link, "426 broken");
            return FailWith(kSocketReset);
        }
        left = std::min(left, link.fate.after - std::min(link.out, link.fate.after));
    }
    const auto count = static_cast<uint32>(std::min<uint64>({left, bytes, m_piece}));
    if (count == 0) {
        TellEnd(link, "226 done");
        return 0;
    }
    std::memcpy(buffer, m_content.data() + link.position, count);
    link.position += count;
    link.out += count;
    return static_cast<int>(count);
}

// ---- The table ----------------------------------------------------------------------------------------

SocketToken FtpWire::Open() {
    FtpWire& wire = Current();
    const std::lock_guard lock(wire.m_mutex);
    wire.m_links.emplace(++wire.m_last, Link());
    return wire.m_last;
}

int FtpWire::Connect(SocketToken token, uint32 /*address*/, uint16 port) {
    FtpWire& wire = Current();
    const std::lock_guard lock(wire.m_mutex);
    Link* const link = wire.Find(token);
    if (link == nullptr) {
        return -1;
    }
    if (port == kPort) {
        link->isControl = true;
        link->isConnected = true;
        wire.Say(*link, "220 wire");
        return 0;
    }
    const auto found = wire.m_dataByPort.find(port);
    if (found == wire.m_dataByPort.end() || found->second != 0) {
        return FailWith(10061);
    }
    found->second = token;
    link->isConnected = true;
    for (auto& [controlToken, control] : wire.m_links) {
        if (control.isControl && control.dataPort == port) {
            wire.BeginTransfer(controlToken, control);
        }
    }
    wire.m_changed.notify_all();
    return 0;
}

int FtpWire::Send(SocketToken token, const void* data, uint32 bytes) {
    FtpWire& wire = Current();
    const std::lock_guard lock(wire.m_mutex);
    Link* const link = wire.Find(token);
    if (link == nullptr) {
        return -1;
    }
    if (!link->isConnected) {
        return FailWith(kSocketNotConnected);
    }
    std::string command(static_cast<const char*>(data), bytes);
    wire.Answer(token, *link, command);
    if (command.ends_with("\r\n")) {
        command.resize(command.size() - 2);
    }
    wire.m_lines.push_back(std::move(command));
    wire.m_changed.notify_all();
    return static_cast<int>(bytes);
}

int FtpWire::ReceiveNow(SocketToken token, void* buffer, uint32 bytes) {
    FtpWire& wire = Current();
    const std::lock_guard lock(wire.m_mutex);
    Link* const link = wire.Find(token);
    if (link == nullptr) {
        return -1;
    }
    if (!link->isConnected) {
        return FailWith(kSocketNotConnected);
    }
    if (!wire.IsReadable(*link)) {
        return FailWith(kSocketWouldBlock);
    }
    if (!link->isControl) {
        return wire.TakeData(*link, static_cast<uint8*>(buffer), bytes);
    }
    const std::size_t count = std::min<std::size_t>(bytes, link->said.size());
    std::memcpy(buffer, link->said.data(), count);
    link->said.erase(0, count);
    return static_cast<int>(count);
}

int FtpWire::Receive(SocketToken token, void* buffer, uint32 bytes) {
    int got = 0;
    do {
        WaitReadable(token);
        got = ReceiveNow(token, buffer, bytes);
    } while (got == -1 && t_error == kSocketWouldBlock);
    return got;
}

int FtpWire::WaitReadable(SocketToken token) {
    FtpWire& wire = Current();
    std::unique_lock lock(wire.m_mutex);
    bool stands = false;
    const auto standAtStall = [&](bool is) {
        if (stands != is) {
            stands = is;
            wire.m_stalled += is ? 1 : -1;
            wire.m_changed.notify_all();
        }
    };
    wire.m_changed.wait(lock, [&] {
        const auto found = wire.m_links.find(token);
        const bool isReady = found == wire.m_links.end() || wire.IsReadable(found->second);
        standAtStall(!isReady && wire.IsStalled(found->second));
        return isReady;
    });
    return wire.Find(token) == nullptr ? -1 : 0;
}

int FtpWire::Readable(SocketToken token, uint32* bytes) {
    FtpWire& wire = Current();
    const std::lock_guard lock(wire.m_mutex);
    const Link* const link = wire.Find(token);
    if (link == nullptr) {
        return -1;
    }
    *bytes = static_cast<uint32>(link->said.size());
    return 0;
}

int FtpWire::EndLink(SocketToken token, bool forget) {
    const std::lock_guard lock(m_mutex);
    Link* const link = Find(token);
    if (link == nullptr) {
        return -1;
    }
    if (!link->isControl) {
        TellEnd(*link, "426 aborted");
    }
    if (forget) {
        m_links.erase(token);
    }
    m_changed.notify_all();
    return 0;
}

int FtpWire::Shutdown(SocketToken token) {
    return Current().EndLink(token, false);
}

int FtpWire::Close(SocketToken token) {
    return Current().EndLink(token, true);
}

} // namespace vxcio::test
