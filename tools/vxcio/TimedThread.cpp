#include "TimedThread.h"

#include "Terminal.h"

#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <utility>

namespace vxcio::tool {

namespace {

constexpr std::chrono::milliseconds kLookForStop{50};

constinit std::atomic<bool> g_isAnyLeft{false};

} // namespace

struct TimedThread::State {
    std::mutex mutex;
    std::condition_variable changed;
    std::function<void()> work; // of the thread alone while it runs
    std::exception_ptr thrown;
    bool busy = false;
    bool quit = false;
};

TimedThread::TimedThread()
    : m_pState(std::make_shared<State>()), m_Thread([state = m_pState] { Loop(state); }) {}

TimedThread::~TimedThread() {
    bool isBusy = false;
    {
        const std::lock_guard lock(m_pState->mutex);
        m_pState->quit = true;
        isBusy = m_pState->busy;
    }
    m_pState->changed.notify_all();
    if (isBusy) {
        g_isAnyLeft.store(true);
        m_Thread.detach();
    } else {
        m_Thread.join(); // it is not to end while the process does
    }
}

bool TimedThread::IsAnyLeft() {
    return g_isAnyLeft.load();
}

void TimedThread::Loop(const std::shared_ptr<State>& state) {
    std::unique_lock lock(state->mutex);
    for (;;) {
        state->changed.wait(lock, [&] { return state->quit || state->busy; });
        if (!state->busy) {
            return;
        }
        lock.unlock();
        std::exception_ptr thrown;
        try {
            state->work();
        } catch (...) {
            thrown = std::current_exception();
        }
        state->work = nullptr; // what it owns goes here, and may take its time
        lock.lock();
        state->thrown = thrown;
        state->busy = false;
        state->changed.notify_all();
    }
}

bool TimedThread::Begin(std::function<void()> work) {
    {
        const std::lock_guard lock(m_pState->mutex);
        if (m_bLost || m_pState->busy) {
            return false;
        }
        m_pState->work = std::move(work);
        m_pState->busy = true;
    }
    m_pState->changed.notify_all();
    return true;
}

bool TimedThread::Wait(std::chrono::milliseconds limit) {
    return WaitFor(limit, !InterruptWanted());
}

bool TimedThread::WaitFor(std::chrono::milliseconds limit, bool canStop) {
    const auto end = std::chrono::steady_clock::now() + limit;
    std::unique_lock lock(m_pState->mutex);
    const auto isDone = [this] { return !m_pState->busy; };
    while (!m_bLost && !m_pState->changed.wait_for(lock, kLookForStop, isDone)) {
        m_bLost = std::chrono::steady_clock::now() >= end || (canStop && InterruptWanted());
    }
    if (m_bLost) {
        return false;
    }
    if (const std::exception_ptr thrown = std::exchange(m_pState->thrown, nullptr)) {
        lock.unlock();
        std::rethrow_exception(thrown);
    }
    return true;
}

bool TimedThread::Do(std::chrono::milliseconds limit, std::function<void()> work, Stop stop) {
    // The wish may come as soon as the work has begun.
    const bool canStop = stop == Stop::OnAnyWish || !InterruptWanted();
    return Begin(std::move(work)) && WaitFor(limit, canStop);
}

} // namespace vxcio::tool
