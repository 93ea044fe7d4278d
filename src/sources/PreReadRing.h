// PreReadRing.h - read-ahead: one thread keeps a ring of equal blocks filled in front of a reader.
//
//      m_pReadBlock: the oldest block still held        m_pFillBlock: the next block for the thread
//               |                                                |
//               v                                                v
//       +----> [filled] -> [filled] -> [being filled] -> [free] -> [free] ----+
//       +---------------------------------------------------------------------+
//
// A block passes between the two threads with its two events: hFilled (manual-reset) says that it holds
// data, hFree (auto-reset) that the thread may fill it.
//
//   reader                                         thread
//   waits for hFilled of the next block            waits for hFree of m_pFillBlock
//   clears hFilled of its own block,               notes the position, fills the block
//   sets its hFree: the block is released          sets hFilled, goes to the next block
//
// To go somewhere else the reader stops the thread:
//
//   reader                                         thread
//   sets m_hFlush                                  sees it first of all, when its block is done
//   waits for m_hFlushAck                          sets m_hFlushAck
//   ... owns ring, position and file ...           waits for m_hFlushDone
//   sets m_hFlushDone                              goes on with m_pFillBlock
//
// The thread's one wait takes m_hFlush before m_hPreReadQuit before hFree, so a request to stop needs no
// free block to be seen.
//
// No wait has a limit: what bounds a hung disk is the handle under the feed.
#pragma once

#include "frame/AlignedBlock.h"
#include "frame/RingEvent.h"
#include "frame/Types.h"

#include <cstddef>
#include <cstring>
#include <memory>

namespace vxcio {

// What a ring reads through: a file with a position of its own. Called by the ring's thread while it runs,
// and by the reader's thread while that one stands still; never by both at once.
class RingFeed {
public:
    virtual int64 FeedPosition() noexcept = 0;
    virtual void SetFeedPosition(int64 position) noexcept = 0;
    // Reads `bytes` at the position into the block and moves the position by the count, which it gives;
    // fewer at the end of the file or after a failure. May put other memory in the block's place, and makes
    // one that is empty or too small large enough; leaves 0 when memory lacks.
    virtual uint32 Fill(AlignedBuffer& block, uint32 bytes) noexcept = 0;

protected:
    ~RingFeed() = default;
};

struct PreReadRingInspector; // a door for tests

struct RingShape {
    uint32 preReadSize; // bytes of all blocks, a multiple of blockSize, at least two blocks
    uint32 blockSize;
    uint32 sectorSize; // what positions of the file are rounded down to
    bool keepWindow;   // the reader may go back inside the ring
    // A fill may keep the memory of a block and give other memory for it, so few blocks lie together.
    bool feedKeepsMemory = false;
};

// One node of the ring. It belongs to the thread from its hFree on and to the reader from its hFilled on.
struct SReadBlock {
    AlignedBuffer data;
    uint32 dwFilled = 0;                // bytes that it holds
    uint64 qwPosition = kUnsetPosition; // file position of its first byte
    RingEvent hFilled;                  // manual-reset
    RingEvent hFree;                    // auto-reset
    SReadBlock* pNext = nullptr;        // the last points at the first

    static constexpr uint64 kUnsetPosition = ~uint64{0};
};

// A running ring. One thread drives it; it has a thread of its own until it is destroyed. The feed outlives
// it.
class PreReadRing {
public:
    // Nothing is read until the first Fetch. `owner` is the object that log lines name. Null when memory,
    // events or the thread lack, or when the shape makes no ring.
    static std::unique_ptr<PreReadRing> Start(RingFeed& feed, const RingShape& shape,
                                              const void* owner) noexcept;
    // Ends the thread and waits for it.
    ~PreReadRing();
    PreReadRing(const PreReadRing&) = delete;
    PreReadRing& operator=(const PreReadRing&) = delete;

    // Copies up to `bytes` bytes from file position `position` on to `target`. The count: less than asked
    // at the end of the file; 0 for a position outside the file. Small reads that follow each other mostly
    // lie in the block that was read last, and cost nothing but their copy.
    uint32 Fetch(uint64 position, uint8* target, uint32 bytes) noexcept {
        const uint64 offset = position - m_held.position; // huge in front of it
        // A request for 0 bytes is none of these: it may have to go elsewhere.
        if (offset < m_held.bytes && bytes - 1 < m_held.bytes - offset) {
            std::memcpy(target, m_held.data + offset, bytes);
            return bytes;
        }
        return FetchThroughRing(position, target, bytes);
    }

    uint32 PreReadSize() const noexcept { return m_shape.preReadSize; }

    // While it lives the ring's thread stands still and feed and file belong to the calling thread. The
    // blocks stay as they are.
    class Standstill {
    public:
        explicit Standstill(PreReadRing& ring) noexcept;
        ~Standstill();
        Standstill(const Standstill&) = delete;
        Standstill& operator=(const Standstill&) = delete;

    private:
        PreReadRing& m_ring;
    };

private:
    friend struct PreReadRingInspector;

    // The stretch of the file in which a fetch is a plain copy.
    struct Held {
        uint64 position = 0;
        uint64 bytes = 0; // 0: none
        const uint8* data = nullptr;
    };
    // How far a copy came. A gap: the block in hand does not hold what should come next.
    struct Copied {
        uint32 count;
        bool gap;
    };
    // A block in the reader's hand and its distance from m_pReadBlock, in blocks.
    struct InHand {
        SReadBlock* block;
        uint32 index;
    };

    PreReadRing(RingFeed& feed, const RingShape& shape, const void* owner) noexcept;
    bool MakeBlocks() noexcept;
    bool MakeMemory() noexcept;
    bool MakeEvents() noexcept;
    bool StartThread() noexcept;
    uint32 RunThread() noexcept;
    void FillFor(SReadBlock& block) noexcept;

    uint32 FetchThroughRing(uint64 position, uint8* target, uint32 bytes) noexcept;
    bool Reaches(uint64 position) const noexcept;
    bool Reposition(uint64 position) noexcept;
    Copied CopyForward(uint64 position, uint8* target, uint32 bytes) noexcept;
    bool StepForward() noexcept;
    Copied CopyInWindow(uint64 position, uint8* target, uint32 bytes) noexcept;
    bool MakeRoom(uint64 position, uint32 bytes) noexcept;
    InHand Nearest(uint64 position) const noexcept;
    bool StepInWindow(InHand& hand) noexcept;
    bool Await(const SReadBlock& block, uint32 index) noexcept;
    void ReleaseOldest() noexcept;
    uint32 CopyOut(const SReadBlock& block, uint64 position, uint8* target, uint32 bytes) const noexcept;
    void Hold(const InHand& hand) noexcept;

    Held m_held; // the reader's
    RingFeed& m_feed;
    const RingShape m_shape;
    const void* const m_owner;
    const uint32 m_nBlocks;
    std::unique_ptr<SReadBlock[]> m_pBlocks;
    SReadBlock* m_pReadBlock = nullptr; // the reader's
    uint32 m_nSeen = 1; // the reader's: blocks from m_pReadBlock on that it knows to be filled
    SReadBlock* m_pFillBlock = nullptr; // the thread's, and the reader's at a standstill
    RingEvent m_hFlush;                 // auto-reset, as the next two
    RingEvent m_hFlushAck;
    RingEvent m_hFlushDone;
    RingEvent m_hPreReadQuit; // manual-reset
    void* m_hPreReadThread = nullptr;
};

} // namespace vxcio
