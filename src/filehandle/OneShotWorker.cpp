#include "filehandle/OneShotWorker.h"

#include "filehandle/DiskFaultTable.h"
#include "filehandle/FileWorkerThreads.h"
#include "frame/Log.h"
#include "frame/Status.h"

#include <new>

namespace vxcio {

namespace {

using Entry = uint32 (*)(void*);

Entry EntryOf(OneShotWorker::Kind kind) noexcept {
    switch (kind) {
    case OneShotWorker::Kind::Create:
        return CreateFileThread;
    case OneShotWorker::Kind::Close:
        return CloseFileThread;
    case OneShotWorker::Kind::SetEnd:
        return SetEndofFileThread;
    case OneShotWorker::Kind::GetSize:
        break;
    }
    return GetFileSizeThread;
}

// True, with a line of `format` (one %s for the name), when the disk of the record is known to be dead.
bool IsOnDeadDisk(const SCreateFile& record, const wchar_t* format, OneShotAnswer& answer) noexcept {
    if (GetDiskStatus(record.Drive()) != 0) {
        return false;
    }
    LogTrace(format, record.szFileName.c_str());
    answer.dwStatus = VXC_STATUS_TIME_OUT;
    return true;
}

uint32 RunCall(void* context, void (*work)(SCreateFile&, OneShotAnswer&) noexcept) noexcept {
    const auto call = Ref<OneShotCall>::Adopt(static_cast<OneShotCall*>(context));
    call->handOver.Take();
    work(*call->record, call->answer);
    call->handOver.Publish();
    return 0;
}

} // namespace

void CreateFileWork(SCreateFile& record, OneShotAnswer& answer) noexcept {
    if (!IsOnDeadDisk(record, L"CQLSoftFileHandle::CreateFileThread() of %s , Find Disk Time out error",
                      answer)) {
        answer.dwStatus = record.Open();
    }
}

void CloseFileWork(SCreateFile& record, OneShotAnswer& answer) noexcept {
    LogTrace(L"CloseFileThread(SCreateFile*:0x%x) begin", Low32(&record));
    // The record goes with its close, so its position needs no change on a dead disk.
    if (!IsOnDeadDisk(record, L"CQLSoftFileHandle::CloseFileThread() of %s , Find Disk Time out error",
                      answer)) {
        if (record.hasCallbacks) {
            record.CloseByCallbacks();
        } else {
            LogTrace(L"CloseFileThread(SCreateFile*:0x%x)--CloseHandle() begin", Low32(&record));
            VXC_CloseFile(record.hFile);
            LogTrace(L"CloseFileThread(SCreateFile*:0x%x)--CloseHandle() end", Low32(&record));
        }
    }
    LogTrace(L"CloseFileThread(SCreateFile*:0x%x) end", Low32(&record));
}

void SetEndofFileWork(SCreateFile& record, OneShotAnswer& answer) noexcept {
    if (IsOnDeadDisk(record, L"CQLSoftFileHandle::SetEndofFileThread() of %s , Find Disk Time out error",
                     answer)) {
        answer.clearsPosition = true;
        return;
    }
    record.Cut();
    answer.dwStatus = VXC_STATUS_OK; // after an error too
}

void GetFileSizeWork(SCreateFile& record, OneShotAnswer& answer) noexcept {
    if (!IsOnDeadDisk(record, L"CQLSoftFileHandle::GetFileSizeThread() of %s , Find Disk Time out error",
                      answer)) {
        answer.qwFileSize = record.Size(); // the status stays what it was
    }
}

uint32 CreateFileThread(void* call) noexcept {
    return RunCall(call, CreateFileWork);
}

uint32 CloseFileThread(void* call) noexcept {
    return RunCall(call, CloseFileWork);
}

uint32 SetEndofFileThread(void* call) noexcept {
    return RunCall(call, SetEndofFileWork);
}

uint32 GetFileSizeThread(void* call) noexcept {
    return RunCall(call, GetFileSizeWork);
}

OneShotWorker::Result OneShotWorker::Run(SCreateFile& record, uint32 milliseconds,
                                         OneShotAnswer& answer) noexcept {
    auto call = Ref<OneShotCall>::Adopt(new (std::nothrow) OneShotCall);
    if (!call) {
        return Result::NotStarted;
    }
    call->record = Ref<SCreateFile>::Share(record);
    call->answer.dwStatus = record.dwStatus;
    call->handOver.Send();
    call->AddReference(); // the thread's own
    m_hThread = VXC_CreateThread(nullptr, 0, EntryOf(m_kind), call.Get(), 0, nullptr);
    if (m_hThread == nullptr) {
        call->Release();
        return Result::NotStarted;
    }
    m_call = std::move(call);
    if (!WaitFor(m_hThread, milliseconds)) {
        if (m_call->handOver.Abandon()) {
            return Result::TimedOut;
        }
        // It has its answer and is in time, but it has not quite ended, and nobody will wait for that.
        StayForStuckThreads();
    }
    answer = m_call->answer;
    Forget();
    return Result::InTime;
}

bool OneShotWorker::Join(uint32 milliseconds, OneShotAnswer& answer) noexcept {
    if (!WaitFor(m_hThread, milliseconds)) {
        return false;
    }
    answer = m_call->answer;
    Forget();
    return true;
}

void OneShotWorker::LeaveBehind() noexcept {
    StayForStuckThreads();
    Forget();
}

void OneShotWorker::Forget() noexcept {
    VXC_CloseHandle(m_hThread);
    m_hThread = nullptr;
    m_call.Reset();
}

} // namespace vxcio
