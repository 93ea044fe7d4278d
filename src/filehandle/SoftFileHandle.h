// SoftFileHandle.h - the one class through which sources and sinks touch a file: a small file API over the
// system layer, or over a host's own functions where the name carries a table.
//
// Made by new, freed by delete, which closes. One thread at a time drives a handle. Every operation but the
// position and the size gives a status (Status.h); a status is sticky:
//
//   VXC_STATUS_TIME_OUT   stops ReadFile, WriteFile and SetFilePointer before they touch anything
//   any nonzero status    stops SetEndofFile and GetFileSize; a read or write error stays until a close or
//                         SetEndofFile, so a later good read returns it together with its full count
//
// Direct mode, the only one of this version, calls the file on the caller's thread with no copy. An open
// that needs worker threads gives VXC_STATUS_NOT_AVAILABLE.
#pragma once

#include "filehandle/FileRecord.h"
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
    // closed by CloseFileHandle or the next CreateFile.
    uint32 CreateFile(const wchar_t* fileName, uint32 dwDesiredAccess, uint32 dwShareMode,
                      void* lpSecurityAttributes, uint32 dwCreationDisposition, uint32 dwFlagsAndAttributes,
                      void* hTemplateFile, uint32 threadMode) noexcept;

    // *bytesRead, if given, receives the count, also after a failure; short at the end of the file. 0 bytes
    // touch nothing. Without an open file: VXC_STATUS_READ, count 0.
    uint32 ReadFile(void* buffer, uint32 bytes, uint32* bytesRead, _VXC_OVERLAPPED* overlapped) noexcept;

    // As ReadFile into the block, whose size is at least `bytes`; but the memory goes with the request, so
    // that no copy is made in thread mode. After a time-out the memory stays with the stuck worker and the
    // block comes back empty.
    uint32 ReadBlock(vxcio::AlignedBuffer& block, uint32 bytes, uint32* bytesRead) noexcept;

    // *bytesWritten receives the count, except when the handle had timed out or bytes is 0, which gives 0.
    // A short write is a failure. Without an open file: VXC_STATUS_WRITE, count 0.
    uint32 WriteFile(const void* buffer, uint32 bytes, uint32* bytesWritten,
                     _VXC_OVERLAPPED* overlapped) noexcept;

    // Methods 0 start, 1 current, 2 end. The new position or -1; the status stays as it is.
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

    void LogBitrate(uint32 requested, uint32 started) noexcept;
    bool ReadOnce(void* buffer, uint32 bytes, uint32* done, _VXC_OVERLAPPED* overlapped) noexcept;

    std::atomic<uint32> m_nStatus{0};
    uint32 bFileHandle_Thread_Mode = 0;
    vxcio::SCreateFile* m_pSCreateFile = nullptr; // held; null when closed
    std::atomic<uint32> m_bReadRepeat{0};
    uint32 m_dwOpenWait; // milliseconds, as the other waits
    uint32 m_dwWriteWait;
    uint32 m_dwReadWait;
    uint32 m_dwSeekWait;
    uint64 m_qwBitrateBytes = 0; // asked for in the present measuring period
    uint64 m_qwBitrateBusy = 0;  // milliseconds spent reading in it
    uint64 m_qwBitrateStart = 0; // tick count at its first read, 0 when none
};
