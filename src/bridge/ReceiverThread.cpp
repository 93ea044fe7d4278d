#include "bridge/ReceiverThread.h"

#include "frame/Counted.h"
#include "frame/SystemLayer.h"
#include "platform/Process.h"

#include <new>

namespace vxcio {

struct ReceiverThread::Record : Counted<Record> {
    Record(PFN_RECEIVER_CALLBACK itsCallback, void* itsContext, void* itsBegin, void* itsEnd,
           void* itsQuit) noexcept
        : callback(itsCallback), context(itsContext), begin(itsBegin), end(itsEnd), quit(itsQuit) {}

    const PFN_RECEIVER_CALLBACK callback;
    void* const context;
    void* const begin;
    void* const end;
    void* const quit;
    std::atomic<uint32> thread{0};
};

namespace {

constexpr uint32 kQuitIndex = 1;

} // namespace

uint32 ReceiverThread::Run(void* shared) {
    const auto record = Ref<Record>::Adopt(static_cast<Record*>(shared));
    record->thread.store(Process().threadId());
    void* const events[] = {record->begin, record->quit};
    for (;;) {
        const uint32 result = VXC_WaitForMultipleObjects(2, events, 0, VXC_INFINITE);
        if (result == kQuitIndex) {
            return 0;
        }
        if (result == VXC_WAIT_FAILED) {
            VXC_Sleep(1); // cannot be while the events are there; not to run wild if it is
        }
        try {
            record->callback(record->context);
        } catch (...) {
            // Whoever waits for the reply must not wait for nothing.
        }
        VXC_SetEvent(record->end);
    }
}

bool ReceiverThread::Start(PFN_RECEIVER_CALLBACK callback, void* context, void* beginEvent,
                           void* endEvent) noexcept {
    if (!Stop()) {
        return false;
    }
    m_hQuitEvent = VXC_CreateEventW(nullptr, 0, 0, nullptr);
    if (m_hQuitEvent == nullptr) {
        return false;
    }
    m_record = new (std::nothrow) Record(callback, context, beginEvent, endEvent, m_hQuitEvent);
    if (m_record == nullptr) {
        return false;
    }
    m_record->AddReference(); // the thread's
    m_hThread = VXC_CreateThread(nullptr, 0, Run, m_record, 0, nullptr);
    if (m_hThread == nullptr) {
        m_record->Release();
        return false;
    }
    return true;
}

bool ReceiverThread::Stop() noexcept {
    if (m_hQuitEvent != nullptr) {
        VXC_SetEvent(m_hQuitEvent);
    }
    if (m_hThread != nullptr) {
        if (m_record->thread.load() == Process().threadId()) {
            return false;
        }
        VXC_WaitForSingleObject(m_hThread, VXC_INFINITE);
        VXC_CloseHandle(m_hThread);
        m_hThread = nullptr;
    }
    if (m_hQuitEvent != nullptr) {
        VXC_CloseHandle(m_hQuitEvent);
        m_hQuitEvent = nullptr;
    }
    if (m_record != nullptr) {
        m_record->Release();
        m_record = nullptr;
    }
    return true;
}

} // namespace vxcio
