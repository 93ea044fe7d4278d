// OneShotWorker.h - a thread for one operation of a file handle: create, close, cut or size.
#pragma once

#include "filehandle/FileRecord.h"
#include "filehandle/HandOver.h"
#include "frame/Counted.h"
#include "frame/Types.h"

namespace vxcio {

// What one operation on a record gives.
struct OneShotAnswer {
    uint32 dwStatus = 0; // goes in as the record's status so far
    uint64 qwFileSize = 0;
    bool clearsPosition = false; // the record's known position becomes 0
};

// The operations themselves, on the calling thread. They look at the fault table first. Opening is the only
// one that writes to the record (hFile).
void CreateFileWork(SCreateFile& record, OneShotAnswer& answer) noexcept;
void CloseFileWork(SCreateFile& record, OneShotAnswer& answer) noexcept;
void SetEndofFileWork(SCreateFile& record, OneShotAnswer& answer) noexcept;
void GetFileSizeWork(SCreateFile& record, OneShotAnswer& answer) noexcept;

// What caller and thread share. The answer is the thread's until it is published.
struct OneShotCall : Counted<OneShotCall> {
    Ref<SCreateFile> record;
    HandOver handOver;
    OneShotAnswer answer;
};

// The caller's side. Driven by one thread.
class OneShotWorker {
public:
    enum class Kind { Create, Close, SetEnd, GetSize };
    enum class Result { InTime, TimedOut, NotStarted };

    explicit OneShotWorker(Kind kind) noexcept : m_kind(kind) {}
    OneShotWorker(const OneShotWorker&) = delete;
    OneShotWorker& operator=(const OneShotWorker&) = delete;

    // Runs the operation on a thread of its own and waits for its end. In time: `answer` holds its answer.
    // After a time-out the thread stays, to be joined or left behind.
    Result Run(SCreateFile& record, uint32 milliseconds, OneShotAnswer& answer) noexcept;

    // From a time-out to Join or LeaveBehind.
    bool IsStuck() const noexcept { return m_hThread != nullptr; }
    // Waits for the end of a stuck thread. True when it ended; `answer` holds what it found.
    bool Join(uint32 milliseconds, OneShotAnswer& answer) noexcept;
    // Lets go of a stuck thread, with all it holds.
    void LeaveBehind() noexcept;

private:
    void Forget() noexcept;

    const Kind m_kind;
    void* m_hThread = nullptr;
    Ref<OneShotCall> m_call;
};

} // namespace vxcio
