// TwoHandleReading.h - reading one clip from two copies of it: each copy has a reader thread, each read goes
// to a copy that is free, and a read that takes longer than the speed measured so far allows is made again
// on the other copy.
#pragma once

#include "filehandle/SoftFileHandle.h"
#include "frame/AlignedBlock.h"
#include "frame/Types.h"
#include "frame/VXCString.h"
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
    // Null when memory, events or threads lack.
    static std::unique_ptr<TwoHandleReading> Start(const TwoCopies& copies, SReadRate& rate) noexcept;
    // Ends the readers and waits for them, File1's first; as long as their handles let them wait.
    ~TwoHandleReading();
    TwoHandleReading(const TwoHandleReading&) = delete;
    TwoHandleReading& operator=(const TwoHandleReading&) = delete;

    // Reads `want` bytes at `position` into the block, on a copy that is free. `bytes` is what the caller
    // asked for before it was widened to whole sectors; the wait is worked out from it. The count; 0 when
    // both copies are busy, slow or failed. The block is made large enough; the memory in it afterwards may
    // be other memory than before, as a slow reader keeps what it was given.
    uint32 Read(uint64 position, uint32 want, uint32 bytes, AlignedBuffer& block) noexcept;

    // Waits at most `milliseconds`, 0 only looks. True when the reader of this copy (0 or 1) is idle; then
    // the calling thread may use its file until the next Read.
    bool WaitForIdle(int copy, uint32 milliseconds) const noexcept;

private:
    friend struct TwoHandleReadingInspector;
    TwoHandleReading() = default;
};

} // namespace vxcio
