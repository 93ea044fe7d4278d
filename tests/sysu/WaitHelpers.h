// WaitHelpers.h - what the tests of events, waits and threads share.
#pragma once

#include "frame/SystemLayer.h"
#include "sysu/posix/WaitObject.h"

#include <gtest/gtest.h>

#include <sched.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace waittest {

// A handle that is closed at the end of its scope.
class Handle {
public:
    explicit Handle(void* handle) : m_handle(handle) { EXPECT_NE(handle, nullptr); }
    ~Handle() {
        if (m_handle != nullptr) {
            VXC_CloseHandle(m_handle);
        }
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    operator void*() const { return m_handle; }
    // The handle without its owner.
    void* Release() {
        void* handle = m_handle;
        m_handle = nullptr;
        return handle;
    }

private:
    void* m_handle;
};

inline void* AutoEvent(bool signalled = false) {
    return VXC_CreateEventW(nullptr, 0, signalled ? 1 : 0, nullptr);
}
inline void* ManualEvent(bool signalled = false) {
    return VXC_CreateEventW(nullptr, 1, signalled ? 1 : 0, nullptr);
}

// Whether the event is signalled, taking the signal of an auto-reset event.
inline bool Poll(void* handle) {
    return VXC_WaitForSingleObject(handle, 0) == VXC_WAIT_OBJECT_0;
}

// Lets others run until `done`; false when that takes far too long.
inline bool Await(const std::function<bool()>& done) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!done()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        sched_yield();
    }
    return true;
}

// Waits that stand in the queue of the object.
inline unsigned QueueOf(void* handle) {
    return static_cast<vxcio::sysu::WaitObject*>(handle)->word.load() / vxcio::sysu::kOneWaiter;
}
inline bool AwaitQueue(void* handle, unsigned waits) {
    return Await([&] { return QueueOf(handle) == waits; });
}

// A thread that makes one wait and keeps its result.
class WaitingThread {
public:
    explicit WaitingThread(std::function<uint32()> wait)
        : m_thread([this, wait = std::move(wait)] {
              m_result.store(wait());
              m_done.store(true);
          }) {}
    ~WaitingThread() {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    WaitingThread(const WaitingThread&) = delete;
    WaitingThread& operator=(const WaitingThread&) = delete;

    bool IsDone() const { return m_done.load(); }
    uint32 Result() {
        m_thread.join();
        return m_result.load();
    }

private:
    std::atomic<uint32> m_result{0xDDDDDDDDu};
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

inline std::unique_ptr<WaitingThread> WaitsForOne(void* handle, uint32 milliseconds = VXC_INFINITE) {
    return std::make_unique<WaitingThread>([=] { return VXC_WaitForSingleObject(handle, milliseconds); });
}
inline std::unique_ptr<WaitingThread> WaitsForMany(std::vector<void*> handles, bool all,
                                                   uint32 milliseconds = VXC_INFINITE) {
    return std::make_unique<WaitingThread>([=] {
        return VXC_WaitForMultipleObjects(static_cast<uint32>(handles.size()), handles.data(), all ? 1 : 0,
                                          milliseconds);
    });
}

// Milliseconds that `work` takes.
inline double MillisecondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

} // namespace waittest
