#include "filehandle/FileRecord.h"

#include "frame/Log.h"
#include "frame/Status.h"

#include <algorithm>
#include <new>

namespace vxcio {

namespace {

// What a function that the host's table lacks answers: the number of an invalid function.
constexpr uint32 kMissingFunction = 1;

// What a host's function that throws all the same answers: the number of a general failure.
constexpr uint32 kThrewInstead = VXC_ERROR_GEN_FAILURE;

// The call of a host's function, or `thrown` when it threw: it may run on a thread with nobody to catch that.
template <class Call, class Result>
Result Guarded(Call call, Result thrown) noexcept {
    try {
        return call();
    } catch (...) {
        return thrown;
    }
}

// The error number of a host's function, which stands in the low 32 bits of its result.
template <class Function, class... Arguments>
uint32 ErrorOf(Function function, Arguments... arguments) {
    if (function == nullptr) {
        return kMissingFunction;
    }
    return Guarded([&] { return static_cast<uint32>(function(arguments...)); }, kThrewInstead);
}

constexpr uint32 Low(uint64 value) {
    return static_cast<uint32>(value);
}
constexpr int32 High(uint64 value) {
    return static_cast<int32>(static_cast<uint32>(value >> 32));
}
constexpr uint64 Join(int32 high, uint32 low) {
    return (uint64{static_cast<uint32>(high)} << 32) | low;
}

} // namespace

ErrorText LastErrorText() noexcept {
    ErrorText error;
    VXC_GetLastErrorStringW(error.text, kErrorTextCapacity);
    error.text[kErrorTextCapacity - 1] = 0;
    return error;
}

SCreateFile* SCreateFile::Make(const wchar_t* plainName) noexcept {
    SCreateFile* const record = new (std::nothrow) SCreateFile;
    if (record == nullptr) {
        return nullptr;
    }
    try {
        record->szFileName = plainName;
    } catch (...) {
        record->Release();
        return nullptr;
    }
    return record;
}

uint32 OpenFailureStatus(uint32 desiredAccess) noexcept {
    return VXC_STATUS_OPEN_READ | ((desiredAccess >> 28) & 4u);
}

void SCreateFile::LogCallbackError(const wchar_t* format, uint32 errorNumber) const noexcept {
    ErrorText error;
    if (callbacks.pfnErrorText != nullptr) {
        Guarded(
            [&] {
                callbacks.pfnErrorText(hFile, error.text, errorNumber);
                return 0;
            },
            0);
        error.text[kErrorTextCapacity - 1] = 0;
    }
    LogError(format, static_cast<const wchar_t*>(error.text));
}

uint32 SCreateFile::Open() noexcept {
    if (!hasCallbacks) {
        hFile = VXC_CreateFileW(szFileName.c_str(), dwDesiredAccess, dwShareMode, lpSecurityAttributes,
                                dwCreationDisposition, dwFlagsAndAttributes, hTemplateFile);
    } else {
        LogTrace(L"will IOCallbackSet->pfnOpen(%s, %d)", szFileName.c_str(), dwFlagsAndAttributes);
        uint32 errorNumber = kMissingFunction;
        if (callbacks.pfnOpen != nullptr) {
            errorNumber = Guarded(
                [&] {
                    uint32 error = 0;
                    hFile = callbacks.pfnOpen(szFileName.c_str(), dwFlagsAndAttributes, &error);
                    return error;
                },
                kThrewInstead);
        }
        LogTrace(L"end  IOCallbackSet->pfnOpen() return 0x%08x ErrorNo = %d", Low32(hFile), errorNumber);
        if (errorNumber != 0) {
            LogCallbackError(L"IOCallbackSet->pfnOpen return Err %s", errorNumber);
            hFile = VXC_INVALID_HANDLE;
        }
    }
    return hFile == VXC_INVALID_HANDLE ? OpenFailureStatus(dwDesiredAccess) : VXC_STATUS_OK;
}

bool SCreateFile::Read(void* buffer, uint32 bytes, uint32* done, _VXC_OVERLAPPED* overlapped) noexcept {
    if (!hasCallbacks) {
        unsigned long moved = 0;
        const int ok = VXC_ReadFile(hFile, buffer, bytes, &moved, overlapped);
        *done = static_cast<uint32>(std::min<unsigned long>(moved, bytes));
        return ok != 0;
    }
    uint32 moved = 0;
    const uint32 errorNumber = ErrorOf(callbacks.pfnRead, hFile, buffer, bytes, &moved);
    *done = std::min(moved, bytes);
    if (errorNumber != 0) {
        LogCallbackError(L"IOCallbackSet->pfnRead return Err %s", errorNumber);
    }
    return errorNumber == 0;
}

bool SCreateFile::Write(const void* buffer, uint32 bytes, uint32* done,
                        _VXC_OVERLAPPED* overlapped) noexcept {
    if (!hasCallbacks) {
        unsigned long moved = 0;
        const int ok = VXC_WriteFile(hFile, buffer, bytes, &moved, overlapped);
        *done = static_cast<uint32>(std::min<unsigned long>(moved, bytes));
        return ok != 0;
    }
    uint32 moved = 0;
    const uint32 errorNumber = ErrorOf(callbacks.pfnWrite, hFile, buffer, bytes, &moved);
    *done = std::min(moved, bytes);
    if (errorNumber != 0) {
        LogCallbackError(L"IOCallbackSet->pfnWrite return Err %s", errorNumber);
    }
    return errorNumber == 0;
}

uint64 SCreateFile::Move(uint64 position, uint32 method, uint32* errorNumber) noexcept {
    *errorNumber = 0;
    int32 high = High(position);
    if (!hasCallbacks) {
        const uint32 low = VXC_SetFilePointer(hFile, static_cast<int32>(Low(position)), &high, method);
        return Join(high, low);
    }
    uint32 low = VXC_INVALID_SET_FILE_POINTER;
    if (callbacks.pfnSetFilePointer == nullptr) {
        *errorNumber = kMissingFunction;
    } else {
        *errorNumber = Guarded(
            [&] {
                uint32 error = 0;
                low = callbacks.pfnSetFilePointer(hFile, Low(position), &high, method, &error);
                return error;
            },
            kThrewInstead);
    }
    if (*errorNumber != 0) {
        LogCallbackError(L"IOCallbackSet->pfnSetFilePointer return Err %s", *errorNumber);
    }
    return Join(high, low);
}

void SCreateFile::Cut() noexcept {
    if (!hasCallbacks) {
        VXC_SetEndOfFile(hFile);
        return;
    }
    const uint32 errorNumber = ErrorOf(callbacks.pfnSetEndofFile, hFile);
    if (errorNumber != 0) {
        LogCallbackError(L"IOCallbackSet->pfnSetEndofFile return Err %s", errorNumber);
    }
}

uint64 SCreateFile::Size() noexcept {
    if (!hasCallbacks) {
        uint32 high = 0;
        const uint32 low = VXC_GetFileSize(hFile, &high);
        if (low == 0xFFFFFFFFu && VXC_GetLastError() != 0) {
            return 0;
        }
        return Join(static_cast<int32>(high), low);
    }
    uint32 errorNumber = kMissingFunction;
    uint64 size = 0;
    if (callbacks.pfnGetFileSize != nullptr) {
        errorNumber = Guarded(
            [&] {
                uint32 error = 0;
                size = callbacks.pfnGetFileSize(hFile, &error);
                return error;
            },
            kThrewInstead);
    }
    if (errorNumber != 0) {
        LogCallbackError(L"IOCallbackSet->pfnGetFileSize return Err %s", errorNumber);
    }
    return size;
}

void SCreateFile::CloseByCallbacks() noexcept {
    LogTrace(L"will IOCallbackSet->pfnCloseFile(0x%08x)", Low32(hFile));
    const uint32 errorNumber = ErrorOf(callbacks.pfnCloseFile, hFile);
    LogTrace(L"end  IOCallbackSet->pfnCloseFile(0x%08x) ErrorNo = %d", Low32(hFile), errorNumber);
    if (errorNumber != 0) {
        LogCallbackError(L"IOCallbackSet->pfnCloseFile() return Err %s", errorNumber);
    }
}

} // namespace vxcio
