#include "ftp/FtpPreRead.h"

#include "filehandle/HandOver.h"
#include "frame/Log.h"
#include "ftp/FtpThread.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace vxcio {

namespace {

constexpr int64 kSectorSize = 512;

// Uninitialised: it is filled before it is given out. Null for no size.
std::unique_ptr<uint8[]> MemoryFor(int bytes) noexcept {
    return std::unique_ptr<uint8[]>(bytes <= 0 ? nullptr
                                               : new (std::nothrow) uint8[static_cast<std::size_t>(bytes)]);
}

// Whether `bytes` bytes from a position on lie between a start and `size` bytes behind it.
bool LiesIn(uint64 position, int bytes, uint64 start, int size) noexcept {
    return position >= start && size >= bytes && position - start <= static_cast<uint64>(size - bytes);
}

} // namespace

int FtpPreRead::Block::From(uint64 wanted) const noexcept {
    const uint64 offset = wanted - position;
    return size > 0 && offset < static_cast<uint64>(size) ? size - static_cast<int>(offset) : 0;
}

int FtpPreRead::BlockFor(int bufferBytes, int minimumBytes) noexcept {
    const int64 twice = int64{2} * bufferBytes;
    if (twice >= minimumBytes) {
        return bufferBytes;
    }
    return static_cast<int>((int64{2} * minimumBytes / kSectorSize + 1) * kSectorSize);
}

std::unique_ptr<FtpPreRead> FtpPreRead::Start(FtpPreReadFeed& feed, int blockBytes, int joinBytes) noexcept {
    std::unique_ptr<FtpPreRead> ahead(new (std::nothrow) FtpPreRead(feed, blockBytes, joinBytes));
    if (!ahead || !ahead->MakeMemory() || !ahead->m_hPreDone.Create(RingEventKind::ManualReset) ||
        !ahead->m_hPreGo.Create(RingEventKind::ManualReset) ||
        !ahead->m_hPreQuit.Create(RingEventKind::ManualReset) || !ahead->StartThread()) {
        return nullptr;
    }
    return ahead;
}

bool FtpPreRead::MakeMemory() noexcept {
    m_seq1.data = MemoryFor(m_nPreBlock);
    m_seq2.data = MemoryFor(m_nPreBlock);
    m_pJoin = MemoryFor(m_nJoinSize);
    m_nJoinRoom = m_nJoinSize;
    return (m_nPreBlock <= 0 || (m_seq1.data && m_seq2.data)) && (m_nJoinSize <= 0 || m_pJoin);
}

// It begins to fill at once.
bool FtpPreRead::StartThread() noexcept {
    m_hPreGo.Set();
    const auto entry = [](void* ahead) -> uint32 { return static_cast<FtpPreRead*>(ahead)->Run(); };
    m_hPreThread = StartFtpThread(entry, this);
    return m_hPreThread != nullptr;
}

FtpPreRead::~FtpPreRead() {
    if (m_hPreThread == nullptr) {
        return;
    }
    Rest();
    m_hPreQuit.Set();
    m_hPreGo.Set();
    RingEvent::WaitFor(m_hPreThread);
    VXC_CloseHandle(m_hPreThread);
}

// ---- The thread ---------------------------------------------------------------------------------------

void FtpPreRead::FillBlock(Block& block, uint64 position) noexcept {
    block.size = m_feed.FetchAhead(block.data.get(), m_nPreBlock);
    block.position = position;
}

uint32 FtpPreRead::Run() noexcept {
    constexpr const wchar_t* kSeq1 = L"FtpReadThread : seq1 size = %d, qwPos = %d";
    constexpr const wchar_t* kSeq2 = L"FtpReadThread : seq2 size = %d, qwPos = %d";
    const auto log = [](const wchar_t* format, const Block& block) {
        LogTrace(format, block.size, static_cast<int32>(block.position));
    };
    for (;;) {
        if (!m_hPreGo.Wait()) {
            continue; // not to run beside the caller, whatever the system says
        }
        if (WaitFor(m_hPreQuit.Handle(), 0)) {
            return 0;
        }
        {
            const std::lock_guard lock(m_lock);
            if (!m_isBusy) {
                m_hPreGo.Reset();
                continue;
            }
        }
        const uint64 position = m_feed.StreamPosition();
        if (m_nCurrent == -1) {
            FillBlock(m_seq1, position);
            FillBlock(m_seq2, position + static_cast<uint64>(m_seq1.size));
            if (m_seq1.size == 0 || m_seq2.size == 0) {
                log(kSeq2, m_seq2);
                log(kSeq1, m_seq1);
            }
        } else {
            Block& block = m_nCurrent == 0 ? m_seq2 : m_seq1;
            FillBlock(block, position);
            if (block.size == 0) {
                log(m_nCurrent == 0 ? kSeq2 : kSeq1, block);
            }
        }
        m_hPreGo.Reset();
        {
            const std::lock_guard lock(m_lock);
            m_isBusy = false;
        }
        m_hPreDone.Set();
    }
}

// ---- The caller ---------------------------------------------------------------------------------------

void FtpPreRead::Rest() noexcept {
    for (;;) {
        const bool hasWaited = m_hPreDone.Wait();
        const std::lock_guard lock(m_lock);
        if (!m_isBusy) {
            return;
        }
        if (hasWaited) {
            m_hPreDone.Reset(); // it was of the job before
        }
    }
}

int FtpPreRead::ReadAt(uint64 position, uint8** data, int bytes) noexcept {
    const bool isFirst = m_nCurrent == -1;
    if (isFirst) {
        Rest();
        m_nCurrent = 0;
    }
    Block& current = m_nCurrent == 0 ? m_seq1 : m_seq2;
    Block& other = m_nCurrent == 0 ? m_seq2 : m_seq1;
    if ((current.size < 1 && !isFirst) || m_nPreBlock <= 0) {
        return 0;
    }
    // Short of both blocks nothing is touched that the thread may have in its hands.
    if (!LiesIn(position, bytes, current.position, current.size)) {
        Rest();
    }
    if (LiesIn(position, bytes, current.position, m_nPreBlock)) {
        *data = current.data.get() + (position - current.position);
        return std::min(bytes, current.From(position));
    }
    int count = 0;
    int next = 1 - m_nCurrent;
    if (position >= other.position && position - other.position <= static_cast<uint64>(m_nPreBlock)) {
        *data = other.data.get() + (position - other.position);
        count = std::min(bytes, other.From(position));
    } else if (LiesIn(position, 1, current.position, m_nPreBlock)) {
        if (!GrowJoin(bytes)) {
            return 0;
        }
        *data = m_pJoin.get();
        count = Join(current, other, position, bytes);
    } else {
        FillBlock(m_seq1, position);
        *data = m_seq1.data.get();
        count = std::min(m_seq1.size, bytes);
        next = 0;
    }
    m_nCurrent = next;
    {
        const std::lock_guard lock(m_lock);
        m_isBusy = true;
    }
    m_hPreDone.Reset();
    m_hPreGo.Set();
    return count;
}

bool FtpPreRead::GrowJoin(int bytes) noexcept {
    if (bytes > m_nJoinRoom) {
        auto larger = MemoryFor(bytes);
        if (!larger) {
            return false;
        }
        m_pJoin = std::move(larger);
        m_nJoinRoom = bytes;
    }
    return true;
}

// What is left of the current block, and the head of the other behind it. The range reaches beyond the
// current block, so what is left of that fits. Nothing where the current block ends before the position.
int FtpPreRead::Join(const Block& current, const Block& other, uint64 position, int bytes) noexcept {
    const int joined = current.From(position);
    if (joined == 0) {
        return 0;
    }
    const int rest = std::min(bytes - joined, std::max(other.size, 0));
    std::memcpy(m_pJoin.get(), current.data.get() + (position - current.position),
                static_cast<std::size_t>(joined));
    std::memcpy(m_pJoin.get() + joined, other.data.get(), static_cast<std::size_t>(rest));
    return joined + rest;
}

} // namespace vxcio
