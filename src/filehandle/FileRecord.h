// FileRecord.h - the record behind a file handle, and the operations on it that touch the file.
//
// The record is what a worker thread shares with its caller, so it owns all it needs: the name, the
// arguments, its own copy of a host's table. It is held by reference count; the last holder frees it. The
// file itself is closed by its handle alone, never with the record.
//
// Name, arguments and table do not change once the open began. hFile is written by whoever opens and read
// only after that has ended. The fields of the caller's side are touched by the caller's thread alone.
#pragma once

#include "filehandle/CallerFileFunctions.h"
#include "frame/AlignedBlock.h"
#include "frame/Counted.h"
#include "frame/PlatformTypes.h"
#include "frame/Types.h"

#include <string>

namespace vxcio {

inline constexpr uint64 kUnknownPosition = ~uint64{0};

// A buffer for the text of an error, as all callers of the system layer give it.
inline constexpr int kErrorTextCapacity = 512;

struct ErrorText {
    wchar_t text[kErrorTextCapacity] = {};
};

// Text of the last error of the calling thread.
ErrorText LastErrorText() noexcept;

// VXC_STATUS_OPEN_WRITE for write access, also with read access, else VXC_STATUS_OPEN_READ.
uint32 OpenFailureStatus(uint32 desiredAccess) noexcept;

struct SCreateFile : Counted<SCreateFile> {
    void* hFile = VXC_INVALID_HANDLE;
    std::wstring szFileName; // plain name; its first character names the drive
    uint32 dwDesiredAccess = 0;
    uint32 dwShareMode = 0;
    VXC_SECURITY_ATTRIBUTES* lpSecurityAttributes = nullptr;
    uint32 dwCreationDisposition = 0;
    uint32 dwFlagsAndAttributes = 0; // without VXC_FILE_FLAG_KEEP_WINDOW
    void* hTemplateFile = nullptr;
    bool hasCallbacks = false;
    IOCallbackSet callbacks = {}; // own copy, when hasCallbacks

    // The caller's side.
    uint64 qwPosition = kUnknownPosition; // file position as far as known
    uint32 dwStatus = 0;                  // of the last operation of a worker
    AlignedBuffer transferBuffer;         // carries data between caller and worker; goes with each request

    // A record held once; null when memory lacks.
    static SCreateFile* Make(const wchar_t* plainName) noexcept;

    // What the fault table knows the disk by.
    wchar_t Drive() const noexcept { return szFileName.c_str()[0]; }

    // Opens the file and gives 0 or OpenFailureStatus of its access; hFile is VXC_INVALID_HANDLE after a
    // failure.
    uint32 Open() noexcept;

    // Transfers; true on success. *done never exceeds bytes. Errors of a host are logged, those of the
    // system are left to VXC_GetLastError.
    bool Read(void* buffer, uint32 bytes, uint32* done, _VXC_OVERLAPPED* overlapped) noexcept;
    bool Write(const void* buffer, uint32 bytes, uint32* done, _VXC_OVERLAPPED* overlapped) noexcept;

    // Moves the file pointer. `errorNumber` is the host's, 0 without one.
    uint64 Move(uint64 position, uint32 method, uint32* errorNumber) noexcept;
    // True for a host's table without the function, whose every seek fails.
    bool LacksSeek() const noexcept { return hasCallbacks && callbacks.pfnSetFilePointer == nullptr; }

    // Cuts the file at the file pointer.
    void Cut() noexcept;

    // Size of the file; 0 when the system does not tell.
    uint64 Size() noexcept;

    // Closes the file of a host, with its log lines. Only when hasCallbacks.
    void CloseByCallbacks() noexcept;

private:
    friend class Counted<SCreateFile>;
    SCreateFile() = default;
    ~SCreateFile() = default;
    // Logs an error number that a host's function gave; `format` holds one %s for its text.
    void LogCallbackError(const wchar_t* format, uint32 errorNumber) const noexcept;
};

} // namespace vxcio
