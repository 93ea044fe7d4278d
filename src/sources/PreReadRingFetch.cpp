// The reader's side of the ring: where it stands, what it copies out, which blocks it gives back.
#include "sources/PreReadRing.h"

#include "frame/Log.h"

#include <algorithm>

namespace vxcio {

namespace {

// Bytes of the file in front of the position, counted from the block's first one. Huge when the position
// lies in front of the block.
uint64 OffsetIn(const SReadBlock& block, uint64 position) noexcept {
    return position - block.qwPosition;
}

void Release(SReadBlock& block) noexcept {
    block.hFilled.Reset(); // first: from hFree on the thread may set it again
    block.hFree.Set();
}

} // namespace

uint32 PreReadRing::FetchThroughRing(uint64 position, uint8* target, uint32 bytes) noexcept {
    m_held = {};
    uint32 done = 0;
    for (bool elsewhere = !Reaches(position);;) {
        if (elsewhere && !Reposition(position + done)) {
            return done;
        }
        const Copied copied = m_shape.keepWindow ? CopyInWindow(position + done, target + done, bytes - done)
                                                 : CopyForward(position + done, target + done, bytes - done);
        done += copied.count;
        // Going there once more helps as long as each time brings something.
        if (!copied.gap || (elsewhere && copied.count == 0)) {
            return done;
        }
        elsewhere = true;
    }
}

// Whether the reader comes there by reading on. That includes what has not been read yet.
bool PreReadRing::Reaches(uint64 position) const noexcept {
    const SReadBlock& oldest = *m_pReadBlock;
    return oldest.qwPosition != SReadBlock::kUnsetPosition && position >= oldest.qwPosition &&
           OffsetIn(oldest, position) <= m_shape.preReadSize;
}

// Reads the reader's block anew, from the sector of the position on, and gives all others to the thread,
// which goes on behind it. False when nothing was read. Even then the ring is whole: an empty block stands
// at the position, and what the thread finds there comes next.
bool PreReadRing::Reposition(uint64 position) noexcept {
    SReadBlock& block = *m_pReadBlock;
    {
        const Standstill standstill(*this);
        m_feed.SetFeedPosition(static_cast<int64>(position - position % m_shape.sectorSize));
        FillFor(block);
        for (uint32 i = 0; i < m_nBlocks; ++i) {
            m_pBlocks[i].hFilled.Reset();
            m_pBlocks[i].hFree.Set();
        }
        block.hFree.Reset();
        if (block.dwFilled > 0) {
            block.hFilled.Set();
        }
        m_pFillBlock = block.pNext;
        m_nSeen = 1;
    }
    if (block.dwFilled == 0) {
        LogTrace(L"Get Zero bytes from ReadFileWithTwoHandle()");
        return false;
    }
    return true;
}

// Copies what the block holds from the position on, which must not lie outside it.
uint32 PreReadRing::CopyOut(const SReadBlock& block, uint64 position, uint8* target,
                            uint32 bytes) const noexcept {
    const auto offset = static_cast<uint32>(OffsetIn(block, position));
    const uint32 count = std::min(block.dwFilled - offset, bytes);
    // A block never exceeds what the fast copy takes.
    VXCSoftMemCopy(target, block.data.Data() + offset, static_cast<int>(count));
    return count;
}

// The reader that only goes forward gives each block back when it leaves it.

bool PreReadRing::StepForward() noexcept {
    if (!m_pReadBlock->pNext->hFilled.Wait()) {
        return false;
    }
    Release(*m_pReadBlock);
    m_pReadBlock = m_pReadBlock->pNext;
    return true;
}

PreReadRing::Copied PreReadRing::CopyForward(uint64 position, uint8* target, uint32 bytes) noexcept {
    while (OffsetIn(*m_pReadBlock, position) > m_pReadBlock->dwFilled) {
        if (position < m_pReadBlock->qwPosition) {
            return {0, true};
        }
        if (!StepForward() || m_pReadBlock->dwFilled == 0) {
            return {0, false};
        }
    }
    uint32 done = 0;
    while (bytes > 0) {
        done += CopyOut(*m_pReadBlock, position + done, target + done, bytes - done);
        // A short block was the last one. A block that ends with the request stays held.
        if (done == bytes || m_pReadBlock->dwFilled < m_shape.blockSize || !StepForward()) {
            break;
        }
        if (OffsetIn(*m_pReadBlock, position + done) > m_pReadBlock->dwFilled) {
            return {done, true};
        }
    }
    Hold({m_pReadBlock, 0});
    return {done, false};
}

// The reader with a window keeps the blocks behind it as long as the ring has room in front.

// Gives the oldest block back when the room in front of the position does not exceed the request.
bool PreReadRing::MakeRoom(uint64 position, uint32 bytes) noexcept {
    const SReadBlock& oldest = *m_pReadBlock;
    const uint64 offset = OffsetIn(oldest, position);
    if (offset <= oldest.dwFilled) {
        return true;
    }
    // Cut to 32 bits on purpose: in rings beyond 2 GiB callers have always seen the oldest block go early.
    const auto room =
        static_cast<int32>(static_cast<uint32>(m_shape.preReadSize - m_shape.blockSize - offset));
    if (int64{room} > int64{bytes}) {
        return true;
    }
    if (!Await(*oldest.pNext, 1)) {
        return false;
    }
    ReleaseOldest();
    return true;
}

// Waits for the block at this distance from the oldest one; not even that where it was seen before, as the
// reader still holds it.
bool PreReadRing::Await(const SReadBlock& block, uint32 index) noexcept {
    if (index < m_nSeen) {
        return true;
    }
    if (!block.hFilled.Wait()) {
        return false;
    }
    m_nSeen = index + 1;
    return true;
}

// At least the block behind it must have been seen.
void PreReadRing::ReleaseOldest() noexcept {
    Release(*m_pReadBlock);
    m_pReadBlock = m_pReadBlock->pNext;
    --m_nSeen;
}

// The block from which to walk to the position: the one that holds it, if it was seen and all blocks in
// front of it are full, else the oldest. No walk begins at an empty block, which is the end.
PreReadRing::InHand PreReadRing::Nearest(uint64 position) const noexcept {
    const uint64 blocks = OffsetIn(*m_pReadBlock, position) / m_shape.blockSize;
    const auto index = static_cast<uint32>(std::min<uint64>(blocks, m_nSeen - 1));
    auto place = static_cast<uint32>(m_pReadBlock - m_pBlocks.get()) + index;
    if (place >= m_nBlocks) {
        place -= m_nBlocks;
    }
    SReadBlock& block = m_pBlocks[place];
    if (block.dwFilled > 0 &&
        OffsetIn(*m_pReadBlock, block.qwPosition) == uint64{index} * m_shape.blockSize) {
        return {&block, index};
    }
    return {m_pReadBlock, 0};
}

// One block on. The last block of the ring is followed by the oldest one, which must be given back for it:
// short blocks may bring the reader there.
bool PreReadRing::StepInWindow(InHand& hand) noexcept {
    if (hand.index + 1 >= m_nBlocks) {
        ReleaseOldest();
        --hand.index;
    }
    if (!Await(*hand.block->pNext, hand.index + 1)) {
        return false;
    }
    hand = {hand.block->pNext, hand.index + 1};
    return true;
}

PreReadRing::Copied PreReadRing::CopyInWindow(uint64 position, uint8* target, uint32 bytes) noexcept {
    if (!MakeRoom(position, bytes)) {
        return {0, false};
    }
    InHand hand = Nearest(position);
    while (OffsetIn(*hand.block, position) >= hand.block->dwFilled) {
        if (position < hand.block->qwPosition) {
            return {0, true};
        }
        if (!StepInWindow(hand) || hand.block->dwFilled == 0) {
            return {0, false};
        }
    }
    uint32 done = 0;
    while (bytes > 0) {
        done += CopyOut(*hand.block, position + done, target + done, bytes - done);
        if (done == bytes || hand.block->dwFilled < m_shape.blockSize || !StepInWindow(hand)) {
            break;
        }
        if (hand.index + 1 >= m_nBlocks) {
            ReleaseOldest(); // the thread can go on
            --hand.index;
        }
        if (OffsetIn(*hand.block, position + done) > hand.block->dwFilled) {
            return {done, true};
        }
    }
    Hold(hand);
    return {done, false};
}

// Marks the stretch in which the next fetch is a plain copy: the block in hand, as far as the oldest block
// need not be given back there.
void PreReadRing::Hold(const InHand& hand) noexcept {
    const SReadBlock& block = *hand.block;
    uint64 bytes = block.dwFilled;
    if (hand.block != m_pReadBlock) {
        const uint64 distance = OffsetIn(*m_pReadBlock, block.qwPosition);
        const uint64 room = uint64{m_shape.preReadSize} - m_shape.blockSize;
        if (distance >= room || room - distance > 0x7FFFFFFFu) {
            return;
        }
        bytes = std::min(bytes, room - distance - 1);
    }
    m_held = {block.qwPosition, bytes, block.data.Data()};
}

} // namespace vxcio
