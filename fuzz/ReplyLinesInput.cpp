#include "fuzz/ReplyLinesInput.h"

#include "frame/InnerSoftDataIO.h"
#include "frame/Status.h"
#include "ftp/FtpSocket.h"
#include "fuzz/Require.h"
#include "platform/HostNames.h"
#include "platform/Sockets.h"
#include "text/Utf8.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio::fuzz {

namespace {

constexpr SocketToken kSocket = 1;

// What the server has yet to say. Behind its last packet it is silent, or, for who would wait for it, each
// receive fails.
struct Wire {
    std::string_view rest;
    std::size_t packet = 1;
    bool failsAtEnd = false;

    std::string_view Next() {
        const std::string_view bytes = rest.substr(0, packet);
        rest.remove_prefix(bytes.size());
        return bytes;
    }
};

Wire g_wire;

int Receive(SocketToken, void* buffer, uint32 bytes) {
    Require(bytes >= g_wire.packet, "a packet fits");
    const std::string_view packet = g_wire.Next();
    if (packet.empty()) {
        return -1;
    }
    std::memcpy(buffer, packet.data(), packet.size());
    return static_cast<int>(packet.size());
}

int Readable(SocketToken, uint32* bytes) {
    const auto next = static_cast<uint32>(std::min(g_wire.packet, g_wire.rest.size()));
    *bytes = next == 0 && g_wire.failsAtEnd ? 1 : next;
    return 0;
}

// The table for the length of one input.
class WireScope {
public:
    WireScope() {
        SocketTable& table = Sockets();
        table.open = [] { return kSocket; };
        table.connect = [](SocketToken, uint32, uint16) { return 0; };
        table.send = [](SocketToken, const void*, uint32 bytes) { return static_cast<int>(bytes); };
        table.receive = Receive;
        table.lookReadable = [](SocketToken, uint32) { return 1; };
        table.readable = Readable;
        table.shutdown = [](SocketToken) { return 0; };
        table.close = [](SocketToken) { return 0; };
        table.lastError = [] { return kSocketReset; };
        HostNames().firstAddress = [](const char*, uint32* address) {
            *address = 0x7F000001u;
            return true;
        };
    }
    ~WireScope() {
        Sockets() = m_sockets;
        HostNames() = m_names;
    }
    WireScope(const WireScope&) = delete;
    WireScope& operator=(const WireScope&) = delete;

private:
    const SocketTable m_sockets = Sockets();
    const HostNameTable m_names = HostNames();
};

// The lines of the same bytes: of each packet what stands in front of its first 0.
std::vector<std::wstring> LinesOf(Wire wire) {
    std::wstring text;
    for (std::string_view packet = wire.Next(); !packet.empty(); packet = wire.Next()) {
        text += FromUtf8(packet.substr(0, packet.find('\0')));
    }
    std::vector<std::wstring> lines;
    std::size_t from = 0;
    for (std::size_t end = text.find(L"\r\n"); end != std::wstring::npos; end = text.find(L"\r\n", from)) {
        lines.push_back(text.substr(from, end - from));
        from = end + 2;
    }
    return lines;
}

int32 CodeOf(const std::wstring& line) {
    using Limits = std::numeric_limits<int32>;
    const long long code = std::wcstoll(line.c_str(), nullptr, 10);
    return static_cast<int32>(std::clamp<long long>(code, Limits::min(), Limits::max()));
}

// Reads replies out of the lines, one after another.
struct Model {
    const std::vector<std::wstring> lines;
    std::size_t next = 0;
    std::wstring reply;
    int replyClass = 0;

    bool ReadLine() {
        if (next == lines.size()) {
            return false;
        }
        reply = lines[next++];
        if (reply.compare(0, 3, L"421") == 0) {
            return false;
        }
        if (!reply.empty()) {
            replyClass = static_cast<int>(reply[0]) - L'0';
        }
        return true;
    }

    bool ReadReply() {
        if (!ReadLine()) {
            return false;
        }
        if (reply.size() < 4 || reply[3] != L'-') {
            return true;
        }
        const int32 code = CodeOf(reply);
        while (reply.size() < 4 || reply[3] != L' ' || CodeOf(reply) != code) {
            if (!ReadLine()) {
                return false;
            }
        }
        return true;
    }
};

Ref<CInnerSoftDataIO> NewSession() {
    return Ref<CInnerSoftDataIO>::Adopt(new CInnerSoftDataIO(nullptr));
}

void CheckReplies(const Wire& wire) {
    const WireScope scope;
    g_wire = wire;
    const auto session = NewSession();
    session->m_Ctrlsok = new CFTPSocket;
    session->m_Ctrlsok->Create();
    Model model{LinesOf(wire), 0, {}, 0};
    bool goesOn = true;
    while (goesOn) {
        goesOn = model.next < model.lines.size();
        const bool wanted = model.ReadReply();
        Require((session->ReadStr(session->m_retmsg, 0) != 0) == wanted, "a reply comes where one is");
        Require(model.reply == session->m_retmsg.c_str(), "the last line is kept");
        Require(model.replyClass == session->m_nReplyClass, "its first character is the class");
    }
    CInnerSoftDataIO::DropSocket(session->m_Ctrlsok);
}

void CheckLogon(const Wire& wire) {
    const WireScope scope;
    g_wire = wire;
    g_wire.failsAtEnd = true;
    const auto session = NewSession();
    const auto status =
        static_cast<uint32>(session->Connect(FTPMODE_NORMAL, L"host", L"user", L"password", 21, 0));
    Require(status == VXC_STATUS_OK || status == VXC_STATUS_FTP_CONNECT || status == VXC_STATUS_FTP_USER ||
                status == VXC_STATUS_FTP_PASSWORD || status == VXC_STATUS_FTP_REPLY,
            "a logon ends in one of its results");
    session->CreateDataChannel();
    session->Close();
}

} // namespace

void FuzzFtpLines(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return;
    }
    const std::string bytes(data + 1, data + size);
    const Wire wire{bytes, data[0] < 128 ? data[0] + std::size_t{1} : std::size_t{1024}};
    CheckReplies(wire);
    CheckLogon(wire);
}

} // namespace vxcio::fuzz
