#include "buffers/InnerStreamBuffer.h"

#include "frame/Status.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr int kLeastRing = 1048576;
constexpr int kFirstScratch = 4194304;
constexpr int kRefused = static_cast<int>(VXC_STATUS_PUT_AFTER_END);
constexpr int kNotNow = -1;

void Report(PLUG_STREAMSTATE_* state, PLUG_STREAMSTATE_ value) noexcept {
    if (state != nullptr) {
        *state = value;
    }
}

} // namespace

// ---- What Init makes ----------------------------------------------------------------------------------

bool CInnerSoftStreamBuffer::Events::Create() noexcept {
    return lock.Create(vxcio::RingEventKind::AutoReset) && data.Create(vxcio::RingEventKind::ManualReset) &&
           space.Create(vxcio::RingEventKind::ManualReset);
}

void CInnerSoftStreamBuffer::Init(int size) noexcept {
    Close();
    m_nTotalWritten.store(0);
    m_nTotalRead.store(0);
    m_nWriterWants.store(0);
    m_nReaderWants.store(0);
    m_nLockWants.store(0);
    m_eState.store(PLUG_STREAMSTATE_OPEN);
    m_bLockKept.store(false);
    m_bPutting.store(false);
    if (!Allocate(std::max(size, kLeastRing))) {
        Close();
    }
}

bool CInnerSoftStreamBuffer::Allocate(int size) noexcept {
    m_pRing = new (std::nothrow) uint8[static_cast<std::size_t>(size)];
    m_nRingSize.store(size);
    if (m_pRing == nullptr || !GrowScratch(kFirstScratch)) {
        return false;
    }
    if (m_bBlocking) {
        auto* const events = new (std::nothrow) Events;
        m_pEvents.store(events);
        return events != nullptr && events->Create();
    }
    return true;
}

void CInnerSoftStreamBuffer::Close() noexcept {
    delete[] m_pRing;
    m_pRing = nullptr;
    m_nRingSize.store(0);
    delete[] m_pScratch;
    m_pScratch = nullptr;
    m_nScratchSize = 0;
    delete[] m_pPeek;
    m_pPeek = nullptr;
    m_pPeekRead = nullptr;
    m_nPeekCapacity = 0;
    m_nPeekHeld = 0;
    CloseEvents();
}

// A side that sleeps, or is on its way to, keeps the events: nothing signals them any more.
void CInnerSoftStreamBuffer::CloseEvents() noexcept {
    Events* const events = m_pEvents.exchange(nullptr);
    if (events != nullptr && IsSomebodyAsleep()) {
        events->before = m_pLeftEvents;
        m_pLeftEvents = events;
    } else {
        delete events;
    }
}

bool CInnerSoftStreamBuffer::IsSomebodyAsleep() const noexcept {
    return m_nReaderWants.load() != 0 || m_nWriterWants.load() != 0 || m_nLockWants.load() != 0;
}

// ---- Both sides ---------------------------------------------------------------------------------------

int CInnerSoftStreamBuffer::Held() const noexcept {
    return static_cast<int>(static_cast<uint32>(m_nTotalWritten.load()) -
                            static_cast<uint32>(m_nTotalRead.load()));
}

int CInnerSoftStreamBuffer::WithinQuarter(int bytes) const noexcept {
    return std::max(std::min(bytes, RingSize() / 4), 1);
}

// Does not come back while a PutData keeps the lock. False only where the wait itself failed.
bool CInnerSoftStreamBuffer::HasLock(Self& self) noexcept {
    if (!m_bLockKept.load()) {
        return true;
    }
    self = Self::Share(*this);
    ++m_nLockWants;
    const Events* const events = m_pEvents.load();
    const bool waited = events != nullptr && events->lock.Wait();
    --m_nLockWants;
    return waited;
}

void CInnerSoftStreamBuffer::SignalData() noexcept {
    if (const Events* const events = m_pEvents.load(); events != nullptr) {
        events->data.Set();
    }
}

void CInnerSoftStreamBuffer::SignalSpace() noexcept {
    if (const Events* const events = m_pEvents.load(); events != nullptr) {
        events->space.Set();
    }
}

void CInnerSoftStreamBuffer::SetEndOfInput() noexcept {
    m_eState.store(PLUG_STREAMSTATE_END);
    SignalData();
    SignalSpace();
}

void CInnerSoftStreamBuffer::ReSetEndOfInput() noexcept {
    m_eState.store(PLUG_STREAMSTATE_OPEN);
}

// ---- The producer -------------------------------------------------------------------------------------

int CInnerSoftStreamBuffer::PutData(const uint8* data, int size, PLUG_STREAMSTATE_ state) noexcept {
    Self self;
    if (IsEnded()) {
        return kRefused;
    }
    if (m_pRing == nullptr) {
        return m_bBlocking ? kRefused : 0;
    }
    int remaining = data == nullptr ? 0 : std::max(size, 0);
    for (;;) {
        if (m_bBlocking && !EnterPut(self)) {
            return kRefused;
        }
        const bool hasRoom = Free() > 0;
        const int copied = hasRoom ? CopyIn(data, remaining) : 0;
        remaining -= copied;
        if (m_bBlocking) {
            LeavePut(state);
        }
        if (hasRoom && remaining == 0) {
            // An end that was set meanwhile stays.
            int before = m_eState.load();
            while (before != PLUG_STREAMSTATE_END && !m_eState.compare_exchange_weak(before, state)) {
            }
            return 0;
        }
        if (!m_bBlocking) {
            return 0;
        }
        data += copied;
        if (!WaitForSpace(remaining, self)) {
            return kRefused;
        }
    }
}

// From here to LeavePut an end of the input does not count for the reader. False when the input has ended;
// the lock is kept then.
bool CInnerSoftStreamBuffer::EnterPut(Self& self) noexcept {
    if (!HasLock(self)) {
        return false;
    }
    m_bPutting.store(true);
    if (!IsEnded()) {
        return true;
    }
    m_bLockKept.store(true);
    m_bPutting.store(false);
    return false;
}

void CInnerSoftStreamBuffer::LeavePut(PLUG_STREAMSTATE_ state) noexcept {
    m_bPutting.store(false);
    // An end that comes along is not signalled itself, and one that came meanwhile may have found the reader
    // waiting for this put, so the reader is called in any case then.
    WakeReader(state == PLUG_STREAMSTATE_END || IsEnded());
}

int CInnerSoftStreamBuffer::CopyIn(const uint8* data, int size) noexcept {
    const uint64 written = m_nTotalWritten.load(std::memory_order_relaxed);
    const int bytes = std::min(size, Free());
    if (bytes > 0) {
        const int offset = static_cast<int>(written % static_cast<uint32>(RingSize()));
        const int first = std::min(bytes, RingSize() - offset);
        std::memcpy(m_pRing + offset, data, static_cast<std::size_t>(first));
        if (first < bytes) {
            std::memcpy(m_pRing, data + first, static_cast<std::size_t>(bytes - first));
        }
        m_nTotalWritten.store(written + static_cast<uint32>(bytes));
    }
    return bytes;
}

// Sleeps until there is as much room as remains to be put, within reason, or the input has ended.
bool CInnerSoftStreamBuffer::WaitForSpace(int remaining, Self& self) noexcept {
    self = Self::Share(*this);
    const int wants = WithinQuarter(remaining);
    m_nWriterWants.store(wants);
    bool waited = false;
    if (const Events* const events = m_pEvents.load(); events != nullptr) {
        events->space.Reset();
        waited = IsEnded() || Free() >= wants || events->space.Wait();
    }
    m_nWriterWants.store(0);
    return waited;
}

void CInnerSoftStreamBuffer::WakeReader(bool inAnyCase) noexcept {
    const int wants = m_nReaderWants.load();
    if (wants != 0 && (inAnyCase || Held() >= wants)) {
        SignalData();
    }
}

// ---- The consumer -------------------------------------------------------------------------------------

int CInnerSoftStreamBuffer::CopyOut(uint8* target, int size) noexcept {
    const uint64 read = m_nTotalRead.load(std::memory_order_relaxed);
    const int bytes = std::min(size, Held());
    if (bytes > 0) {
        const int offset = static_cast<int>(read % static_cast<uint32>(RingSize()));
        const int first = std::min(bytes, RingSize() - offset);
        std::memcpy(target, m_pRing + offset, static_cast<std::size_t>(first));
        if (first < bytes) {
            std::memcpy(target + first, m_pRing, static_cast<std::size_t>(bytes - first));
        }
        m_nTotalRead.store(read + static_cast<uint32>(bytes));
    }
    return bytes;
}

// The input has ended and no put is under way that may still bring bytes, which would come after the last.
bool CInnerSoftStreamBuffer::IsEndInSight() const noexcept {
    return IsEnded() && !m_bPutting.load();
}

// Sleeps until as many bytes are there as are missing, within reason, or the input has ended.
bool CInnerSoftStreamBuffer::WaitForData(int missing, Self& self) noexcept {
    self = Self::Share(*this);
    const int wants = WithinQuarter(missing);
    m_nReaderWants.store(wants);
    bool waited = false;
    if (const Events* const events = m_pEvents.load(); events != nullptr) {
        events->data.Reset();
        waited = IsEndInSight() || Held() >= wants || events->data.Wait();
    }
    m_nReaderWants.store(0);
    return waited;
}

void CInnerSoftStreamBuffer::WakeWriter(bool inAnyCase) noexcept {
    const int wants = m_nWriterWants.load();
    if (wants != 0 && (inAnyCase || Free() >= wants)) {
        SignalSpace();
    }
}

// Takes `size` bytes out of the ring, fewer at the end of the input; without threads all or, as -1, none.
int CInnerSoftStreamBuffer::ReadRing(uint8* target, int size, PLUG_STREAMSTATE_* state, Self& self) noexcept {
    Report(state, PLUG_STREAMSTATE_DATA);
    int taken = 0;
    for (;;) {
        if (m_bBlocking && !HasLock(self)) {
            return taken > 0 ? taken : kNotNow;
        }
        // Asked before the ring is looked at: all that came before the end is there then.
        const bool isEnded = IsEndInSight();
        if (!m_bBlocking && !isEnded && size > Held()) {
            return kNotNow;
        }
        const int copied = CopyOut(target + taken, size - taken);
        taken += copied;
        WakeWriter(false);
        if (taken == size || isEnded) {
            if (isEnded && Held() == 0) {
                Report(state, PLUG_STREAMSTATE_END);
            }
            return taken;
        }
        if (copied == 0 && !WaitForData(size - taken, self)) {
            return taken > 0 ? taken : kNotNow;
        }
    }
}

// The old one is not freed before the new one is there.
bool CInnerSoftStreamBuffer::GrowScratch(int size) noexcept {
    if (m_nScratchSize >= size) {
        return true;
    }
    auto* const scratch = new (std::nothrow) uint8[static_cast<std::size_t>(size)];
    if (scratch == nullptr) {
        return false;
    }
    delete[] m_pScratch;
    m_pScratch = scratch;
    m_nScratchSize = size;
    return true;
}

// Moves what peek holds to the start of a buffer that is long enough.
bool CInnerSoftStreamBuffer::MakePeekRoom(int size) noexcept {
    const auto held = static_cast<std::size_t>(m_nPeekHeld);
    if (size <= m_nPeekCapacity) {
        if (held > 0) {
            std::memmove(m_pPeek, m_pPeekRead, held);
        }
    } else {
        auto* const peek = new (std::nothrow) uint8[static_cast<std::size_t>(size)];
        if (peek == nullptr) {
            return false;
        }
        if (held > 0) {
            std::memcpy(peek, m_pPeekRead, held);
        }
        delete[] m_pPeek;
        m_pPeek = peek;
        m_nPeekCapacity = size;
    }
    m_pPeekRead = m_pPeek;
    return true;
}

int CInnerSoftStreamBuffer::GetData(uint8*& data, int size, PLUG_STREAMSTATE_* state) noexcept {
    Self self;
    Report(state, PLUG_STREAMSTATE_DATA);
    if (m_pRing == nullptr) {
        return WithoutRing(state);
    }
    if (size < 0) {
        return kNotNow;
    }
    if (m_nPeekHeld == 0) {
        if (!GrowScratch(size)) {
            return kNotNow;
        }
        data = m_pScratch;
        return ReadRing(m_pScratch, size, state, self);
    }
    if (m_nPeekHeld >= size) {
        data = m_pPeekRead;
        m_pPeekRead += size;
        m_nPeekHeld -= size;
        return size;
    }
    const bool isEnded = IsEnded(); // before the ring is looked at, as in ReadRing
    const bool isOver = IsEndInSight();
    const int held = Held();
    const int shown = m_nPeekHeld;
    if (held == 0 && isOver) {
        data = m_pPeekRead;
        m_nPeekHeld = 0;
        Report(state, PLUG_STREAMSTATE_END);
        return shown;
    }
    // All of the size is held against the ring, not just what peek lacks. Only a put under way at the end of
    // the input is waited for here.
    if ((size > held && !isEnded) || !GrowScratch(size)) {
        // So that asking again and again gets there: a producer that sleeps may have more in hand.
        WakeWriter(true);
        return kNotNow;
    }
    std::memcpy(m_pScratch, m_pPeekRead, static_cast<std::size_t>(shown));
    m_nPeekHeld = 0;
    const int read = ReadRing(m_pScratch + shown, size - shown, state, self);
    data = m_pScratch;
    return shown + std::max(read, 0);
}

int CInnerSoftStreamBuffer::ShowData(uint8*& data, int size, PLUG_STREAMSTATE_* state) noexcept {
    Self self;
    if (m_pRing == nullptr) {
        return WithoutRing(state);
    }
    if (size < 0) {
        return kNotNow;
    }
    if (m_nPeekHeld >= size) {
        data = m_pPeekRead;
        return size;
    }
    if (!MakePeekRoom(size)) {
        return kNotNow;
    }
    const int read = ReadRing(m_pPeek + m_nPeekHeld, size - m_nPeekHeld, state, self);
    m_nPeekHeld += std::max(read, 0);
    data = m_pPeek;
    return m_nPeekHeld;
}

int CInnerSoftStreamBuffer::WithoutRing(PLUG_STREAMSTATE_* state) const noexcept {
    Report(state, IsEnded() ? PLUG_STREAMSTATE_END : PLUG_STREAMSTATE_DATA);
    return IsEnded() ? 0 : kNotNow;
}
