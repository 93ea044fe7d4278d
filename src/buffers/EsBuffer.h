// EsBuffer.h - a queue of whole frames of up to eight elementary streams.
//
// Frames come out in the order they came in, over all streams. The newest frame of each stream is held back
// until the input has ended, so that a receiver knows of each frame whether it is the last of its stream.
//
//            GetDate                                         PutDate
//   readNode -> [frame] -> [frame] -> ... -> [frame] writeNode -> [free] -> [free] -> back to readNode
//
// The nodes form a circle that only grows. Nodes and their buffers are used again, so a steady stream
// allocates nothing once they have grown to size.
#pragma once

#include "buffers/StreamState.h"
#include "frame/Export.h"

class CInnerSoftEsBuffer;

// The plug-in makes it, calls Init, and frees it; the last of several copies closes. Copies share one queue
// and may be destroyed in any order. One thread at a time. Nothing here throws.
class CSoftEsBuffer {
public:
    VXCSOFTCODECIO_API CSoftEsBuffer() noexcept;
    VXCSOFTCODECIO_API CSoftEsBuffer& operator=(const CSoftEsBuffer& other) noexcept;
    // Not an export: it lives on the assignment.
    CSoftEsBuffer(const CSoftEsBuffer& other) noexcept : m_pInner(nullptr) { *this = other; }
    VXCSOFTCODECIO_API ~CSoftEsBuffer();

    // Begins a stream: the input is open and no frame is counted. `defaultSize` is what a node's first buffer
    // gets at least, in bytes. 1. Nodes that are there stay as they are, with the frames in them: call Close
    // first to begin anew. A further use without Close meets the frames of the last one before its own, in
    // every node of it, and counts each of them off: where none of its stream has been put since, the count
    // goes below 0, to 4294967295 (GetFrameCount tells one less before the end of the input).
    VXCSOFTCODECIO_API int Init(int defaultSize) noexcept;

    // Queues a copy of a frame: `size` bytes of `data`, and `extraSize` bytes of `extra` that go with it.
    // 1, or 0 and nothing has changed: size 0 or below, null data, a stream outside 0 to 7, or no memory.
    // An extraSize below 0 or a null extra is taken as no extra bytes. What GetDate gave may be put again,
    // the data as data and the extra bytes as extra bytes. May be called before Init: the default size is 0.
    VXCSOFTCODECIO_API int PutDate(int stream, unsigned char* data, int size, unsigned char* extra,
                                   int extraSize) noexcept;

    // Takes the next frame. `data` and `extra` stay good until their node comes round again, at least until
    // the next PutDate, and until Close. `extraSize` is the most that this node ever had of extra bytes:
    // where that is more than was put now, bytes of an earlier frame follow. `extra` is null where it never
    // had any.
    //
    // 1 with a frame; `state` is PLUG_STREAMSTATE_END with the last frame of its stream after the end of the
    // input, otherwise PLUG_STREAMSTATE_DATA. 0 without one, and `size` is 0:
    //   nothing was ever put, or not since Close          everything else is as it was
    //   the frame at the head is held back                `data` null, PLUG_STREAMSTATE_DATA
    //   the input has ended and its stream is through     `data` null, PLUG_STREAMSTATE_END
    //   the head was taken before, and another frame of   the head is passed over and counted off; `data` is
    //   its stream has come or Init was called since      that of the old frame, `state` as with a frame
    // `stream`, `extra` and `extraSize` are those of the head in all but the first case. A frame at the head
    // that is held back also holds up the frames of other streams behind it.
    VXCSOFTCODECIO_API int GetDate(int& stream, unsigned char*& data, int& size, unsigned char*& extra,
                                   int& extraSize, PLUG_STREAMSTATE_& state) noexcept;

    // Frames of the stream that are ready; the newest is not, before the end of the input. 0 for a stream
    // outside 0 to 7.
    VXCSOFTCODECIO_API unsigned int GetFrameCount(int stream) noexcept;

    // No more frames will come: the newest ones are ready. Only Init takes it back.
    VXCSOFTCODECIO_API void SetEndOfInput() noexcept;

    // Frees all nodes with their buffers. The counts stay until Init.
    VXCSOFTCODECIO_API void Close() noexcept;

private:
    CInnerSoftEsBuffer* m_pInner; // shared by copies; null where memory lacked, and then nothing can be put
};
