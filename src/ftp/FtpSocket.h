// FtpSocket.h - one TCP socket of an FTP session: control channel, listening socket or data channel (RFC
// 959).
//
// Operations give 1 or 0, or the count of the call where they move bytes; the reason of a failure stands in
// m_nErr and in the log. Only ReadString bounds its time. Every operation on a socket that has failed once
// leaves a trace line in the log.
//
// Made and freed by the session. One thread drives an object, except that a data channel is read by the
// source's receive thread while the caller looks at m_nErr.
#pragma once

#include "frame/Types.h"
#include "frame/VXCString.h"
#include "platform/Sockets.h"

#include <atomic>
#include <mutex>
#include <string>

class CFTPSocket {
public:
    // Starts the socket interface at version 2.0; the destructor closes and stops it.
    CFTPSocket() noexcept;
    virtual ~CFTPSocket();
    CFTPSocket(const CFTPSocket&) = delete;
    CFTPSocket& operator=(const CFTPSocket&) = delete;

    // Opens the socket. One that is there already is forgotten, not closed.
    int Create() noexcept;
    // Tries the first address of the host, and each other first address that later look-ups give.
    int Connect(const wchar_t* host, unsigned port) noexcept;
    // To the host's own first address; port 0 lets the system choose.
    int Bind(unsigned port) noexcept;
    int Listen() noexcept;
    int Accept(CFTPSocket& client) noexcept;
    // Gives 1 even where the accept failed and *client is kNoSocket, as long as this socket was opened: the
    // failure shows at the first use of the client.
    int Accept1(vxcio::SocketToken* client) noexcept;
    // Gives 0 only for a socket of 0. m_hSocket keeps its value: to close again does no harm and gives 1.
    int Close() noexcept;

    // One send of the text in UTF-8. A short send is a success.
    int WriteString(const wchar_t* text) noexcept;
    // One line without its CR LF. Polls; gives up after about timeoutMs milliseconds of sleep over all parts
    // of the line, which are kept for the next call. `line` is left alone then.
    int ReadString(CVXCString& line, unsigned timeoutMs) noexcept;
    // One transfer, with the result of the call; -1 is a failure, receiving 0 the peer's end. `flags` is not
    // used. They may throw what a replaced socket layer throws.
    int Receive(void* buffer, unsigned size, unsigned flags);
    int Send(const void* data, unsigned size, unsigned flags);
    // The socket's own address, dotted, and port.
    int GetSockName(CVXCString& address, unsigned& port) noexcept;

    // Receive for a thread that may be given up while it waits: it waits without the lock and receives under
    // it, and not at all once `stopped` is set, which gives kStopped. So who sets it under the lock knows
    // that the buffer is not touched any more.
    int Receive(void* buffer, unsigned size, std::mutex& lock, const bool& stopped);
    static constexpr int kStopped = -2;

    vxcio::SocketToken m_hSocket = vxcio::kNoSocket;
    // The last error; never cleared. With 88 the socket is left alone by Close.
    std::atomic<int32> m_nErr{0};

private:
    void CheckErr(const wchar_t* function, unsigned line) const noexcept;
    int Fail(const wchar_t* function, unsigned line) noexcept;
    bool HasLine() noexcept;
    bool TakeIn(unsigned& count) noexcept;
    bool GiveOut(CVXCString& line) noexcept;
    void DropPending() noexcept;
    void NoteFailure(const wchar_t* format) noexcept;

    // What came in. Up to m_nTaken it was given out, from there to m_nSearched no line ends.
    std::wstring m_strPending;
    std::size_t m_nTaken = 0;
    std::size_t m_nSearched = 0;
    int m_bStarted = 0;       // at version 2.0
    bool m_bMustStop = false; // at any version
};
