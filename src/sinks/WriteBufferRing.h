// WriteBufferRing.h - the ring of write buffers and the thread that writes them, so that a caller goes on
// while the disk works.
//
//   caller                                            writer thread
//   fills its node                                    waits for hDataEvent of the node it serves next
//   full: waits for hFreeEvent of the next node,
//         at most 100 ms
//         sets hDataEvent  ------------------------>  writes the node, dwUsed = 0
//         takes the next node                         sets hFreeEvent, goes to the next node
//
//   flush: bFlushRequest, sets hDataEvent  -------->  pads and writes the node, sets hFreeEvent and stays on
//          waits for hFreeEvent of its own node  <--  it
//
// A node belongs to the caller from its hFreeEvent on and to the thread from its hDataEvent on. So does the
// file: it is the thread's from the first hand-over until a flush has come back, and then the caller's.
#pragma once

#include "filehandle/SoftFileHandle.h"
#include "frame/AlignedBlock.h"
#include "frame/RingEvent.h"
#include "frame/Types.h"

#include <memory>
#include <optional>

namespace vxcio {

struct WriteBufferRingInspector; // a door for tests

struct WriteBufferNode {
    AlignedBuffer pBuffer;
    uint32 dwCapacity = 0;
    uint32 dwUsed = 0;
    RingEvent hFreeEvent;
    RingEvent hDataEvent;
    uint32 bFlushRequest = 0; // the node goes out although partial, and the thread stays on it
    int64 nFilePos = -1;      // of the first byte
    uint32 bWriteOK = 1;      // what became of its last write, and of all before it
    WriteBufferNode* pNext = nullptr;
};

struct WriterSetup {
    CQLSoftFileHandle* file;    // open; outlives the ring
    const AlignedBuffer* stage; // room for one sector while the thread pads; null: nothing is padded
    uint32 sectorSize;
};

// Driven by one thread.
class WriteBufferRing {
public:
    // `blocks` nodes of blockSize bytes, at least one, and the thread. Null when something lacks; then
    // nothing is left of it.
    static std::unique_ptr<WriteBufferRing> Start(const WriterSetup& setup, uint32 blockSize,
                                                  uint32 blocks) noexcept;
    // The thread must have been stopped.
    ~WriteBufferRing();
    WriteBufferRing(const WriteBufferRing&) = delete;
    WriteBufferRing& operator=(const WriteBufferRing&) = delete;

    // The caller's node.
    WriteBufferNode& Node() const noexcept { return *m_pWriteBufferNod; }

    // Hands the caller's node over and takes the next one. Full nodes of a run wait for it first, for a
    // while, so that the disk gets them in rows.
    enum class Order { HandOverFirst, WaitFirst };
    enum class Outcome {
        Good,
        WriteFailed, // of a node that was handed over before
        NoNode,      // the next one could not be had; the ring is good for nothing more than its end
    };
    Outcome Advance(Order order) noexcept;

    // Has all that the nodes hold written. Comes back when it is, whatever became of it; false when it
    // could not be waited for.
    bool Flush() noexcept;

    // Tells the thread to leave: nodes that it has not begun are dropped.
    void AskToEnd() noexcept;
    void WaitForEnd() noexcept;
    void CloseThread() noexcept;

private:
    friend struct WriteBufferRingInspector;

    explicit WriteBufferRing(const WriterSetup& setup) noexcept : m_setup(setup) {}
    bool MakeNodes(uint32 blockSize, uint32 blocks) noexcept;
    bool StartThread() noexcept;
    uint32 RunThread() noexcept;
    bool Serve(WriteBufferNode& node) noexcept;
    bool Pad(WriteBufferNode& node) noexcept;
    bool IsExitSet() const noexcept;

    const WriterSetup m_setup;
    std::unique_ptr<WriteBufferNode[]> m_pNodes;
    uint32 m_nNodeCount = 0;
    WriteBufferNode* m_pWriteBufferNod = nullptr; // the caller's
    WriteBufferNode* m_pWriteThreadNod = nullptr; // the thread's alone
    std::optional<RingEvent> m_hExitEvent;        // manual-reset
    void* m_hWriteThread = nullptr;
};

} // namespace vxcio
