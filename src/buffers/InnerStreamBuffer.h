// InnerStreamBuffer.h - what a byte ring for plug-ins has inside.
//
// One thread writes and one reads without a lock. The counters only grow; what lies between them belongs to
// the reader, the rest to the writer:
//
//   writer: copy bytes in, then advance m_nTotalWritten     reader: copy bytes out, then advance m_nTotalRead
//
// A side that has to wait says how many bytes (or how much room) it wants, resets its event, looks once more,
// and sleeps; the other side signals the event once there is as much. All four accesses of such a meeting are
// sequentially consistent, so at least one side sees the other:
//
//   reader: 1. m_nReaderWants = n        writer: 1. m_nTotalWritten += bytes
//           2. reset data event                  2. m_nReaderWants != 0, and there are as many:
//           3. as many there, or end?                signal data event
//              no: wait
//
// A put that is under way when another thread ends the input still counts, and the end comes behind it, by
// the same kind of meeting:
//
//   writer: 1. m_bPutting = true                          reader: 1. the input has ended
//           2. has the input ended? then refuse                   2. m_bPutting? then it has not ended yet
//           3. copy, advance, m_bPutting = false                  3. look at the ring
//
// What a side wants is at most a quarter of the ring, so that the two never wait for each other.
//
// Whoever closes takes the events away before it looks whether a side wants something, and leaves them to it
// then; a side says what it wants before it takes the events. So a side on its way to sleep has events that
// nobody frees, or sees that there are none and comes back.
//
// The lock event is no lock any more but the memory of one: a PutData that is ended from outside takes it and
// never gives it back, and whoever needs the ring after that sleeps for good.
#pragma once

#include "buffers/StreamState.h"
#include "frame/Counted.h"
#include "frame/RingEvent.h"
#include "frame/Types.h"

#include <atomic>

class CInnerSoftStreamBuffer final : public vxcio::Counted<CInnerSoftStreamBuffer> {
public:
    explicit CInnerSoftStreamBuffer(bool blocking) noexcept : m_bBlocking(blocking) {}

    // The operations of CSoftStreamBuffer.
    void Init(int size) noexcept;
    void Close() noexcept;
    int PutData(const uint8* data, int size, PLUG_STREAMSTATE_ state) noexcept;
    int GetData(uint8*& data, int size, PLUG_STREAMSTATE_* state) noexcept;
    int ShowData(uint8*& data, int size, PLUG_STREAMSTATE_* state) noexcept;
    void SetEndOfInput() noexcept;
    void ReSetEndOfInput() noexcept;

private:
    // Of an operation: a reference from its first wait on, so that it comes to its end although the object
    // was destroyed meanwhile.
    using Self = vxcio::Ref<CInnerSoftStreamBuffer>;

    struct Events {
        vxcio::RingEvent lock;
        vxcio::RingEvent data;
        vxcio::RingEvent space;
        Events* before = nullptr; // of a list of left ones
        bool Create() noexcept;
    };

    friend class vxcio::Counted<CInnerSoftStreamBuffer>;
    // Leaves the memory: what was given out may still be read, and a side that sleeps keeps its event.
    ~CInnerSoftStreamBuffer() = default;

    bool Allocate(int size) noexcept;
    bool IsEnded() const noexcept { return m_eState.load() == PLUG_STREAMSTATE_END; }
    int Held() const noexcept;
    int RingSize() const noexcept { return m_nRingSize.load(std::memory_order_relaxed); }
    int Free() const noexcept { return RingSize() - Held(); }
    int WithinQuarter(int bytes) const noexcept;
    bool HasLock(Self& self) noexcept;
    void CloseEvents() noexcept;
    bool IsSomebodyAsleep() const noexcept;
    void SignalData() noexcept;
    void SignalSpace() noexcept;

    bool EnterPut(Self& self) noexcept;
    void LeavePut(PLUG_STREAMSTATE_ state) noexcept;
    int CopyIn(const uint8* data, int size) noexcept;
    bool WaitForSpace(int remaining, Self& self) noexcept;
    void WakeReader(bool inAnyCase) noexcept;

    int CopyOut(uint8* target, int size) noexcept;
    bool IsEndInSight() const noexcept;
    bool WaitForData(int missing, Self& self) noexcept;
    void WakeWriter(bool inAnyCase) noexcept;
    int ReadRing(uint8* target, int size, PLUG_STREAMSTATE_* state, Self& self) noexcept;
    bool GrowScratch(int size) noexcept;
    bool MakePeekRoom(int size) noexcept;
    int WithoutRing(PLUG_STREAMSTATE_* state) const noexcept;

    const bool m_bBlocking;
    // These change in Init and Close alone. Two of them are atomic for a side that is about to sleep then.
    uint8* m_pRing = nullptr;
    std::atomic<int> m_nRingSize{0};
    std::atomic<Events*> m_pEvents{nullptr}; // in blocking mode
    Events* m_pLeftEvents = nullptr;         // of those who sleep for good
    std::atomic<int> m_eState{PLUG_STREAMSTATE_OPEN};
    std::atomic<bool> m_bLockKept{false};
    std::atomic<int> m_nLockWants{0}; // sides that sleep, or will, because the lock is kept

    // Each side writes its own cache line. A side that does not wait wants 0.
    static constexpr int kCacheLine = 64;
    alignas(kCacheLine) std::atomic<uint64> m_nTotalWritten{0};
    std::atomic<int> m_nWriterWants{0};
    std::atomic<bool> m_bPutting{false};
    alignas(kCacheLine) std::atomic<uint64> m_nTotalRead{0};
    std::atomic<int> m_nReaderWants{0};

    // The reader's own. What peek holds has left the ring and is not taken yet.
    uint8* m_pScratch = nullptr;
    int m_nScratchSize = 0;
    uint8* m_pPeek = nullptr;
    uint8* m_pPeekRead = nullptr;
    int m_nPeekCapacity = 0;
    int m_nPeekHeld = 0;
};
