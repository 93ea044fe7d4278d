// SoftFileHandle.h - the one class through which sources and sinks touch a file: a small file API over the
// system layer, or over a host's own functions where the name carries a table.
//
// Made by new, freed by delete, which closes. One thread at a time drives a handle. Every operation but the
// position and the size gives a status (Status.h); a status is sticky:
//
//   VXC_STATUS_TIME_OUT   stops ReadFile, WriteFile and SetFilePointer before they touch anything
//   any nonzero status    stops SetEndofFile and GetFileSize; a read or write error stays until a close or
//                         SetEndofFile, in thread mode until the next operation that a worker carries out
//
// Direct mode calls the file on the caller's thread with no copy. In thread mode worker threads do that, and
// the caller waits for them with a limit: a disk that stops answering holds a worker, never the caller. When
// the limit passes, the operation gives VXC_STATUS_TIME_OUT, the disk is entered in the fault table, and the
// worker keeps all it was given; no byte of the caller's memory is written afterwards. The handle can be
// closed, deleted and opened again at once. What runs when stands in docs/threading.md.
//
// A thread for reads, writes and seeks each is made by the first such operation and ends with the close;
// opening, closing, cutting and asking for the size have a thread for each call. When a thread or its memory
// lacks, the operation fails with its own error.
#pragma once

#include "filehandle/FileRecord.h"
#include "filehandle/FileWorker.h"
#include "filehandle/OneShotWorker.h"
#include "frame/AlignedBlock.h"
#include "frame/Types.h"

#include <atomic>

namespace vxcio {
struct SoftFileHandleInspector; // a door for tests
}

class CQLSoftFileHandle {
public:
    CQLSoftFileHandle() noexcept;
    ~CQLSoftFileHandle();
    CQLSoftFileHandle(const CQLSoftFileHandle&) = delete;
    CQLSoftFileHandle& operator=(const CQLSoftFileHandle&) = delete;

    // Opens a file; a handle that is open is closed first. The name may be tagged; its table is copied
    // before this returns. Null counts as an empty name. threadMode asks for worker threads; write access
    // asks for them too when the setting "WriteHandleTimeOut" is given. After a failure the handle is
    // closed by CloseFileHandle or the next CreateFile. lpSecurityAttributes goes to the system as it is,
    // on a worker perhaps that the caller has given up: what it points to must stay.
    uint32 CreateFile(const wchar_t* fileName, uint32 dwDesiredAccess, uint32 dwShareMode,
                      void* lpSecurityAttributes, uint32 dwCreationDisposition, uint32 dwFlagsAndAttributes,
                      void* hTemplateFile, uint32 threadMode) noexcept;

    // *bytesRead, if given, receives the count, also after a failure; short at the end of the file. 0 bytes
    // touch nothing and give the status. Without an open file: VXC_STATUS_READ, count 0.
    uint32 ReadFile(void* buffer, uint32 bytes, uint32* bytesRead, _VXC_OVERLAPPED* overlapped) noexcept;

    // As ReadFile into the block, whose size is at least `bytes`; but the memory goes with the request, so
    // that no copy is made in thread mode. After a time-out the memory stays with the stuck worker and the
    // block comes back empty.
    uint32 ReadBlock(vxcio::AlignedBuffer& block, uint32 bytes, uint32* bytesRead) noexcept;

    // *bytesWritten receives the count, except when the handle had timed out or bytes is 0, which gives 0.
    // A short write is a failure. Without an open file: VXC_STATUS_WRITE, count 0.
    uint32 WriteFile(const void* buffer, uint32 bytes, uint32* bytesWritten,
                     _VXC_OVERLAPPED* overlapped) noexcept;

    // Methods 0 start, 1 current, 2 end. The new position or -1; in direct mode the status stays as it is.
    // After a time-out the position that was asked for: only the status tells.
    int64 SetFilePointer(uint64 position, uint32 method) noexcept;

    // Cuts the file at the file pointer, unless the status is nonzero, and clears the status.
    void SetEndofFile() noexcept;

    // The size in bytes, 0 when the status is nonzero or nothing is open.
    uint64 GetFileSize() noexcept;

    // Closes and clears the status. Safe to repeat.
    uint32 CloseFileHandle() noexcept;

    // Turns the repeat of short reads on: up to ten more attempts, one second apart. The former value.
    uint32 SetRepeat(uint32 enable) noexcept;

private:
    friend struct vxcio::SoftFileHandleInspector;

    // Where a read goes: into the caller's memory, or into a block that travels with the request.
    struct ReadTarget {
        void* buffer;
        vxcio::AlignedBuffer* block; // null for the caller's memory
        _VXC_OVERLAPPED* overlapped;
    };

    vxcio::SCreateFile* NewRecord(const wchar_t* plainName, uint32 dwDesiredAccess, uint32 dwShareMode,
                                  void* lpSecurityAttributes, uint32 dwCreationDisposition,
                                  uint32 dwFlagsAndAttributes, void* hTemplateFile) noexcept;
    uint32 ReadInto(const ReadTarget& target, uint32 bytes, uint32* bytesRead) noexcept;
    void ReadOnce(const ReadTarget& target, uint32 bytes, uint32* done) noexcept;
    void LogBitrate(uint32 requested, uint32 started) noexcept;
    void CloseDirectly() noexcept;

    // Thread mode (SoftFileHandleThreads.cpp); a record is there.
    uint32 CreateByWorker(bool tableIsGood) noexcept;
    void ReadByWorker(const ReadTarget& target, uint32 bytes, bool isLast, uint32* done) noexcept;
    bool SendRead(const ReadTarget& target, uint32 bytes) noexcept;
    bool SendWrite(const void* buffer, uint32 bytes) noexcept;
    void WriteByWorker(const void* buffer, uint32 bytes, uint32* done) noexcept;
    int64 SeekByWorker(uint64 position, uint32 method) noexcept;
    void CutByWorker() noexcept;
    uint64 SizeByWorker() noexcept;
    void CloseByWorkers() noexcept;
    void StopWorkers() noexcept;
    void CloseRecordByWorker() noexcept;
    bool IsAnyWorkerLeft() const noexcept;
    void TakeStatus(uint32 status) noexcept;
    void MarkTimeOut() noexcept;

    std::atomic<uint32> m_nStatus{0};
    uint32 bFileHandle_Thread_Mode = 0;
    vxcio::SCreateFile* m_pSCreateFile = nullptr; // held; null when closed
    std::atomic<uint32> m_bReadRepeat{0};
    uint32 m_dwOpenWait; // milliseconds, as the other waits
    uint32 m_dwWriteWait;
    uint32 m_dwReadWait;
    uint32 m_dwSeekWait;
    vxcio::Ref<vxcio::SharedEvent> m_hQuitEvent; // tells all workers to leave
    vxcio::OneShotWorker m_createWorker{vxcio::OneShotWorker::Kind::Create};
    vxcio::OneShotWorker m_setEndWorker{vxcio::OneShotWorker::Kind::SetEnd};
    vxcio::OneShotWorker m_getSizeWorker{vxcio::OneShotWorker::Kind::GetSize};
    vxcio::FileWorker m_writeWorker{vxcio::FileWorker::Kind::Write};
    vxcio::FileWorker m_readWorker{vxcio::FileWorker::Kind::Read};
    vxcio::FileWorker m_seekWorker{vxcio::FileWorker::Kind::Seek};
    uint64 m_qwBitrateBytes = 0; // asked for in the present measuring period
    uint64 m_qwBitrateBusy = 0;  // milliseconds spent reading in it
    uint64 m_qwBitrateStart = 0; // tick count at its first read, 0 when none
};
