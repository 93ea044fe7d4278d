// The ring, its thread and how it is stopped. What the reader does stands in PreReadRingFetch.cpp.
#include "sources/PreReadRing.h"

#include "frame/LargeMemory.h"
#include "frame/Log.h"
#include "frame/TransferDefaults.h"

#include <algorithm>
#include <new>
#include <utility>

namespace vxcio {

namespace {

// What the fast copy takes with room to spare.
constexpr uint32 kLargestBlock = 0x40000000;

} // namespace

PreReadRing::PreReadRing(RingFeed& feed, const RingShape& shape, const void* owner) noexcept
    : m_feed(feed), m_shape(shape), m_owner(owner), m_nBlocks(shape.preReadSize / shape.blockSize) {}

std::unique_ptr<PreReadRing> PreReadRing::Start(RingFeed& feed, const RingShape& shape,
                                                const void* owner) noexcept {
    if (shape.blockSize == 0 || shape.blockSize > kLargestBlock || shape.sectorSize == 0 ||
        shape.preReadSize % shape.blockSize != 0 || shape.preReadSize / shape.blockSize < 2) {
        return nullptr;
    }
    std::unique_ptr<PreReadRing> ring(new (std::nothrow) PreReadRing(feed, shape, owner));
    if (!ring || !ring->MakeBlocks() || !ring->MakeEvents() || !ring->StartThread()) {
        return nullptr;
    }
    return ring;
}

bool PreReadRing::MakeBlocks() noexcept {
    m_pBlocks.reset(new (std::nothrow) SReadBlock[m_nBlocks]);
    if (!m_pBlocks || !MakeMemory()) {
        return false;
    }
    for (uint32 i = 0; i < m_nBlocks; ++i) {
        SReadBlock& block = m_pBlocks[i];
        block.pNext = &m_pBlocks[i + 1 == m_nBlocks ? 0 : i + 1];
        if (!block.hFilled.Create(RingEventKind::ManualReset) ||
            !block.hFree.Create(RingEventKind::AutoReset)) {
            return false;
        }
    }
    m_pReadBlock = &m_pBlocks[0];
    m_pFillBlock = &m_pBlocks[0];
    return true;
}

// One piece of memory for the whole ring. Where the feed keeps a block for as long as it likes, little more
// than that block is to stay with it, so there it is one piece for as many blocks as a large page holds.
bool PreReadRing::MakeMemory() noexcept {
    const std::unique_ptr<AlignedBuffer[]> parts(new (std::nothrow) AlignedBuffer[m_nBlocks]);
    const auto fitLargePage = std::max(static_cast<uint32>(kLargeMemory / m_shape.blockSize), 1u);
    const uint32 together = m_shape.feedKeepsMemory ? fitLargePage : m_nBlocks;
    if (!parts) {
        return false;
    }
    for (uint32 i = 0; i < m_nBlocks; ++i) {
        if (i % together == 0 && !AlignedBuffer::MakeParts(&parts[i], std::min(together, m_nBlocks - i),
                                                           m_shape.blockSize, kTransferAlignment)) {
            return false;
        }
        m_pBlocks[i].data = std::move(parts[i]);
    }
    return true;
}

bool PreReadRing::MakeEvents() noexcept {
    return m_hFlush.Create(RingEventKind::AutoReset) && m_hFlushDone.Create(RingEventKind::AutoReset) &&
           m_hFlushAck.Create(RingEventKind::AutoReset) && m_hPreReadQuit.Create(RingEventKind::ManualReset);
}

bool PreReadRing::StartThread() noexcept {
    const auto entry = [](void* ring) -> uint32 { return static_cast<PreReadRing*>(ring)->RunThread(); };
    void* const thread = VXC_CreateThread(nullptr, 0, entry, this, VXC_CREATE_SUSPENDED, nullptr);
    if (thread == nullptr) {
        return false;
    }
    if (VXC_ResumeThread(thread) == 0xFFFFFFFFu) {
        VXC_CloseHandle(thread); // one that never ran ends with its handle
        return false;
    }
    m_hPreReadThread = thread;
    return true;
}

PreReadRing::~PreReadRing() {
    if (m_hPreReadThread == nullptr) {
        return;
    }
    m_hPreReadQuit.Set();
    RingEvent::WaitFor(m_hPreReadThread);
    VXC_CloseHandle(m_hPreReadThread);
}

// The thread, from its start to its end.
uint32 PreReadRing::RunThread() noexcept {
    LogTrace(L"FileSource: Came into ReadThread!\n");
    for (;;) {
        void* const wanted[] = {m_hFlush.Handle(), m_hPreReadQuit.Handle(), m_pFillBlock->hFree.Handle()};
        switch (VXC_WaitForMultipleObjects(3, wanted, 0, VXC_INFINITE)) {
        case VXC_WAIT_OBJECT_0:
            m_hFlushAck.Set();
            m_hFlushDone.Wait();
            break;
        case VXC_WAIT_OBJECT_0 + 1:
            LogTrace(L"this->0x%x:CFileSource: ReadThread Quit!", Low32(m_owner));
            return 0;
        case VXC_WAIT_OBJECT_0 + 2:
            FillFor(*m_pFillBlock);
            m_pFillBlock->hFilled.Set();
            m_pFillBlock = m_pFillBlock->pNext;
            break;
        default:
            break;
        }
    }
}

// Fills a block that belongs to the calling thread, at the feed's position. At the end of the file it gets
// nothing, and so does every block after it.
void PreReadRing::FillFor(SReadBlock& block) noexcept {
    block.qwPosition = static_cast<uint64>(m_feed.FeedPosition());
    const uint32 got = m_feed.Fill(block.data, m_shape.blockSize);
    const std::size_t room = std::min<std::size_t>(block.data.Size(), m_shape.blockSize);
    block.dwFilled = static_cast<uint32>(std::min<std::size_t>(got, room));
}

PreReadRing::Standstill::Standstill(PreReadRing& ring) noexcept : m_ring(ring) {
    m_ring.m_hFlush.Set();
    m_ring.m_hFlushAck.Wait();
}

PreReadRing::Standstill::~Standstill() {
    m_ring.m_hFlushDone.Set();
}

} // namespace vxcio
