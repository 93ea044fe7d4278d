// FileWorker.h - a long-lived thread that carries out one kind of request of a file handle: reads, writes or
// seeks.
//
//   caller                                        worker
//   fills the request, sets m_hRequest  ------->  takes it; works on the file
//   waits for m_hDone, with a limit     <-------  fills the answer, sets m_hDone
//
// After a time-out the request is abandoned: what it was given (memory, record, events) belongs to the worker
// until that comes back, and no further request is sent. A worker that finds its quit event set leaves; a
// read or write worker looks at it when its request event is set, a seek worker waits for both.
#pragma once

#include "filehandle/AnswerLook.h"
#include "filehandle/FileRecord.h"
#include "filehandle/HandOver.h"
#include "frame/AlignedBlock.h"
#include "frame/Counted.h"
#include "frame/Types.h"

namespace vxcio {

// What caller and worker share. The fields of request and answer belong to the caller, but to the worker from
// the sending of a request to its answer.
struct WorkerLink : Counted<WorkerLink> {
    Ref<SCreateFile> record;
    Ref<SharedEvent> quit;    // manual-reset; one for all workers of a handle
    Ref<SharedEvent> request; // auto-reset, as the next
    Ref<SharedEvent> done;
    HandOver handOver;

    uint32 dwBytesRequested = 0;
    uint64 qwPosition = 0;   // of a seek: what is asked, then where the file stands
    uint32 dwMoveMethod = 0; // of a seek
    AlignedBuffer memory;    // of a read or write
    uint32 dwBytesDone = 0;
    uint32 dwStatus = 0;
};

// The caller's side. Driven by one thread. Idle and without a thread until Start.
class FileWorker {
public:
    enum class Kind { Read, Write, Seek };

    explicit FileWorker(Kind kind) noexcept : m_kind(kind) {}
    FileWorker(const FileWorker&) = delete;
    FileWorker& operator=(const FileWorker&) = delete;

    bool IsStarted() const noexcept { return m_hThread != nullptr; }
    // Makes events and thread. False when something lacks; then nothing is left of it.
    bool Start(SCreateFile& record, const Ref<SharedEvent>& quit) noexcept;

    // Request and answer. Only when started, and not from Send to the answer.
    WorkerLink& Link() const noexcept { return *m_link; }

    // False when the worker could not be told of the request; then there is none.
    bool Send() noexcept;
    // From Send to the answer, or to Abandon.
    bool IsUnderWay() const noexcept { return m_link && m_link->handOver.IsUnderWay(); }
    // How to wait for an answer; that of a large transfer is looked for first (AnswerLook.h).
    enum class Waiting { Plain, LookFirst };
    // Waits for the answer. False when it did not come within the limit; the request stays under way.
    bool Await(uint32 milliseconds, Waiting waiting = Waiting::Plain) noexcept;
    // Gives the request up. False when the answer has come in this moment; it is accepted then.
    bool Abandon() noexcept;

    // Asks the worker to leave, where its quit event does not reach it, and waits for its end. True when it
    // ended; then it can be started anew. `lateStatus` receives the error of an answer that came after its
    // request was given up.
    bool End(uint32 milliseconds, uint32* lateStatus) noexcept;
    // Lets go of a worker that did not end. It leaves by itself when it comes back.
    void LeaveBehind() noexcept;

private:
    void Forget() noexcept;

    const Kind m_kind;
    void* m_hThread = nullptr;
    Ref<WorkerLink> m_link;
    AnswerLook m_look;
};

} // namespace vxcio
