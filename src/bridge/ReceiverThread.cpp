#include "bridge/ReceiverThread.h"

#include "frame/SystemLayer.h"
#include "platform/Process.h"

#include <atomic>
#include <new>
#include <utility>

namespace vxcio {

struct ReceiverThread::Record : Counted<Record> {
    PFN_RECEIVER_CALLBACK callback = nullptr;
    void* context = nullptr;
    Ref<InteracterEvent> begin;
    Ref<InteracterEvent> end;
    Ref<InteracterEvent> quit;
    std::atomic<uint32> thread{0}; // its number while it runs
};

namespace {

constexpr uint32 kQuitIndex = 1;

} // namespace

ReceiverThread::~ReceiverThread() {
    if (m_hThread != nullptr) {
        VXC_CloseHandle(m_hThread);
    }
    if (m_record != nullptr) {
        m_record->Release();
    }
}

uint32 ReceiverThread::Run(void* shared) {
    const auto record = Ref<Record>::Adopt(static_cast<Record*>(shared));
    record->thread.store(Process().threadId());
    void* const events[] = {record->begin->handle, record->quit->handle};
    for (;;) {
        const uint32 result = VXC_WaitForMultipleObjects(2, events, 0, VXC_INFINITE);
        if (result == kQuitIndex) {
            // The number may be another thread's from here on.
            record->thread.store(0);
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
        VXC_SetEvent(record->end->handle);
    }
}

bool ReceiverThread::Start(PFN_RECEIVER_CALLBACK callback, void* context,
                           const Ref<InteracterEvent>& beginEvent,
                           const Ref<InteracterEvent>& endEvent) noexcept {
    if (!Stop()) {
        return false;
    }
    auto record = Ref<Record>::Adopt(new (std::nothrow) Record);
    if (!record) {
        return false;
    }
    record->callback = callback;
    record->context = context;
    record->begin = beginEvent;
    record->end = endEvent;
    record->quit = InteracterEvent::Take(VXC_CreateEventW(nullptr, 0, 0, nullptr));
    if (!record->quit) {
        return false;
    }
    record->AddReference(); // the thread's
    record->AddReference(); // this one's, there ahead of the thread, whose callback may ask for its end
    m_record = record.Get();
    m_hThread = VXC_CreateThread(nullptr, 0, Run, record.Get(), 0, nullptr);
    if (m_hThread == nullptr) {
        m_record = nullptr;
        record->Release();
        record->Release();
        return false;
    }
    return true;
}

bool ReceiverThread::Stop() noexcept {
    if (m_record == nullptr) {
        return true;
    }
    // Without the signal there is no end to wait for.
    if (VXC_SetEvent(m_record->quit->handle) == 0 || m_record->thread.load() == Process().threadId() ||
        VXC_WaitForSingleObject(m_hThread, VXC_INFINITE) != VXC_WAIT_OBJECT_0) {
        return false;
    }
    VXC_CloseHandle(std::exchange(m_hThread, nullptr));
    std::exchange(m_record, nullptr)->Release();
    return true;
}

} // namespace vxcio
