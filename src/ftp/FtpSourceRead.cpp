// How CFtpSource moves in the stream and takes from it.
#include "ftp/FtpSource.h"

#include "frame/InnerSoftDataIO.h"
#include "frame/Log.h"
#include "frame/MD5Check.h"
#include "frame/Status.h"
#include "frame/TransferDefaults.h"
#include "ftp/FtpSocket.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>

using namespace vxcio;

namespace {

constexpr int kLeaveAlone = 88; // an error by which a socket is not to be touched
constexpr int kFarthestReadOn = 4194304;
constexpr uint32 kLargestRead = 0x7FFFFFFF;

// The sockets that were given up, with what the peer may still send into them. Never freed: a thread may
// stand in one for as long as the process lives.
struct LostSocket {
    CFTPSocket* socket;
    LostSocket* next;
};

void KeepForGood(CFTPSocket* socket) noexcept {
    static std::mutex lock;
    static LostSocket* first = nullptr; // guarded by lock
    auto* const lost = new (std::nothrow) LostSocket{socket, nullptr};
    if (lost != nullptr) {
        const std::lock_guard guard(lock);
        lost->next = first;
        first = lost;
    }
}

// May overlap.
void Move(uint8* target, const uint8* source, int bytes) noexcept {
    if (bytes > 0 && target != source) {
        std::memmove(target, source, static_cast<std::size_t>(bytes));
    }
}

} // namespace

// ---- The stream ---------------------------------------------------------------------------------------

// Ends the transfer for good: from now on there is no data channel and nobody to receive from it.
void CFtpSource::LoseTransfer(bool isStuck, const wchar_t* errorText) noexcept {
    const int32 error = m_pInner->m_DataChannel->m_nErr.load(std::memory_order_relaxed);
    if (isStuck) {
        m_pReceiver->GiveUp();
        m_pReceiver.Reset();
    } else {
        DropReceiver();
    }
    if (error != 0) {
        LogTrace(errorText, error);
    }
    KeepForGood(m_pInner->m_DataChannel);
    m_pInner->m_DataChannel = nullptr;
    if (isStuck) {
        LogTrace(L"Can't get data from ftp sever(wait %d ms), Time Out!!!", m_nTimeOut);
    }
}

bool CFtpSource::Fetch(uint8* target, int bytes, const wchar_t* errorText, int* got) noexcept {
    CFTPSocket& channel = *m_pInner->m_DataChannel;
    const bool isInTime = m_pReceiver->Receive(channel, target, bytes, m_nTimeOut, got);
    // The text is the receive thread's, and is set where the caller may look at it.
    if (isInTime && m_pReceiver->Info() != nullptr) {
        m_pInner->m_strInfo = m_pReceiver->Info();
    }
    // Also an error of an earlier transfer on this channel ends this one.
    if (!isInTime || channel.m_nErr.load(std::memory_order_relaxed) != 0) {
        LoseTransfer(!isInTime, errorText);
        return false;
    }
    return true;
}

int CFtpSource::ReadDataFromFtpSocket(uint8* buffer, int size) noexcept {
    if (buffer == nullptr || size <= 0 || m_pInner->m_DataChannel == nullptr || !m_pReceiver) {
        return 0;
    }
    if (m_pInner->m_DataChannel->m_nErr.load(std::memory_order_relaxed) == kLeaveAlone) {
        LoseTransfer(false, L"ReadDataFromFtpSocket will not read socket, Socket Error %d !!!");
        return 0;
    }
    const auto check = m_pInner->RunningMD5State();
    if (check && m_qwStreamPos > check->Position() && !CatchUpMD5(*check)) {
        return 0;
    }
    int got = 0;
    if (!Fetch(buffer, size, L"Can't get data from ftp sever , Socket Error %d !!!", &got)) {
        return 0;
    }
    if (check) {
        check->RideAlong(buffer, m_qwStreamPos, static_cast<uint64>(got));
    }
    m_qwStreamPos += static_cast<uint64>(got);
    return got;
}

// ---- Reading ------------------------------------------------------------------------------------------

int CFtpSource::Read(uint8* buffer, uint32 bytes) {
    return buffer == nullptr || bytes > kLargestRead
               ? 0
               : ReadInto(buffer, static_cast<int>(bytes), static_cast<int>(bytes));
}

int CFtpSource::ReadInto(uint8* buffer, int bytes, int room) noexcept {
    int served = 0;
    if (m_nBackPending > 0 && m_nBackPending >= bytes) {
        const int behind = m_nBackPending - bytes;
        Move(buffer, m_pBack.get(), bytes);
        // What follows goes over the start of the same buffer, as far as that has room. The back buffer stays
        // as it is, so that the next request begins with the same bytes again.
        Move(buffer, m_pBack.get() + bytes, std::min(behind, room));
        m_nBackPending = behind;
        return bytes;
    }
    if (m_nBackPending > 0) {
        served = m_nBackPending;
        Move(buffer, m_pBack.get(), served);
        m_nBackPending = 0;
    }
    uint8* const target = buffer + served;
    const int rest = bytes - served;
    int got = 0;
    if (m_pPreRead) {
        const int valid = std::min(rest, m_nBackSize);
        if (buffer == m_pBack.get() || valid < m_nBackValid) {
            CopyBack(); // not all of it is replaced by what comes
        }
        m_pBackNoted = nullptr;
        uint8* data = nullptr;
        got = TakeAhead(m_qwPos, &data, rest);
        Move(target, data, got);
        if (got == rest && buffer != m_pBack.get()) {
            // Most is never sought back to, and is copied only when its block is left.
            m_pBackNoted = data + (rest - valid);
            m_nBackValid = valid;
            return served + got;
        }
    } else {
        got = ReadDataFromFtpSocket(target, rest);
        m_qwPos += static_cast<uint64>(got);
    }
    // The whole request counts for the way back, whatever came of it.
    m_nBackValid = std::min(rest, m_nBackSize);
    Move(m_pBack.get(), target + (rest - m_nBackValid), m_nBackValid);
    return served + got;
}

// What a read has only noted for the way back: to the back buffer.
void CFtpSource::CopyBack() noexcept {
    if (m_pBackNoted != nullptr) {
        Move(m_pBack.get(), m_pBackNoted, m_nBackValid);
        m_pBackNoted = nullptr;
    }
}

int CFtpSource::ReadAt(uint64 position, uint8** data, int bytes) {
    if (!m_pPreRead || data == nullptr || bytes < 0) {
        return 0;
    }
    CopyBack();
    return TakeAhead(position, data, bytes);
}

int CFtpSource::TakeAhead(uint64 position, uint8** data, int bytes) noexcept {
    const int count = m_pPreRead->ReadAt(position, data, bytes);
    m_qwPos += static_cast<uint64>(count);
    return count;
}

int CFtpSource::ReadPtr(uint8** data, int bytes) {
    return CFtpSource::ReadAt(m_qwPos, data, bytes);
}

// ---- Seeking ------------------------------------------------------------------------------------------

int64 CFtpSource::Seek(int64 offset, uint32 origin) {
    uint64 target = static_cast<uint64>(offset);
    if (origin == kFromEnd) {
        target += CFtpSource::GetFileSize();
    } else if (origin == kFromCurrent) {
        target += m_qwPos;
    }
    bool isRefused = false;
    return SeekTo(target, &isRefused);
}

int64 CFtpSource::SeekTo(uint64 target, bool* isRefused) noexcept {
    *isRefused = false;
    if (target == m_qwPos) {
        return static_cast<int64>(m_qwPos);
    }
    // In 32 bits: a distance of 4 GiB and a little is a little.
    const int64 delta = static_cast<int32>(static_cast<uint32>(target - m_qwPos));
    if (delta > 0 && delta <= kFarthestReadOn) {
        return ReadOn(static_cast<int>(delta));
    }
    if (delta < 0 && -delta <= m_nBackValid) {
        CopyBack();
        // The position stays, also while these bytes are read again.
        m_nBackPending = static_cast<int>(-delta);
        Move(m_pBack.get(), m_pBack.get() + (m_nBackValid - m_nBackPending), m_nBackPending);
        return static_cast<int64>(target);
    }
    *isRefused = !SeekFar(target);
    return static_cast<int64>(m_qwPos);
}

// Reads and throws away.
int64 CFtpSource::ReadOn(int bytes) noexcept {
    while (bytes > 0) {
        const int got = ReadInto(m_pBack.get(), std::min(bytes, m_nBackSize), m_nBackSize);
        if (got <= 0) {
            break;
        }
        bytes -= got;
    }
    return static_cast<int64>(m_qwPos);
}

bool CFtpSource::SeekFar(uint64 target) noexcept {
    RestPreRead();
    m_qwPos = 0;
    m_qwStreamPos = 0;
    if (SetStartPos(target) != VXC_STATUS_OK) {
        return false;
    }
    m_qwPos = target;
    m_qwStreamPos = target;
    return true;
}
