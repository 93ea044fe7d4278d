#include "ftp/FtpSocket.h"

#include "frame/Log.h"
#include "ftp/ReplyText.h"
#include "platform/HostNames.h"
#include "text/Utf8.h"

#include <algorithm>
#include <cstring>
#include <vector>

using namespace vxcio;

namespace {

constexpr uint16 kInterfaceVersion = 2; // 2.0
constexpr int kBacklog = 5;
constexpr int kLeaveAlone = 88;
constexpr unsigned kPollStep = 100; // milliseconds
// How long the first look at a socket lasts: most replies come within it, and cost no sleep.
constexpr unsigned kFirstLook = 20; // milliseconds
constexpr unsigned kPacket = 1024;
constexpr std::size_t kLongestHost = 1023;
// A server that never ends its line must not fill the memory.
constexpr std::size_t kLongestLine = 64u << 20;

CVXCString Dotted(uint32 address) noexcept {
    CVXCString text;
    text.Format(L"%d.%d.%d.%d", address >> 24 & 0xFFu, address >> 16 & 0xFFu, address >> 8 & 0xFFu,
                address & 0xFFu);
    return text;
}

} // namespace

CFTPSocket::CFTPSocket() noexcept {
    uint16 version = 0;
    if (Sockets().startup(kInterfaceVersion, &version) != 0) {
        m_nErr.store(Sockets().lastError(), std::memory_order_relaxed);
        return;
    }
    m_bStarted = version == kInterfaceVersion ? 1 : 0;
    m_bMustStop = true;
}

CFTPSocket::~CFTPSocket() {
    Close();
    if (m_bMustStop) {
        Sockets().cleanup();
    }
}

void CFTPSocket::CheckErr(const wchar_t* function, unsigned line) const noexcept {
    if (const int32 error = m_nErr.load(std::memory_order_relaxed); error != 0) {
        LogError(L"m_nErr = %d CFTPSocket::%s line:%d", error, function, line);
    }
}

// The error of the call that has just failed, a trace, and 0.
int CFTPSocket::Fail(const wchar_t* function, unsigned line) noexcept {
    m_nErr.store(Sockets().lastError(), std::memory_order_relaxed);
    CheckErr(function, line);
    return 0;
}

void CFTPSocket::NoteFailure(const wchar_t* format) noexcept {
    const int error = Sockets().lastError();
    m_nErr.store(error, std::memory_order_relaxed);
    LogMessage(format, error);
}

int CFTPSocket::Create() noexcept {
    CheckErr(L"Create", 76);
    if (m_bStarted == 0) {
        CheckErr(L"Create", 80);
        return 0;
    }
    m_hSocket = Sockets().open();
    if (m_hSocket == kNoSocket) {
        // Closed before the error is asked for: it is this call's error that is kept.
        Sockets().close(m_hSocket);
        return Fail(L"Create", 90);
    }
    CheckErr(L"Create", 94);
    return 1;
}

int CFTPSocket::Connect(const wchar_t* host, unsigned port) noexcept {
    CheckErr(L"Connect", 102);
    const wchar_t* const name = host == nullptr ? L"" : host;
    LogTrace(L"CFTPSocket::Connect()--IP:%s, Port:%d", name, port);
    try {
        const std::string bytes = ToUtf8(name);
        std::vector<uint32> tried;
        for (;;) {
            uint32 address = 0;
            if (bytes.size() > kLongestHost || !HostNames().firstAddress(bytes.c_str(), &address)) {
                CheckErr(L"Connect", 128);
                return 0;
            }
            if (std::find(tried.begin(), tried.end(), address) != tried.end()) {
                return 0;
            }
            tried.push_back(address);
            if (Sockets().connect(m_hSocket, address, static_cast<uint16>(port)) == 0) {
                CheckErr(L"Connect", 159);
                return 1;
            }
            m_nErr.store(Sockets().lastError(), std::memory_order_relaxed);
        }
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

int CFTPSocket::Bind(unsigned port) noexcept {
    CheckErr(L"Bind", 378);
    const uint32 address = HostNames().ownAddress();
    if (address == 0) {
        CheckErr(L"Bind", 397);
        return 0;
    }
    if (Sockets().bind(m_hSocket, address, static_cast<uint16>(port)) != 0) {
        m_nErr.store(Sockets().lastError(), std::memory_order_relaxed);
        Sockets().close(m_hSocket);
        CheckErr(L"Bind", 407);
        return 0;
    }
    CheckErr(L"Bind", 411);
    return 1;
}

int CFTPSocket::Listen() noexcept {
    CheckErr(L"Listen", 417);
    if (Sockets().listen(m_hSocket, kBacklog) != 0) {
        return Fail(L"Listen", 422);
    }
    CheckErr(L"Listen", 426);
    return 1;
}

int CFTPSocket::Accept(CFTPSocket& client) noexcept {
    CheckErr(L"Accept", 432);
    client.m_hSocket = Sockets().accept(m_hSocket);
    if (client.m_hSocket == kNoSocket) {
        return Fail(L"Accept", 440);
    }
    CheckErr(L"Accept", 443);
    return 1;
}

int CFTPSocket::Accept1(SocketToken* client) noexcept {
    CheckErr(L"Accept1", 449);
    *client = Sockets().accept(m_hSocket);
    // It is this socket that is looked at, not the one accepted.
    if (m_hSocket == kNoSocket) {
        return Fail(L"Accept1", 457);
    }
    CheckErr(L"Accept1", 461);
    return 1;
}

int CFTPSocket::Close() noexcept {
    CheckErr(L"Close", 470);
    int result = 0;
    if (m_hSocket != 0) {
        if (m_nErr.load(std::memory_order_relaxed) != kLeaveAlone) {
            Sockets().shutdown(m_hSocket);
            Sockets().close(m_hSocket);
        }
        CheckErr(L"Close", 478);
        result = 1;
    }
    return result;
}

int CFTPSocket::WriteString(const wchar_t* text) noexcept {
    CheckErr(L"WriteString", 196);
    int sent = -1;
    try {
        const std::string bytes = text == nullptr ? std::string() : ToUtf8(text);
        sent = Sockets().send(m_hSocket, bytes.data(), static_cast<uint32>(bytes.size()));
    } catch (const std::bad_alloc&) {
        CheckErr(L"WriteString", 223);
        return 0;
    }
    if (sent == -1) {
        NoteFailure(L"CFTPSocket:: send() err: WSAGetLastError() = %d \n");
        CheckErr(L"WriteString", 223);
        return 0;
    }
    CheckErr(L"WriteString", 227);
    return 1;
}

// Looks only at what came since the last look, and at the CR in front of it.
bool CFTPSocket::HasLine() noexcept {
    const std::size_t end = m_strPending.find(L"\r\n", m_nSearched);
    const bool has = end != std::wstring::npos;
    m_nSearched = has ? end : std::max(m_nTaken, m_strPending.size() - (m_strPending.empty() ? 0 : 1));
    return has;
}

void CFTPSocket::DropPending() noexcept {
    std::wstring().swap(m_strPending); // its memory as well
    m_nTaken = m_nSearched = 0;
}

// Appends what one packet holds up to its first 0. False after a failure.
bool CFTPSocket::TakeIn(unsigned& count) noexcept {
    char packet[kPacket] = {};
    const int got = Sockets().receive(m_hSocket, packet, kPacket);
    if (got == -1) {
        NoteFailure(L"CFTPSocket:: ReadString recv() err: WSAGetLastError() = %d \n");
        return false;
    }
    count = static_cast<unsigned>(got);
    try {
        m_strPending += FromUtf8(std::string_view(packet, ::strnlen(packet, kPacket)));
    } catch (const std::bad_alloc&) {
        return false;
    }
    if (m_strPending.size() - m_nTaken > kLongestLine && !HasLine()) {
        DropPending();
        return false;
    }
    return true;
}

// The line that HasLine has found. False where memory lacks; it stays then.
bool CFTPSocket::GiveOut(CVXCString& line) noexcept {
    const auto length = static_cast<int>(m_nSearched - m_nTaken);
    CVXCString found(m_strPending.c_str() + m_nTaken, length);
    if (found.GetLength() != length) {
        return false;
    }
    line = static_cast<CVXCString&&>(found);
    m_nSearched += 2; // the CR LF
    m_nTaken = m_nSearched;
    // Not for each line: of many short ones the rest would be moved again and again.
    if (m_nTaken > m_strPending.size() / 2) {
        m_strPending.erase(0, m_nTaken);
        m_nTaken = m_nSearched = 0;
    }
    return true;
}

int CFTPSocket::ReadString(CVXCString& line, unsigned timeoutMs) noexcept {
    CheckErr(L"ReadString", 234);
    unsigned remaining = timeoutMs;
    unsigned step = std::min(kPollStep, timeoutMs);
    unsigned waited = 0;
    if (!HasLine()) {
        Sockets().lookReadable(m_hSocket, std::min(kFirstLook, timeoutMs));
    }
    for (bool hasLine = false; !hasLine;) {
        uint32 count = 0;
        if (Sockets().readable(m_hSocket, &count) != 0) {
            const int error = Sockets().lastError();
            m_nErr.store(error, std::memory_order_relaxed);
            LogMessage(L"CFTPSocket:: ReadString WSAIoctl() err: WSAGetLastError() = %d nByteNum = %d\n",
                       error, count);
        }
        hasLine = HasLine();
        if (waited != 0 && (count > 0 || hasLine)) {
            LogTrace(L"CFTPSocket::ReadString() Wait Time: %d ms", waited);
        }
        // A server that talks faster than it is listened to must not fill the memory with lines either.
        if (count > 0 && !(hasLine && m_strPending.size() - m_nTaken > kLongestLine)) {
            if (!TakeIn(count)) {
                CheckErr(L"ReadString", 305);
                return 0;
            }
            hasLine = HasLine();
        }
        // Also where there was something to receive that turned out to be nothing: that would not end.
        if (count == 0 && !hasLine) {
            VXC_Sleep(step);
            waited += step;
            // The last, short sleep comes on top where the time is no multiple of the step.
            if (remaining < step) {
                step = remaining;
            } else {
                remaining -= step;
            }
            if (remaining == 0) {
                CheckErr(L"ReadString", 289);
                return 0;
            }
        }
    }
    if (!GiveOut(line)) {
        CheckErr(L"ReadString", 305);
        return 0;
    }
    CheckErr(L"ReadString", 327);
    return 1;
}

int CFTPSocket::Receive(void* buffer, unsigned size, unsigned /*flags*/) {
    CheckErr(L"Receive", 484);
    const int got = Sockets().receive(m_hSocket, buffer, size);
    if (got == -1) {
        NoteFailure(L"CFTPSocket:: recv() err: WSAGetLastError() = %d \n");
    }
    CheckErr(L"Receive", 494);
    return got;
}

int CFTPSocket::Receive(void* buffer, unsigned size, std::mutex& lock, const bool& stopped) {
    CheckErr(L"Receive", 484);
    int got = 0;
    for (bool mustWait = true; mustWait;) {
        {
            const std::lock_guard guard(lock);
            got = stopped ? kStopped : Sockets().receiveNow(m_hSocket, buffer, size);
        }
        mustWait = got == -1 && Sockets().lastError() == kSocketWouldBlock;
        if (mustWait && Sockets().waitReadable(m_hSocket) != 0) {
            break; // it would fail at once each time
        }
    }
    if (got == -1) {
        NoteFailure(L"CFTPSocket:: recv() err: WSAGetLastError() = %d \n");
    }
    CheckErr(L"Receive", 494);
    return got;
}

int CFTPSocket::Send(const void* data, unsigned size, unsigned /*flags*/) {
    CheckErr(L"Send", 500);
    const int sent = Sockets().send(m_hSocket, data, size);
    if (sent < 0 || static_cast<unsigned>(sent) != size) {
        NoteFailure(L"send() err: WSAGetLastError() = %d \n");
    }
    CheckErr(L"Send", 509);
    return sent;
}

int CFTPSocket::GetSockName(CVXCString& address, unsigned& port) noexcept {
    CheckErr(L"GetSockName", 333);
    uint32 number = 0;
    uint16 numberOfPort = 0;
    if (Sockets().name(m_hSocket, &number, &numberOfPort) != 0) {
        return Fail(L"GetSockName", 342);
    }
    // The text of an address without a port has no colon.
    if (numberOfPort == 0) {
        CheckErr(L"GetSockName", 368);
        return 0;
    }
    CVXCString dotted = Dotted(number);
    if (dotted.IsEmpty()) {
        CheckErr(L"GetSockName", 352);
        return 0;
    }
    address = static_cast<CVXCString&&>(dotted);
    port = numberOfPort;
    CheckErr(L"GetSockName", 372);
    return 1;
}
