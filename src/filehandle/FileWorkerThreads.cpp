// The loops of the long-lived workers.
#include "filehandle/FileWorkerThreads.h"

#include "filehandle/FileWorker.h"
#include "frame/Log.h"
#include "frame/Status.h"

namespace vxcio {

namespace {

// The next request, or false when it is time to leave. Woken by the request event alone: a quit event that is
// set shows only then.
bool NextTransfer(WorkerLink& link) noexcept {
    for (;;) {
        if (!WaitFor(link.request->Handle(), VXC_INFINITE)) {
            continue;
        }
        if (WaitFor(link.quit->Handle(), 0)) {
            return false;
        }
        if (link.handOver.Take()) {
            return true;
        }
    }
}

// The same, woken by either event.
bool NextSeek(WorkerLink& link) noexcept {
    void* const events[] = {link.quit->Handle(), link.request->Handle()};
    for (;;) {
        const uint32 woken = VXC_WaitForMultipleObjects(2, events, 0, VXC_INFINITE);
        if (woken == VXC_WAIT_OBJECT_0) {
            return false;
        }
        if (woken == VXC_WAIT_OBJECT_0 + 1 && link.handOver.Take()) {
            return true;
        }
    }
}

void Read(WorkerLink& link) noexcept {
    SCreateFile& record = *link.record;
    if (record.Read(link.memory.Data(), link.dwBytesRequested, &link.dwBytesDone, nullptr)) {
        return;
    }
    const ErrorText error = LastErrorText();
    LogTrace(L"ReadFile(nNumberOfBytes=%d) error, FileName is[%s], Description is[%s]", link.dwBytesRequested,
             record.szFileName.c_str(), static_cast<const wchar_t*>(error.text));
    link.dwStatus = VXC_STATUS_READ;
}

void Write(WorkerLink& link) noexcept {
    if (link.record->Write(link.memory.Data(), link.dwBytesRequested, &link.dwBytesDone, nullptr) &&
        link.dwBytesDone == link.dwBytesRequested) {
        return;
    }
    const ErrorText error = LastErrorText();
    LogError(L"WriteFile(nNumberOfBytesToWrite[%d] != nNumberOfBytesWritten[%d]) error--%s",
             link.dwBytesRequested, link.dwBytesDone, static_cast<const wchar_t*>(error.text));
    link.dwStatus = VXC_STATUS_WRITE;
}

void Seek(WorkerLink& link) noexcept {
    SCreateFile& record = *link.record;
    uint32 errorNumber = 0;
    const uint64 moved = record.Move(link.qwPosition, link.dwMoveMethod, &errorNumber);
    const bool failed = record.hasCallbacks ? errorNumber != 0 : VXC_GetLastError() != 0;
    if (static_cast<uint32>(moved) == VXC_INVALID_SET_FILE_POINTER && failed) {
        const ErrorText error = LastErrorText();
        LogTrace(L"::SetFilePointer() error(%s)", static_cast<const wchar_t*>(error.text));
        link.dwStatus = VXC_STATUS_READ;
        link.qwPosition = kUnknownPosition;
        return;
    }
    link.qwPosition = moved;
}

uint32 Serve(void* context, bool (*next)(WorkerLink&) noexcept, void (*work)(WorkerLink&) noexcept) noexcept {
    const auto link = Ref<WorkerLink>::Adopt(static_cast<WorkerLink*>(context));
    while (next(*link)) {
        work(*link);
        link->handOver.Publish();
        link->done->Signal();
    }
    return 0;
}

} // namespace

uint32 ReadFileThread(void* link) noexcept {
    return Serve(link, NextTransfer, Read);
}

uint32 WriteFileThread(void* link) noexcept {
    return Serve(link, NextTransfer, Write);
}

uint32 SetFilePointerThread(void* link) noexcept {
    return Serve(link, NextSeek, Seek);
}

} // namespace vxcio
