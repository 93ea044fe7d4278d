#include "sinks/WriteBufferRing.h"

#include "frame/BulkCopy.h"
#include "frame/LargeMemory.h"
#include "frame/Log.h"
#include "frame/TransferDefaults.h"
#include "sinks/HandleMoves.h"

#include <new>
#include <utility>

namespace vxcio {

namespace {

constexpr uint32 kPatience = 100; // milliseconds that a full node waits for its successor
constexpr int kLooks = 8;         // at the exit event, should one fail

// Parts of memory for so many blocks. Past the cache the disk is given the memory's pages one by one, so a
// ring that would fill half a large page and more takes all of it: to write out of it is a tenth faster.
uint32 PartsFor(uint32 blocks, uint32 blockSize, bool isUnbuffered) noexcept {
    const uint64 bytes = uint64{blocks} * blockSize;
    if (!isUnbuffered || bytes < kLargeMemory / 2 || bytes >= kLargeMemory) {
        return blocks;
    }
    return static_cast<uint32>((kLargeMemory + blockSize - 1) / blockSize);
}

} // namespace

std::unique_ptr<WriteBufferRing> WriteBufferRing::Start(const WriterSetup& setup, uint32 blockSize,
                                                        uint32 blocks) noexcept {
    std::unique_ptr<WriteBufferRing> ring(new (std::nothrow) WriteBufferRing(setup));
    if (!ring || blocks == 0 || !ring->MakeNodes(blockSize, blocks) || !ring->StartThread()) {
        return nullptr;
    }
    return ring;
}

WriteBufferRing::~WriteBufferRing() {
    CloseThread();
}

bool WriteBufferRing::MakeNodes(uint32 blockSize, uint32 blocks) noexcept {
    const uint32 partCount = PartsFor(blocks, blockSize, m_setup.stage != nullptr);
    const std::unique_ptr<AlignedBuffer[]> parts(new (std::nothrow) AlignedBuffer[partCount]);
    m_pNodes.reset(new (std::nothrow) WriteBufferNode[blocks]);
    if (!parts || !m_pNodes ||
        !AlignedBuffer::MakeParts(parts.get(), partCount, blockSize, kTransferAlignment)) {
        return false;
    }
    for (uint32 i = 0; i < blocks; ++i) {
        WriteBufferNode& node = m_pNodes[i];
        node.pBuffer = std::move(parts[i]);
        node.dwCapacity = blockSize;
        node.pNext = &m_pNodes[i + 1 == blocks ? 0 : i + 1];
        if (!node.hFreeEvent.Create(RingEventKind::AutoReset) ||
            !node.hDataEvent.Create(RingEventKind::AutoReset)) {
            return false;
        }
        if (i > 0) {
            node.hFreeEvent.Set(); // the first is the caller's from the start
        }
    }
    m_nNodeCount = blocks;
    m_pWriteBufferNod = m_pNodes.get();
    m_pWriteThreadNod = m_pNodes.get();
    return true;
}

bool WriteBufferRing::StartThread() noexcept {
    if (!m_hExitEvent.emplace().Create(RingEventKind::ManualReset)) {
        return false;
    }
    const auto entry = [](void* ring) -> uint32 { return static_cast<WriteBufferRing*>(ring)->RunThread(); };
    m_hWriteThread = VXC_CreateThread(nullptr, 0, entry, this, VXC_CREATE_SUSPENDED, nullptr);
    // One that never ran ends with its handle.
    return m_hWriteThread != nullptr && VXC_ResumeThread(m_hWriteThread) != 0xFFFFFFFFu;
}

WriteBufferRing::Outcome WriteBufferRing::Advance(Order order) noexcept {
    WriteBufferNode& full = *m_pWriteBufferNod;
    WriteBufferNode& next = *full.pNext;
    bool isNextFree = false;
    if (order == Order::WaitFirst) {
        isNextFree = VXC_WaitForSingleObject(next.hFreeEvent.Handle(), kPatience) == VXC_WAIT_OBJECT_0;
    }
    full.hDataEvent.Set();
    if (!isNextFree && !next.hFreeEvent.Wait()) {
        return Outcome::NoNode; // the thread may hold it still
    }
    m_pWriteBufferNod = &next;
    return next.bWriteOK != 0 ? Outcome::Good : Outcome::WriteFailed;
}

bool WriteBufferRing::Flush() noexcept {
    m_pWriteBufferNod->bFlushRequest = 1;
    m_pWriteBufferNod->hDataEvent.Set();
    return m_pWriteBufferNod->hFreeEvent.Wait();
}

void WriteBufferRing::AskToEnd() noexcept {
    m_hExitEvent->Set();
    // Of every node: which one the thread waits for is its own knowledge, unless a flush has come back.
    for (uint32 i = 0; i < m_nNodeCount; ++i) {
        m_pNodes[i].hDataEvent.Set();
    }
}

void WriteBufferRing::WaitForEnd() noexcept {
    RingEvent::WaitFor(m_hWriteThread);
}

void WriteBufferRing::CloseThread() noexcept {
    if (m_hWriteThread != nullptr) {
        VXC_CloseHandle(m_hWriteThread);
        m_hWriteThread = nullptr;
    }
    m_hExitEvent.reset();
}

bool WriteBufferRing::IsExitSet() const noexcept {
    uint32 told = VXC_WAIT_FAILED;
    for (int i = 0; i < kLooks && told == VXC_WAIT_FAILED; ++i) {
        told = VXC_WaitForSingleObject(m_hExitEvent->Handle(), 0);
    }
    return told == VXC_WAIT_OBJECT_0;
}

// The thread, from its start to its end.
uint32 WriteBufferRing::RunThread() noexcept {
    LogTrace(L"WriteFile: Came into WriteDataThread!\n");
    bool allGood = true;
    for (;;) {
        WriteBufferNode& node = *m_pWriteThreadNod;
        const bool isMine = node.hDataEvent.Wait();
        if (IsExitSet()) {
            break;
        }
        if (!isMine) {
            continue; // the caller may be filling it
        }
        if (node.dwUsed != 0) {
            allGood = Serve(node) && allGood;
            node.bWriteOK = allGood ? 1 : 0;
            node.dwUsed = 0;
        }
        if (node.bFlushRequest != 0) {
            node.bFlushRequest = 0;
        } else {
            m_pWriteThreadNod = node.pNext;
        }
        node.hFreeEvent.Set();
    }
    LogTrace(L"WriteFile: will exit WriteDataThread!\n");
    return 0;
}

// Writes the node where the file stands. One that could not be padded stays off the disk: it would go to a
// wrong place, or with a wrong end over bytes that are written already.
bool WriteBufferRing::Serve(WriteBufferNode& node) noexcept {
    return (m_setup.stage == nullptr || Pad(node)) &&
           WriteOut(*m_setup.file, node.pBuffer.Data(), node.dwUsed);
}

// Fills a partial node up to whole sectors with what the disk holds there, or zeros beyond the file's end.
// False when the file could not be moved.
bool WriteBufferRing::Pad(WriteBufferNode& node) noexcept {
    const uint32 s = m_setup.sectorSize;
    const uint32 rem = node.dwUsed % s;
    if (node.dwUsed >= node.dwCapacity || rem == 0) {
        return true;
    }
    const auto start = static_cast<uint64>(node.nFilePos);
    const uint64 tail = (start + node.dwUsed) / s * s;
    const bool isThere = MoveTo(*m_setup.file, tail);
    // What the disk cannot give twice is lost to everybody; but one that only stumbled must not cost bytes.
    if (!ReadSector(*m_setup.file, m_setup.stage->Data(), s) && MoveTo(*m_setup.file, tail)) {
        ReadSector(*m_setup.file, m_setup.stage->Data(), s);
    }
    CopyBulk(node.pBuffer.Data() + node.dwUsed, m_setup.stage->Data() + rem, s - rem);
    const bool isBack = MoveTo(*m_setup.file, start);
    node.dwUsed += s - rem;
    return isThere && isBack;
}

} // namespace vxcio
