// FtpPreRead.h - the read-ahead of an FTP source: two blocks, of which the caller is served from one while a
// thread fills the other.
//
//   caller                                     thread
//   served from the current block              fills the other one, sets Done, rests
//   leaves it: waits for Done, makes the
//   other current, Done reset, Go set    --->  fills the one that is free now
#pragma once

#include "frame/RingEvent.h"
#include "frame/Types.h"

#include <memory>
#include <mutex>

namespace vxcio {

// Where the blocks get their data: a stream that goes on from where it stands.
class FtpPreReadFeed {
public:
    // Bytes; 0 at the end or after a failure. On the read-ahead's thread, or on the caller's while that
    // rests.
    virtual int FetchAhead(uint8* target, int bytes) noexcept = 0;
    // The position of the next byte.
    virtual uint64 StreamPosition() const noexcept = 0;

protected:
    ~FtpPreReadFeed() = default;
};

// Runs from Start to its destructor, which waits for the job under way. One thread uses it; the feed must
// outlive it.
class FtpPreRead {
public:
    // The size of the blocks for what a caller asks for, in 32 bits, whatever comes out.
    static int BlockFor(int bufferBytes, int minimumBytes) noexcept;
    // Blocks of this size, and memory for ranges across both of them that grows where it must. Sizes below 1
    // make no memory, and all reads give 0. Null when memory, an event or a thread lacks.
    static std::unique_ptr<FtpPreRead> Start(FtpPreReadFeed& feed, int blockBytes, int joinBytes) noexcept;
    ~FtpPreRead();
    FtpPreRead(const FtpPreRead&) = delete;
    FtpPreRead& operator=(const FtpPreRead&) = delete;

    bool HasSizes(int blockBytes, int joinBytes) const noexcept {
        return m_nPreBlock == blockBytes && m_nJoinSize == joinBytes;
    }
    // Waits until the thread has nothing to do. It stays so until the next ReadAt.
    void Rest() noexcept;

    // The bytes at a position, at most `bytes`, and where they lie until the next call. 0 at the end of the
    // data. What lies in neither block is what the stream delivers next, wherever that stands: who jumps
    // moves the stream first.
    int ReadAt(uint64 position, uint8** data, int bytes) noexcept;

private:
    struct Block {
        std::unique_ptr<uint8[]> data;
        uint64 position = 0;
        int size = 0; // valid bytes

        // Valid bytes from a position on that is not before the block.
        int From(uint64 wanted) const noexcept;
    };

    FtpPreRead(FtpPreReadFeed& feed, int blockBytes, int joinBytes) noexcept
        : m_nPreBlock(blockBytes), m_nJoinSize(joinBytes), m_feed(feed) {}
    bool MakeMemory() noexcept;
    bool StartThread() noexcept;
    uint32 Run() noexcept;
    void FillBlock(Block& block, uint64 position) noexcept;
    bool GrowJoin(int bytes) noexcept;
    int Join(const Block& current, const Block& other, uint64 position, int bytes) noexcept;

    const int m_nPreBlock;
    const int m_nJoinSize;
    FtpPreReadFeed& m_feed;
    // The thread has the block that is not current, and both at first, from Go to Done.
    Block m_seq1;
    Block m_seq2;
    int m_nCurrent = -1; // -1 before the first read, 0 where m_seq1 serves, 1 for m_seq2
    std::unique_ptr<uint8[]> m_pJoin;
    int m_nJoinRoom = 0;
    // The events wake; whether there is a job is told here, as a system that fails may wake once too often.
    std::mutex m_lock;
    bool m_isBusy = true; // guarded by m_lock: from the caller's order to its end
    RingEvent m_hPreDone;
    RingEvent m_hPreGo;
    RingEvent m_hPreQuit;
    void* m_hPreThread = nullptr;
};

} // namespace vxcio
