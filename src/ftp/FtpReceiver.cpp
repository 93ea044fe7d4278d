#include "ftp/FtpReceiver.h"

#include "filehandle/HandOver.h"
#include "frame/Log.h"
#include "ftp/FtpSocket.h"
#include "ftp/FtpThread.h"

#include <new>

namespace vxcio {

Ref<FtpReceiver> FtpReceiver::Start() noexcept {
    auto receiver = Ref<FtpReceiver>::Adopt(new (std::nothrow) FtpReceiver);
    if (!receiver || !receiver->m_hRecvGo.Create(RingEventKind::ManualReset) ||
        !receiver->m_hRecvQuit.Create(RingEventKind::ManualReset) ||
        !receiver->m_hRecvDone.Create(RingEventKind::ManualReset) || !receiver->StartThread()) {
        return {};
    }
    return receiver;
}

bool FtpReceiver::StartThread() noexcept {
    const auto entry = [](void* context) -> uint32 {
        const auto receiver = Ref<FtpReceiver>::Adopt(static_cast<FtpReceiver*>(context));
        return receiver->Run();
    };
    AddReference(); // the thread's own
    m_hRecvThread = StartFtpThread(entry, this);
    if (m_hRecvThread == nullptr) {
        Release();
        return false;
    }
    return true;
}

FtpReceiver::~FtpReceiver() {
    if (m_hRecvThread != nullptr) {
        VXC_CloseHandle(m_hRecvThread);
    }
}

bool FtpReceiver::Receive(CFTPSocket& socket, uint8* target, int bytes, uint32 milliseconds,
                          int* got) noexcept {
    m_pSocket = &socket;
    m_pRecvBuffer = target;
    m_nRecvSize = bytes;
    m_nRecvGot = 0;
    m_info = nullptr;
    {
        const std::lock_guard lock(m_lock);
        m_hasRequest = true;
    }
    m_hRecvDone.Reset();
    m_hRecvGo.Set();
    const bool isDone = WaitFor(m_hRecvDone.Handle(), milliseconds);
    {
        const std::lock_guard lock(m_lock);
        m_stopped = m_hasRequest;
        if (m_stopped) {
            return false;
        }
    }
    if (!isDone) {
        m_hRecvDone.Wait(); // the answer came with the limit, and the thread is about to tell
    }
    *got = m_nRecvGot;
    return true;
}

void FtpReceiver::End() noexcept {
    {
        const std::lock_guard lock(m_lock);
        m_stopped = true;
    }
    m_hRecvQuit.Set();
    m_hRecvGo.Set();
}

void FtpReceiver::Stop() noexcept {
    End();
    RingEvent::WaitFor(m_hRecvThread);
}

void FtpReceiver::GiveUp() noexcept {
    End();
    StayForStuckThreads();
}

// The thread, from its start to its end.
uint32 FtpReceiver::Run() noexcept {
    for (;;) {
        if (!m_hRecvGo.Wait() || WaitFor(m_hRecvQuit.Handle(), 0)) {
            return 0;
        }
        {
            // The request is what counts, not the event: there is none without it.
            const std::lock_guard lock(m_lock);
            if (m_stopped) {
                return 0;
            }
            if (!m_hasRequest) {
                m_hRecvGo.Reset();
                continue;
            }
        }
        if (!Publish(Fill())) {
            return 0;
        }
    }
}

// The bytes of one request; kStopped when it was given up meanwhile.
int FtpReceiver::Fill() noexcept {
    int count = 0;
    try {
        while (count < m_nRecvSize) {
            const int got = m_pSocket->Receive(m_pRecvBuffer + count,
                                               static_cast<unsigned>(m_nRecvSize - count), m_lock, m_stopped);
            if (got == CFTPSocket::kStopped) {
                return got;
            }
            if (got == -1) {
                m_info = L"Can't get data from ftp sever, Socket Error !!!";
                LogTrace(L"Can't get data from ftp sever, Socket Error %d!!!",
                         m_pSocket->m_nErr.load(std::memory_order_relaxed));
                return 0;
            }
            if (got == 0) {
                m_info = L"recv() return 0, Transfer data from ftp sever completed!\n";
                LogTrace(L"%s", L"recv() return 0, Transfer data from ftp sever cpmpleted !!!");
                break;
            }
            count += got;
        }
    } catch (...) {
        m_info = L"Ftp Read error!";
        LogTrace(L"%s", L"catch()--m_DataChannel->Receive() throw error!");
        return 0;
    }
    return count;
}

// False when the answer is wanted no more.
bool FtpReceiver::Publish(int count) noexcept {
    {
        const std::lock_guard lock(m_lock);
        if (m_stopped) {
            return false;
        }
        m_nRecvGot = count;
        m_hRecvGo.Reset(); // before anybody may set it for the next request
        m_hasRequest = false;
    }
    m_hRecvDone.Set();
    return true;
}

} // namespace vxcio
