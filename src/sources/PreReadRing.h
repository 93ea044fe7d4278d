// PreReadRing.h - read-ahead: one thread keeps a ring of equal blocks filled in front of a reader.
//
//      m_pReadBlock: the oldest block still held        m_pFillBlock: the next block for the thread
//               |                                                |
//               v                                                v
//       +----> [filled] -> [filled] -> [being filled] -> [free] -> [free] ----+
//       +---------------------------------------------------------------------+
//
// A block passes between the two threads with its two events: hFilled (manual-reset) says that it holds
// data, hFree (auto-reset) that the thread may fill it. To go somewhere else the reader stops the thread:
//
//   reader                                         thread
//   set m_hFlush, set hFree of every block
//   wait for m_hFlushAck                           sees m_hFlush first of all, sets m_hFlushAck,
//   ... owns ring, position and file ...           waits for m_hFlushDone
//   set m_hFlushDone                               goes on with m_pFillBlock
//
// No wait has a limit: what bounds a hung disk is the handle under the feed.
#pragma once

#include "frame/AlignedBlock.h"
#include "frame/Types.h"

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
    uint32 sectorSize;
    bool keepWindow; // the reader may go back inside the ring
};

// A running ring. One thread drives it; it has a thread of its own until it is destroyed. The feed outlives
// it.
class PreReadRing {
public:
    // Nothing is read until the first Fetch. `owner` is the object that log lines name. Null when memory,
    // events or the thread lack.
    static std::unique_ptr<PreReadRing> Start(RingFeed& feed, const RingShape& shape,
                                              const void* owner) noexcept;
    // Ends the thread and waits for it.
    ~PreReadRing();
    PreReadRing(const PreReadRing&) = delete;
    PreReadRing& operator=(const PreReadRing&) = delete;

    // Copies up to `bytes` bytes from file position `position` on to `target`. The count: less than asked
    // at the end of the file; 0 for a position outside the file.
    uint32 Fetch(uint64 position, uint8* target, uint32 bytes) noexcept;

    uint32 PreReadSize() const noexcept;

    // While it lives the ring's thread stands still and feed and file belong to the calling thread.
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
    PreReadRing() = default;
};

} // namespace vxcio
