// CopyReader.h - the thread that reads one of two copies, and the hand-over of requests to it.
//
//   m_hFileDone     manual-reset, signalled while the copy is idle
//   m_hFileRequest  auto-reset, wakes the thread
//
// What becomes of a request is decided under m_lock:
//
//   Idle --Begin--> Open --the thread has read--> Done --Wait, or a Wait that ended just then--> Idle
//                     |
//                     +--Wait's limit has passed--> GivenUp --the thread comes back--> Idle
//
// The block goes to the thread with the request. It comes back from Done; in GivenUp it stays with the
// thread, which frees it.
#pragma once

#include "filehandle/SoftFileHandle.h"
#include "frame/AlignedBlock.h"
#include "frame/Types.h"

#include <mutex>

namespace vxcio {

// Sets the event, and tries again where the system refuses: a signal that gets lost would leave who waits for
// it standing for ever. So an event may be set twice; who waits looks at the state behind it.
bool SignalSurely(void* event) noexcept;

struct CopyReaderInspector; // a door for tests

struct CopyReaderSetup {
    int number;                // 0 File1, 1 File2
    CQLSoftFileHandle* file;   // open, in thread mode; outlives the reader
    const wchar_t* name;       // outlives the reader, as all pointers here
    uint32 flagsAndAttributes; // for opening File1 again
    void* quit;                // manual-reset event that ends the thread
    const void* owner;         // the object that log lines name
};

// One thread at a time drives it; that thread may use the file while the copy is idle. After an error the
// reader of File1 closes its file and opens it again, once a second until it succeeds, and counts as busy
// until then. The reader of File2 does not: what its handle tells next is what the next read gets.
class CopyReader {
public:
    CopyReader() noexcept = default;
    // The thread must have been stopped.
    ~CopyReader();
    CopyReader(const CopyReader&) = delete;
    CopyReader& operator=(const CopyReader&) = delete;

    // In this order; false when the system gave none.
    bool MakeDoneEvent() noexcept;
    bool MakeRequestEvent() noexcept;
    bool StartThread(const CopyReaderSetup& setup) noexcept;

    // Wakes the thread, whose quit event is set already, and waits for its end without a limit.
    void Stop() noexcept;

    // True when the copy is idle, or becomes so within `milliseconds`.
    bool WaitForIdle(uint32 milliseconds) const noexcept;

    // Asks for `bytes` bytes at `position` into the block, which is at least so large and is empty
    // afterwards. Only when idle. False, with the block as it was, when the events fail.
    bool Begin(uint64 position, uint32 bytes, AlignedBuffer& block) noexcept;

    // Waits for what Begin asked for. True when it came in time, with its count, which is 0 after an error.
    // False otherwise: the copy is busy until its thread comes back, unless it came at this very moment. The
    // block receives its memory wherever the thread has done with it, and stays empty where not.
    bool Wait(uint32 milliseconds, AlignedBuffer& block, uint32* count) noexcept;

private:
    friend struct CopyReaderInspector;

    enum class State { Idle, Open, Done, GivenUp };

    static uint32 Entry(void* reader) noexcept;
    void Run() noexcept;
    bool IsQuitSet() const noexcept;
    bool Serve() noexcept;
    void OpenAgain() noexcept;

    CopyReaderSetup m_setup = {};
    void* m_hFileDone = nullptr;
    void* m_hFileRequest = nullptr;
    void* m_hReaderThread = nullptr;

    mutable std::mutex m_lock;
    // Guarded by m_lock.
    State m_state = State::Idle;
    uint64 m_qwRequestPos = 0;
    uint32 m_dwRequestBytes = 0;
    uint32 m_dwFileBytes = 0;       // what came
    AlignedBuffer m_pRequestBuffer; // with the thread while it reads
};

} // namespace vxcio
