// The FTP session of CInnerSoftDataIO: logging on, one command and its reply, the data channel of a transfer
// (RFC 959).
#include "frame/InnerSoftDataIO.h"

#include "frame/Log.h"
#include "frame/Status.h"
#include "ftp/FtpSocket.h"
#include "ftp/LostPath.h"
#include "ftp/ReplyText.h"
#include "ftp/ReplyTimes.h"

#include <algorithm>
#include <new>

using namespace vxcio;

namespace {

constexpr uint32 kLogonTimeOut = 60000; // milliseconds, as all here
constexpr uint32 kDelayOfReplies = 300;

// The commands of a logon, as the table names them.
enum LogonCommand : int { kUser = 0, kPass = 1, kAcct = 2 };

// Groups of three: a command, the next place after a reply of class 2, and after one of class 3. As replies
// of other classes are looked up as well, they reach into the neighbours and into the zeros behind: to be
// refused an account means to begin again.
constexpr int kLoggedOn = -2;
constexpr int kLogonFailed = -1;
constexpr int kLogonTable[30] = {kUser, kLoggedOn, 3, kPass, kLoggedOn, 6, kAcct, kLoggedOn, kLogonFailed};

// What a class that is no digit would read beside the table is a failure.
int NextPlace(int place, int replyClass) noexcept {
    const int64 index = int64{place} + replyClass - 1;
    return index < 0 || index >= std::ssize(kLogonTable) ? kLogonFailed : kLogonTable[index];
}

void Replace(CVXCString& text, wchar_t from, const wchar_t* to) noexcept {
    for (int at = FindCharacter(text, from); at >= 0; at = FindCharacter(text, from)) {
        text = text.Left(at) + to + text.Mid(at + 1);
    }
}

} // namespace

int CInnerSoftDataIO::Connect(FTPMODE mode, const wchar_t* host, const wchar_t* user, const wchar_t* password,
                              int port, int /*unused*/) {
    m_bPASV = 0;
    m_bFtp = 1;
    m_strHost = host;
    m_nPort = port;
    m_strUser = user;
    m_strPassword = password;
    m_nFtpMode = mode;
    if (mode == FTPMODE_EXPLODED) {
        m_strUser = L"MOVIE";
        m_strPassword = L"anonymous";
        m_nReplyDelay = kDelayOfReplies;
    } else if (mode == FTPMODE_DELAYED) {
        m_nReplyDelay = kDelayOfReplies;
    }
    m_strInfo = L"Connecting sever, please wait...";
    const uint32 status = Logon();
    m_strInfo = status == VXC_STATUS_OK ? L"Connect sever success!" : L"Can't connect to sever!";
    return static_cast<int>(status);
}

int CInnerSoftDataIO::SetPASVMode(int passive) {
    if (m_nFtpMode == FTPMODE_NORMAL) {
        m_bPASV = passive;
        return 1;
    }
    m_bPASV = 0;
    return passive == 0 ? 1 : 0;
}

CVXCString CInnerSoftDataIO::RemotePath(const wchar_t* path) const noexcept {
    const wchar_t* const prefix = m_nFtpMode == FTPMODE_EXPLODED ? L"/explodedFile/EXT:/" : L"";
    CVXCString whole = CVXCString(prefix) + path;
    return IsJoined(whole, prefix, path) ? whole : CVXCString();
}

void CInnerSoftDataIO::DropSocket(CFTPSocket*& socket) noexcept {
    if (socket != nullptr) {
        socket->Close();
        delete socket;
        socket = nullptr;
    }
}

int CInnerSoftDataIO::Close() {
    DropSocket(m_DataChannel);
    DropSocket(m_SockSvr);
    Quit();
    ReleaseMD5();
    return 1;
}

uint32 CInnerSoftDataIO::Logon() noexcept {
    m_strInfo = L"Unable to create socket!";
    DropSocket(m_Ctrlsok);
    m_Ctrlsok = new (std::nothrow) CFTPSocket;
    if (m_Ctrlsok == nullptr || m_Ctrlsok->Create() == 0) {
        return VXC_STATUS_FTP_SOCKET;
    }
    m_strInfo = L"Unable connect to server!";
    if (m_Ctrlsok->Connect(m_strHost, static_cast<unsigned>(m_nPort)) == 0) {
        VXCMSGW(kModuleName, L"Unable connect to server!\n");
        return VXC_STATUS_FTP_CONNECT;
    }
    if (ReadStr(m_retmsg, kReplyTimeOut) == 0 || m_nReplyClass != 2) {
        return VXC_STATUS_FTP_REPLY;
    }
    return LogonWalk();
}

uint32 CInnerSoftDataIO::LogonWalk() noexcept {
    int command = kUser;
    for (int place = 0;;) {
        // A place that names no command sends the last one again.
        if (const int entry = kLogonTable[place]; entry >= kUser && entry <= kAcct) {
            command = entry;
        }
        // The account is empty: there is none.
        const int sent = command == kUser   ? SendCommand(L"USER ", m_strUser)
                         : command == kPass ? SendCommand(L"PASS ", m_strPassword)
                                            : SendCommand(L"ACCT ");
        if (sent == 0) {
            return VXC_STATUS_FTP_SEND;
        }
        if (ReadStr(m_retmsg, kLogonTimeOut) == 0) {
            return VXC_STATUS_FTP_REPLY;
        }
        if (m_nReplyClass != 2 && m_nReplyClass != 3 && command != kAcct) {
            return command == kUser ? VXC_STATUS_FTP_USER : VXC_STATUS_FTP_PASSWORD;
        }
        place = NextPlace(place, m_nReplyClass);
        if (place == kLoggedOn) {
            return VXC_STATUS_OK;
        }
        if (place == kLogonFailed) {
            m_strInfo = L"Logon failed!";
            return VXC_STATUS_FTP_CONNECT;
        }
    }
}

int CInnerSoftDataIO::ReadLine(CVXCString& reply, uint32 timeoutMs) noexcept {
    if (m_Ctrlsok == nullptr || m_Ctrlsok->ReadString(reply, timeoutMs) == 0) {
        return 0;
    }
    if (BeginsWith(reply, L"421")) {
        m_strInfo = L"421 Connection timed out - closing! \n";
        VXCMSGW(kModuleName, L"421 Connection timed out - closing! \n");
        return 0;
    }
    if (!reply.IsEmpty()) {
        m_nReplyClass = static_cast<int>(reply.GetAt(0)) - L'0';
    }
    VXCMSGW(kModuleName, reply + L"\n");
    m_strInfo = reply;
    return 1;
}

int CInnerSoftDataIO::ReadStr(CVXCString& reply, uint32 timeoutMs) noexcept {
    VXC_Sleep(m_nReplyDelay);
    if (ReadLine(reply, timeoutMs) == 0) {
        return 0;
    }
    if (reply.GetLength() < 4 || reply.GetAt(3) != L'-') {
        return 1;
    }
    const int32 code = NumberAt(reply);
    while (reply.GetLength() <= 3 || reply.GetAt(3) != L' ' || NumberAt(reply) != code) {
        if (ReadLine(reply, timeoutMs) == 0) {
            return 0;
        }
    }
    return 1;
}

int CInnerSoftDataIO::WriteStr(CVXCString& command) noexcept {
    const CVXCString line = command + L"\r\n";
    const bool isWhole = IsJoined(line, command, L"\r\n");
    command = L"";
    if (!isWhole) {
        return 0;
    }
    VXCMSGW(kModuleName, BeginsWith(line, L"PASS") ? L"PASS *****\r\n" : line.c_str());
    return m_Ctrlsok == nullptr ? 0 : m_Ctrlsok->WriteString(line);
}

int CInnerSoftDataIO::SendCommand(const wchar_t* command, const wchar_t* argument) noexcept {
    CVXCString line = CVXCString(command) + argument;
    return IsJoined(line, command, argument) ? WriteStr(line) : 0;
}

int CInnerSoftDataIO::FTPCommand(CVXCString& command) noexcept {
    if (!command.IsEmpty()) {
        CVXCString sent = command;
        if (sent.IsEmpty() || WriteStr(sent) == 0) {
            CVXCString text;
            ReadLine(text, kReplyTimeOut);
            text += L" : error returned by FTPCommand [";
            text += command;
            text += L"]";
            VXCMSGW(kModuleName, text);
            command = L"";
            return 0;
        }
    }
    const int answered = ReadStr(command, kReplyTimeOut);
    command = L"";
    return answered != 0 && m_nReplyClass == 2 ? 1 : 0;
}

void CInnerSoftDataIO::Quit() noexcept {
    if (m_Ctrlsok != nullptr) {
        SendCommand(L"QUIT");
        while (ReadStr(m_retmsg, kReplyTimeOut) != 0 && !BeginsWith(m_retmsg, L"221")) {
        }
        DropSocket(m_Ctrlsok);
    }
    m_strInfo = L" dada transfer is finished !";
}

uint32 CInnerSoftDataIO::CreateDataChannel() noexcept {
    if (m_DataChannel == nullptr) {
        m_DataChannel = new (std::nothrow) CFTPSocket;
        if (m_DataChannel == nullptr) {
            return VXC_STATUS_FTP_SOCKET;
        }
    } else if (m_DataChannel->Close() == 1) {
        // The closing reply of the transfer before this one. Where it was read already this waits in vain.
        ReadStr(m_retmsg, kReplyTimeOut);
    }
    const auto command = [this](const wchar_t* text) {
        CVXCString line(text);
        return FTPCommand(line) != 0;
    };
    if (!command(L"TYPE I") && !command(L"TYPE I")) {
        command(L"REIN");
        if (!command(L"TYPE I")) {
            return VXC_STATUS_FTP_TYPE;
        }
    }
    return m_bPASV != 0 && AskPassive() != 0 ? VXC_STATUS_OK : AnnouncePort();
}

// 0 where the server wants no passive transfers: then there are none any more. A command that could not be
// sent counts as answered, and the transfer's own command will fail.
int CInnerSoftDataIO::AskPassive() noexcept {
    if (SendCommand(L"PASV") == 0) {
        return 1;
    }
    if (ReadStr(m_retmsg, kReplyTimeOut) == 0 || m_nReplyClass != 2) {
        m_bPASV = 0;
        return 0;
    }
    ParsePassiveReply(m_retmsg, m_strPasvHost, m_nPasvPort);
    return 1;
}

// Listens, and tells the server where.
uint32 CInnerSoftDataIO::AnnouncePort() noexcept {
    if (m_SockSvr == nullptr) {
        m_SockSvr = new (std::nothrow) CFTPSocket;
    } else {
        m_SockSvr->Close();
    }
    // The server is told the address by which it is reached now, whatever address the socket is bound to.
    CVXCString address;
    unsigned port = 0;
    if (m_Ctrlsok == nullptr || m_Ctrlsok->GetSockName(address, port) == 0) {
        VXCMSGW(kModuleName, L"m_Ctrlsok->GetSockName() failed\n");
        return VXC_STATUS_FTP_SOCKET;
    }
    Replace(address, L'.', L",");
    if (m_SockSvr == nullptr || m_SockSvr->Create() == 0 || m_SockSvr->Bind(0) == 0 ||
        m_SockSvr->Listen() == 0) {
        VXCMSGW(kModuleName, L"create listen socket failed\n");
        return VXC_STATUS_FTP_SOCKET;
    }
    CVXCString dropped;
    if (m_SockSvr->GetSockName(dropped, port) == 0) {
        VXCMSGW(kModuleName, L"m_SockSvr->GetSockName() failed\n");
        return VXC_STATUS_FTP_SOCKET;
    }
    CVXCString numbers;
    numbers.Format(L",%d,%d", port >> 8, port & 0xFFu);
    const CVXCString place = address + numbers;
    CVXCString command = CVXCString(L"PORT ") + place;
    return IsJoined(command, L"PORT ", place) && FTPCommand(command) != 0 ? VXC_STATUS_OK
                                                                          : VXC_STATUS_FTP_PORT;
}

int CInnerSoftDataIO::ConnectDataChannel() noexcept {
    if (m_DataChannel == nullptr || m_DataChannel->Create() == 0) {
        return 0;
    }
    m_DataChannel->Connect(m_strPasvHost, static_cast<unsigned>(m_nPasvPort));
    return 1;
}

int CInnerSoftDataIO::AcceptDataChannel() noexcept {
    return m_SockSvr == nullptr || m_DataChannel == nullptr ? 0
                                                            : m_SockSvr->Accept1(&m_DataChannel->m_hSocket);
}
