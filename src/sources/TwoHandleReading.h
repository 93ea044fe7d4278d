// TwoHandleReading.h - reading one clip from two copies of it: each copy has a reader thread (CopyReader.h),
// each read goes to a copy that is free, File1 first, and a read that takes longer than the speed measured
// so far allows is made again on the other copy.
//
//   driver                                 reader of File1            reader of File2
//   block -> request, m_hFileRequest --->  seek, read into the block
//   waits for m_hFileDone, w ms            ... the disk hangs
//   w has passed: gives the copy up,
//   the block stays with the reader
//   other block, m_hFileRequest ------------------------------------>  seek, read
//   waits for m_hFileDone, 10 s   <----------------------------------  block, count, m_hFileDone
//                                          comes back: frees its block, m_hFileDone; nobody waits
//
// A block is memory of one side at a time, so that a late reader writes where nobody looks any more.
#pragma once

#include "filehandle/SoftFileHandle.h"
#include "frame/AlignedBlock.h"
#include "frame/Types.h"
#include "frame/VXCString.h"
#include "sources/CopyReader.h"
#include "sources/ReadRate.h"

#include <memory>

namespace vxcio {

struct TwoHandleReadingInspector; // a door for tests

struct TwoCopies {
    CQLSoftFileHandle* files[2]; // open, in thread mode; both outlive the reading
    CVXCString names[2];         // for log lines, and for opening File1 again
    uint32 flagsAndAttributes;   // likewise
    uint32 threshold;            // milliseconds, lower limit of the wait for a copy
    const void* owner;           // the object that log lines name
};

// Both readers while they run. One thread at a time calls it. While a reader is busy it alone uses
// its file; File1's reader may keep it for seconds or for ever, opening it again after an error.
class TwoHandleReading {
public:
    // Null when memory, events or threads lack; nothing is left then. `rate` outlives the reading.
    static std::unique_ptr<TwoHandleReading> Start(const TwoCopies& copies, SReadRate& rate) noexcept;
    // Ends the readers and waits for them, File1's first; as long as their handles let them wait.
    ~TwoHandleReading();
    TwoHandleReading(const TwoHandleReading&) = delete;
    TwoHandleReading& operator=(const TwoHandleReading&) = delete;

    // Reads `want` bytes at `position` into the block, on a copy that is free. `bytes` is what the caller
    // asked for before it was widened to whole sectors; the wait is worked out from it. *count receives how
    // many came: 0 when the copies were slow or failed. False when no copy could be asked, as both are busy
    // or memory lacks; *count is 0 then.
    //
    // The block is made large enough. The memory in it afterwards may be other memory than before, or none
    // where nothing came, as a slow reader keeps what it was given.
    bool Read(uint64 position, uint32 want, uint32 bytes, AlignedBuffer& block, uint32* count) noexcept;

    // Waits at most `milliseconds`, 0 only looks. True when the reader of this copy (0 or 1) is idle; then
    // the calling thread may use its file until the next Read.
    bool WaitForIdle(int copy, uint32 milliseconds) const noexcept;

private:
    friend struct TwoHandleReadingInspector;

    TwoHandleReading(const TwoCopies& copies, SReadRate& rate) noexcept;
    bool MakeEventsAndThreads() noexcept;
    uint32 WaitFor(uint32 bytes, bool alone) const noexcept;
    template <class... Arguments>
    void Message(const wchar_t* format, Arguments... arguments) const noexcept;

    const TwoCopies m_copies;
    SReadRate& m_ReadRate;         // speed of File1
    int m_nLastFile = -1;          // copy used last
    void* m_hReaderQuit = nullptr; // manual-reset, ends both readers
    CopyReader m_reader[2];
};

} // namespace vxcio
