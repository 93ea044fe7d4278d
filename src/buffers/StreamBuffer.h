// StreamBuffer.h - a byte ring between one producer and one consumer.
//
//   producer                                            consumer
//   PutData, any sizes  -->  [ ring of 1 MiB or more ]  -->  GetData   takes bytes out
//   SetEndOfInput                                            ShowData  looks at them first
//
// In blocking mode either side sleeps until the other has moved; without threads nothing ever blocks. What
// the consumer gets lies in one piece, also where it wraps around the end of the ring.
#pragma once

#include "buffers/StreamState.h"
#include "frame/Export.h"

class CInnerSoftStreamBuffer;

// The plug-in makes it, calls Init before all else and Close at the end, and frees it. Close is a duty: the
// destructor frees neither the ring nor what GetData and ShowData gave out, which stays readable.
//
// Copies share one ring, which any of them may use: a producer may hold one and a consumer another. They may
// be destroyed in any order.
//
// Threads, in blocking mode: one thread puts, one gets and shows; SetEndOfInput and ReSetEndOfInput may be
// called on any. Init and Close only while nobody else is inside, but one who sleeps there or is about to: he
// is not woken any more, nor is memory of his touched. Who has got the end does not know by that whether the
// call that made it has come back: join the other threads before Close, Init and destruction. Without threads
// the object stays on one thread.
//
// Before Init, after Close and where Init found no memory there is no ring: PutData gives 0 without threads
// and 0x80000201 in blocking mode and after SetEndOfInput, GetData and ShowData give -1, or 0 with
// PLUG_STREAMSTATE_END after SetEndOfInput. Nothing blocks then. Nothing here throws.
class VXCSOFTCODECIO_API CSoftStreamBuffer {
public:
    // In blocking mode.
    CSoftStreamBuffer() noexcept;
    // Not 0: in blocking mode; 0: without threads.
    explicit CSoftStreamBuffer(int blocking) noexcept;
    // Shares the ring of the other one.
    CSoftStreamBuffer(const CSoftStreamBuffer& other) noexcept;
    CSoftStreamBuffer& operator=(const CSoftStreamBuffer& other) noexcept;
    virtual ~CSoftStreamBuffer();

    // Makes an empty ring of `size` bytes, at least 1048576, with its input open. What an earlier Init made
    // goes as in Close. 0, also where memory lacks.
    int Init(int size) noexcept;

    // Frees all that Init made and what was given out by GetData and ShowData. 0. May be repeated.
    int Close() noexcept;

    // Puts `size` bytes in, which are copied. `state` says whether more follow; it counts once all of them
    // are in. 0, or 0x80000201 after the end of the input. A size below 0 and null data count as no bytes.
    //
    // In blocking mode it sleeps while the ring is full, so a piece may be larger than the ring.
    // Without threads what does not fit is dropped without a word, and `state` with it: still 0.
    //
    // Known corner: a PutData that SetEndOfInput ends while it is inside keeps the lock of the ring. Then
    // neither a GetData or ShowData that needs the ring nor, after ReSetEndOfInput, a PutData comes back;
    // only Init makes the buffer good again. To give up a stream in the middle, let the consumer drain it or
    // stop.
    //
    // A consumer that sleeps may miss a PLUG_STREAMSTATE_END which is given here; SetEndOfInput is always
    // heard.
    int PutData(unsigned char* data, int size, PLUG_STREAMSTATE_ state) noexcept;

    // Takes `size` bytes: `data` points to them until the next GetData, ShowData, Init or Close. The count of
    // bytes, or -1 when it cannot be met now; then nothing was taken. *state, unless null, is
    // PLUG_STREAMSTATE_END when the input has ended and nothing is left behind these bytes, otherwise
    // PLUG_STREAMSTATE_DATA. Bytes that were shown before and are enough come with PLUG_STREAMSTATE_DATA, the
    // last ones too: the end comes with the next call then.
    //
    // In blocking mode it sleeps until all `size` bytes are there; fewer come only at the end of the input.
    // Without threads it gives all or -1, and at the end of the input what is left.
    //
    // While shown bytes wait, they come first, and without a copy where they are enough. Where they are not,
    // and the ring holds fewer than `size` itself, -1 comes in blocking mode too, unless the input has ended;
    // where the ring is empty at the end, what was shown comes alone, with PLUG_STREAMSTATE_END.
    //
    // -1 also for a size below 0 and where memory lacks; `data` may be changed then, but is not to be read.
    int GetData(unsigned char*& data, int size, PLUG_STREAMSTATE_* state) noexcept;

    // Shows the next `size` bytes without taking them: `data` points to them as in GetData, which then gives
    // the same bytes. The count of bytes there, which is less than `size` at the end of the input. Sleeps as
    // GetData does. Without threads, where the ring lacks some of them, only what was shown before, which may
    // be nothing. *state is left alone where enough bytes were shown before, otherwise it is as in GetData.
    //
    // -1 for a size below 0, where memory lacks, and without a ring.
    int ShowData(unsigned char*& data, int size, PLUG_STREAMSTATE_* state) noexcept;

    // The producer's end of the stream: PutData is refused from here on, and both sides wake. Where another
    // thread calls it, bytes of a PutData that is under way still come before the end.
    void SetEndOfInput() noexcept;

    // Opens the input again; what the ring holds stays. Wakes nobody.
    void ReSetEndOfInput() noexcept;

private:
    // Shared by copies. Null where memory lacked: PutData is refused then, and gets are -1.
    CInnerSoftStreamBuffer* m_pInner;
};
