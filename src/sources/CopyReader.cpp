#include "sources/CopyReader.h"

#include "frame/Log.h"
#include "frame/Status.h"

#include <algorithm>
#include <utility>

namespace vxcio {

namespace {

constexpr uint32 kOpenAgainPause = 1000; // milliseconds
constexpr int kSignalAttempts = 100;

void CloseAndClear(void*& handle) noexcept {
    if (handle != nullptr) {
        VXC_CloseHandle(handle);
        handle = nullptr;
    }
}

} // namespace

bool SignalSurely(void* event) noexcept {
    for (int i = 0; i < kSignalAttempts; ++i) {
        if (VXC_SetEvent(event) != 0) {
            return true;
        }
    }
    return false;
}

CopyReader::~CopyReader() {
    CloseAndClear(m_hReaderThread);
    CloseAndClear(m_hFileDone);
    CloseAndClear(m_hFileRequest);
}

bool CopyReader::MakeDoneEvent() noexcept {
    m_hFileDone = VXC_CreateEventW(nullptr, 1, 1, nullptr);
    return m_hFileDone != nullptr;
}

bool CopyReader::MakeRequestEvent() noexcept {
    m_hFileRequest = VXC_CreateEventW(nullptr, 0, 0, nullptr);
    return m_hFileRequest != nullptr;
}

bool CopyReader::StartThread(const CopyReaderSetup& setup) noexcept {
    m_setup = setup;
    m_hReaderThread = VXC_CreateThread(nullptr, 0, &CopyReader::Entry, this, 0, nullptr);
    return m_hReaderThread != nullptr;
}

void CopyReader::Stop() noexcept {
    if (m_hReaderThread == nullptr) {
        return;
    }
    SignalSurely(m_hFileRequest);
    while (VXC_WaitForSingleObject(m_hReaderThread, VXC_INFINITE) != VXC_WAIT_OBJECT_0) {
        // The thread uses this object until its end, whatever became of the wait.
    }
}

bool CopyReader::WaitForIdle(uint32 milliseconds) const noexcept {
    if (VXC_WaitForSingleObject(m_hFileDone, milliseconds) != VXC_WAIT_OBJECT_0) {
        return false;
    }
    const std::lock_guard lock(m_lock);
    return m_state == State::Idle;
}

bool CopyReader::Begin(uint64 position, uint32 bytes, AlignedBuffer& block) noexcept {
    if (VXC_ResetEvent(m_hFileDone) == 0) {
        return false;
    }
    {
        const std::lock_guard lock(m_lock);
        m_qwRequestPos = position;
        m_dwRequestBytes = bytes;
        m_dwFileBytes = 0;
        m_pRequestBuffer = std::move(block);
        m_state = State::Open;
    }
    if (SignalSurely(m_hFileRequest)) {
        return true;
    }
    {
        const std::lock_guard lock(m_lock);
        block = std::move(m_pRequestBuffer);
        m_state = State::Idle;
    }
    SignalSurely(m_hFileDone);
    return false;
}

bool CopyReader::Wait(uint32 milliseconds, AlignedBuffer& block, uint32* count) noexcept {
    *count = 0;
    bool inTime = VXC_WaitForSingleObject(m_hFileDone, milliseconds) == VXC_WAIT_OBJECT_0;
    std::unique_lock<std::mutex> lock(m_lock);
    while (inTime && m_state == State::Open) {
        // The signal of a former request that was given twice. The one of this request comes after the lock.
        VXC_ResetEvent(m_hFileDone);
        lock.unlock();
        inTime = VXC_WaitForSingleObject(m_hFileDone, milliseconds) == VXC_WAIT_OBJECT_0;
        lock.lock();
    }
    if (m_state == State::Open) {
        // The event stays as Begin left it, so the copy is busy until its thread comes back.
        m_state = State::GivenUp;
        return false;
    }
    // Also where the thread came back between the limit and here: then its event is set, or will be at once,
    // and clearing it would leave the copy busy for ever.
    block = std::move(m_pRequestBuffer);
    m_state = State::Idle;
    if (inTime) {
        *count = m_dwFileBytes;
    }
    return inTime;
}

uint32 CopyReader::Entry(void* reader) noexcept {
    static_cast<CopyReader*>(reader)->Run();
    return 0;
}

bool CopyReader::IsQuitSet() const noexcept {
    return VXC_WaitForSingleObject(m_setup.quit, 0) == VXC_WAIT_OBJECT_0;
}

void CopyReader::Run() noexcept {
    for (;;) {
        if (VXC_WaitForSingleObject(m_hFileRequest, VXC_INFINITE) != VXC_WAIT_OBJECT_0) {
            continue;
        }
        if (IsQuitSet()) {
            break;
        }
        if (Serve()) {
            SignalSurely(m_hFileDone);
        }
    }
    LogTrace(L"this->%x:ReadFile%dByThread() Quit", Low32(m_setup.owner), m_setup.number);
}

// False when there was no request: the signal of one may have been given twice.
bool CopyReader::Serve() noexcept {
    AlignedBuffer block;
    uint64 position = 0;
    uint32 bytes = 0;
    {
        const std::lock_guard lock(m_lock);
        if (m_state != State::Open && m_state != State::GivenUp) {
            return false;
        }
        position = m_qwRequestPos;
        bytes = m_dwRequestBytes;
        block = std::move(m_pRequestBuffer);
    }
    uint32 got = 0;
    const bool read = m_setup.file->SetFilePointer(position, VXC_FILE_BEGIN) >= 0 &&
                      m_setup.file->ReadBlock(block, bytes, &got) == VXC_STATUS_OK;
    if (!read) {
        got = 0;
        // Only File1 is opened again; File2 is the reserve and tries anew with its next request.
        if (m_setup.number == 0) {
            OpenAgain();
        }
    }
    const std::lock_guard lock(m_lock);
    if (m_state == State::GivenUp) {
        m_state = State::Idle; // the block goes with this call
        return true;
    }
    m_dwFileBytes = std::min(got, bytes);
    m_pRequestBuffer = std::move(block);
    m_state = State::Done;
    return true;
}

void CopyReader::OpenAgain() noexcept {
    const uint32 owner = Low32(m_setup.owner);
    LogTrace(L"this->%x:ReadFile0ByThread -- Begin VXC_CloseHandle(%s)", owner, m_setup.name);
    m_setup.file->CloseFileHandle();
    LogTrace(L"this->%x:ReadFile0ByThread -- End VXC_CloseHandle(%s)", owner, m_setup.name);
    while (m_setup.file->CreateFile(m_setup.name, VXC_GENERIC_READ,
                                    VXC_FILE_SHARE_READ | VXC_FILE_SHARE_WRITE, nullptr, VXC_OPEN_EXISTING,
                                    m_setup.flagsAndAttributes, nullptr, 1) != VXC_STATUS_OK) {
        VXC_Sleep(kOpenAgainPause);
        if (IsQuitSet()) {
            return;
        }
        LogTrace(L"this->%x:CFileSource--ReadFileByThread Re CreateFile(%s) Error, need create again", owner,
                 m_setup.name);
    }
    LogTrace(L"this->%x:CFileSource--ReadFileByThread Re CreateFile(%s) OK", owner, m_setup.name);
}

} // namespace vxcio
