#include "filehandle/FileWorker.h"

#include "filehandle/FileWorkerThreads.h"
#include "frame/Status.h"
#include "frame/SystemLayer.h"

#include <new>
#include <utility>

namespace vxcio {

namespace {

using Entry = uint32 (*)(void*);

Entry EntryOf(FileWorker::Kind kind) noexcept {
    switch (kind) {
    case FileWorker::Kind::Read:
        return ReadFileThread;
    case FileWorker::Kind::Write:
        return WriteFileThread;
    case FileWorker::Kind::Seek:
        break;
    }
    return SetFilePointerThread;
}

} // namespace

bool FileWorker::Start(SCreateFile& record, const Ref<SharedEvent>& quit) noexcept {
    auto link = Ref<WorkerLink>::Adopt(new (std::nothrow) WorkerLink);
    if (!link || !quit) {
        return false;
    }
    link->record = Ref<SCreateFile>::Share(record);
    link->quit = quit;
    link->request = SharedEvent::Make(false);
    link->done = SharedEvent::Make(false);
    if (!link->request || !link->done) {
        return false;
    }
    link->AddReference(); // the thread's own
    m_hThread = VXC_CreateThread(nullptr, 0, EntryOf(m_kind), link.Get(), 0, nullptr);
    if (m_hThread == nullptr) {
        link->Release();
        return false;
    }
    m_link = std::move(link);
    return true;
}

bool FileWorker::Send() noexcept {
    // Here, not by the worker: a request that it never takes must not show the answer of the one before.
    m_link->dwBytesDone = 0;
    m_link->dwStatus = VXC_STATUS_OK;
    m_link->handOver.Send();
    return m_link->request->Signal() || !m_link->handOver.Withdraw();
}

bool FileWorker::Await(uint32 milliseconds, Waiting waiting) noexcept {
    if (waiting == Waiting::LookFirst && milliseconds > 0 &&
        m_look.Succeeds([this] { return m_link->handOver.IsAnswered(); }) && m_link->handOver.Accept()) {
        return true;
    }
    // A signal of an earlier answer may still come: the wait took its answer before the worker told of it.
    while (WaitFor(m_link->done->Handle(), milliseconds)) {
        if (m_link->handOver.Accept()) {
            return true;
        }
    }
    return m_link->handOver.Accept();
}

bool FileWorker::Abandon() noexcept {
    return m_link->handOver.Abandon() || !m_link->handOver.Accept();
}

bool FileWorker::End(uint32 milliseconds, uint32* lateStatus) noexcept {
    if (m_kind != Kind::Seek && !m_link->request->Signal()) {
        return false; // it sleeps on
    }
    if (!WaitFor(m_hThread, milliseconds)) {
        return false;
    }
    if (m_link->handOver.IsAbandoned() && m_link->dwStatus != VXC_STATUS_OK) {
        *lateStatus = m_link->dwStatus;
    }
    Forget();
    return true;
}

void FileWorker::LeaveBehind() noexcept {
    StayForStuckThreads();
    m_link->quit->Signal();
    m_link->request->Signal();
    Forget();
}

void FileWorker::Forget() noexcept {
    VXC_CloseHandle(m_hThread);
    m_hThread = nullptr;
    m_link.Reset();
}

} // namespace vxcio
