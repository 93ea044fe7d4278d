#include "sweep/FtpFake.h"

#include "ftp/MxfBytes.h"

#include <algorithm>
#include <cstring>

namespace vxcio::test {

namespace {

constexpr uint32 kAddress = 0x7F000001;
constexpr int kInjected = 10054;
// The end of a transfer is waited for as long as the server says nothing. So this one says something when it
// was looked at so often in vain, which takes longer than any other wait, and a fault that stays ends at
// last.
constexpr int kIdleLooks = 1000;
constexpr int kPatience = 20000;

FtpFake* g_fake = nullptr;

} // namespace

const std::string FtpFake::kListing = "-rw-r--r--    1 1000     1000            5 Nov 22  2020 one\r\n"
                                      "drwxr-xr-x    2 1000     1000         4096 Nov 22  2020 two\r\n"
                                      "-rw-r--r--    1 1000     1000           15 Nov 22  2020 three\r\n";

const std::vector<std::string> FtpFake::kAnswer = {"213-clip", "l0",   "l1",      "IMX40",
                                                   "59.94i",   "8 ch", "2904 fr", "213 end"};

const std::string& FtpFake::Stretch() {
    static const std::string stretch = mxf::Stretch(kOrigin, 2000) + std::string(3000, 'b');
    return stretch;
}

FtpFake::FtpFake() : FtpFake(SocketFault{}) {}

FtpFake::FtpFake(const SocketFault& fault) : m_begin(m_clock.Now()), m_fault(fault) {
    m_clock.AutoAdvanceSleeps(true);
    g_fake = this;
    HostNames().firstAddress = [](const char* host, uint32* address) {
        *address = kAddress;
        return *host != 0;
    };
    HostNames().ownAddress = [] { return kAddress; };
    SocketTable& table = Sockets();
    table.startup = Startup;
    table.cleanup = [] {};
    table.open = Open;
    table.connect = Connect;
    table.bind = Bind;
    table.listen = Listen;
    table.accept = Accept;
    table.send = Send;
    table.receive = Receive;
    table.receiveNow = Receive;
    table.waitReadable = [](SocketToken) { return 0; };
    table.lookReadable = [](SocketToken, uint32) { return 0; };
    table.readable = Readable;
    table.name = Name;
    table.shutdown = Shutdown;
    table.close = Close;
    table.lastError = [] { return g_fake->m_error; };
}

FtpFake::~FtpFake() {
    g_fake = nullptr;
}

bool FtpFake::Count() {
    ++m_calls;
    m_isNow =
        m_fault.nth != 0 && (m_fault.fromThenOn ? m_calls >= m_fault.nth && m_calls < m_fault.nth + kPatience
                                                : m_calls == m_fault.nth);
    m_fired += m_isNow ? 1 : 0;
    const bool fails = m_isNow && m_fault.kind == SocketFault::Kind::Fails;
    if (fails) {
        m_error = kInjected;
    }
    return fails;
}

int FtpFake::Fail(int error) {
    m_error = error;
    return -1;
}

FtpFake::Socket* FtpFake::Find(SocketToken token) {
    const auto found = m_sockets.find(token);
    if (found == m_sockets.end()) {
        m_error = kSocketNotASocket;
        return nullptr;
    }
    return &found->second;
}

SocketToken FtpFake::Add(Role role) {
    m_sockets[++m_last].role = role;
    return m_last;
}

void FtpFake::Say(const std::string& line) {
    if (Socket* const control = Find(m_control)) {
        control->in += line + "\r\n";
    }
}

void FtpFake::Hear(const std::string& line) {
    m_lines.push_back(line);
    const std::string verb = line.substr(0, 4);
    if (verb == "USER") {
        Say("331 password");
    } else if (verb == "PASS") {
        Say("230 logged on");
    } else if (verb == "PASV") {
        m_passivePort = ++m_lastPort;
        m_connected = 0;
        Say("227 (127,0,0,1," + std::to_string(m_passivePort >> 8) + "," +
            std::to_string(m_passivePort & 0xFF) + ")");
    } else if (verb == "PORT") {
        const std::size_t low = line.rfind(',');
        const std::size_t high = low == std::string::npos ? low : line.rfind(',', low - 1);
        if (high == std::string::npos) {
            Say("501 no");
            return;
        }
        m_activePort =
            static_cast<uint16>(std::atoi(line.c_str() + high + 1) * 256 + std::atoi(line.c_str() + low + 1));
        m_passivePort = 0;
        Say("200 port");
    } else if (verb == "LIST" || verb == "STOR" || verb == "APPE") {
        Transfer(verb);
    } else if (verb == "STAT") {
        for (const std::string& answer : kAnswer) {
            Say(answer);
        }
    } else if (line == "SITE DF" || line.starts_with("SITE REPF ")) {
        Transfer(line.substr(0, 9));
    } else if (verb == "RETR") {
        Say("550 no such file");
    } else if (verb == "QUIT") {
        Say("221 bye");
    } else if (verb == "NOOP" || verb == "CWD " || verb == "TYPE" ||
               (verb == "DELE" && line.ends_with("/old"))) {
        Say("250 done");
    } else {
        Say("500 what");
    }
}

// Begins a transfer, as soon as there is a connection for it.
void FtpFake::Transfer(const std::string& line) {
    m_pending = line;
    if (m_passivePort != 0) {
        if (Socket* const data = m_connected == 0 ? nullptr : Find(m_connected)) {
            Carry(*data);
        }
        return;
    }
    for (auto& [token, socket] : m_sockets) {
        if (socket.role == Role::Listener && socket.port == m_activePort && m_activePort != 0) {
            const SocketToken data = Add(Role::Data);
            Carry(m_sockets[data]);
            m_sockets[token].dialled.push_back(data);
            return;
        }
    }
    Say("425 no connection");
}

void FtpFake::Carry(Socket& data) {
    Say("150 go");
    const bool isUpload = m_pending == "STOR" || m_pending == "APPE";
    if (isUpload) {
        data.upload = "";
    } else {
        data.in = m_pending == "LIST"      ? kListing
                  : m_pending == "SITE DF" ? "total 9 others " + std::to_string(kSpace) + " blocks"
                                           : Stretch();
        data.ended = true;
        Say("226 done");
    }
    m_pending.clear();
    m_passivePort = 0;
}

void FtpFake::Remove(SocketToken token) {
    const Socket socket = m_sockets[token];
    m_sockets.erase(token);
    for (const SocketToken dialled : socket.dialled) {
        m_sockets.erase(dialled);
    }
    if (socket.upload) {
        m_file = socket.upload;
        Say("226 done");
    }
    if (token == m_control) {
        m_control = 0;
        m_heard.clear();
    }
}

int FtpFake::Startup(uint16 wanted, uint16* version) {
    *version = wanted;
    return g_fake->Count() ? kInjected : 0;
}

SocketToken FtpFake::Open() {
    return g_fake->Count() ? kNoSocket : g_fake->Add(Role::Fresh);
}

int FtpFake::Connect(SocketToken token, uint32, uint16 port) {
    FtpFake& fake = *g_fake;
    if (fake.Count()) {
        return -1;
    }
    Socket* const socket = fake.Find(token);
    if (socket == nullptr) {
        return -1;
    }
    if (port == kPort) {
        socket->role = Role::Control;
        fake.m_control = token;
        fake.m_heard.clear();
        fake.Say("220 ready");
        return 0;
    }
    if (port != fake.m_passivePort || port == 0) {
        return fake.Fail(10061);
    }
    socket->role = Role::Data;
    fake.m_connected = token;
    if (!fake.m_pending.empty()) {
        fake.Carry(*socket);
    }
    return 0;
}

int FtpFake::Bind(SocketToken token, uint32, uint16) {
    Socket* const socket = g_fake->Find(token);
    if (g_fake->Count() || socket == nullptr) {
        return -1;
    }
    socket->port = ++g_fake->m_lastPort;
    return 0;
}

int FtpFake::Listen(SocketToken token, int) {
    Socket* const socket = g_fake->Find(token);
    if (g_fake->Count() || socket == nullptr) {
        return -1;
    }
    socket->role = Role::Listener;
    return 0;
}

SocketToken FtpFake::Accept(SocketToken token) {
    Socket* const socket = g_fake->Find(token);
    if (g_fake->Count() || socket == nullptr) {
        return kNoSocket;
    }
    if (socket->dialled.empty()) {
        ++g_fake->m_hangs;
        return kNoSocket;
    }
    const SocketToken data = socket->dialled.front();
    socket->dialled.erase(socket->dialled.begin());
    return data;
}

int FtpFake::Send(SocketToken token, const void* data, uint32 bytes) {
    FtpFake& fake = *g_fake;
    Socket* const socket = fake.Find(token);
    if (fake.Count() || socket == nullptr) {
        return -1;
    }
    if (socket->role == Role::Fresh || socket->role == Role::Listener) {
        return fake.Fail(10057);
    }
    const std::size_t size = fake.IsShort() ? std::min(bytes, 1U) : bytes;
    const std::string text(static_cast<const char*>(data), size);
    if (socket->role == Role::Data) {
        if (socket->upload) {
            *socket->upload += text;
        }
        return static_cast<int>(size);
    }
    if (token == fake.m_control) {
        fake.m_heard += text;
        for (std::size_t end = fake.m_heard.find("\r\n"); end != std::string::npos;
             end = fake.m_heard.find("\r\n")) {
            const std::string line = fake.m_heard.substr(0, end);
            fake.m_heard.erase(0, end + 2);
            fake.Hear(line);
        }
    }
    return static_cast<int>(size);
}

int FtpFake::Receive(SocketToken token, void* buffer, uint32 bytes) {
    FtpFake& fake = *g_fake;
    Socket* const socket = fake.Find(token);
    if (fake.Count() || socket == nullptr) {
        return -1;
    }
    if (socket->in.empty() && !socket->ended) {
        ++fake.m_hangs;
        return -1;
    }
    const std::size_t size = std::min<std::size_t>(socket->in.size(), fake.IsShort() ? 1 : bytes);
    std::memcpy(buffer, socket->in.data(), size);
    socket->in.erase(0, size);
    return static_cast<int>(size);
}

int FtpFake::Readable(SocketToken token, uint32* bytes) {
    Socket* const socket = g_fake->Find(token);
    if (g_fake->Count() || socket == nullptr) {
        return -1;
    }
    FtpFake& fake = *g_fake;
    fake.m_idle = socket->in.empty() ? fake.m_idle + 1 : 0;
    if (fake.m_idle == kIdleLooks) {
        fake.Say("500 still there");
    }
    *bytes = static_cast<uint32>(socket->in.size());
    return 0;
}

int FtpFake::Name(SocketToken token, uint32* address, uint16* port) {
    Socket* const socket = g_fake->Find(token);
    if (g_fake->Count() || socket == nullptr) {
        return -1;
    }
    *address = kAddress;
    *port = socket->port == 0 ? uint16{40000} : socket->port;
    return 0;
}

int FtpFake::Shutdown(SocketToken token) {
    Socket* const socket = g_fake->Find(token);
    return g_fake->Count() || socket == nullptr ? -1 : 0;
}

int FtpFake::Close(SocketToken token) {
    const bool fails = g_fake->Count();
    if (g_fake->Find(token) == nullptr) {
        return -1;
    }
    g_fake->Remove(token);
    return fails ? -1 : 0;
}

} // namespace vxcio::test
