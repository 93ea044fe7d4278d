// TimedThread.h - work on a server that may not answer: one piece after the other, each with a limit.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

namespace vxcio::tool {

// A thread of its own for its whole life. Used by one thread.
//
// Work that takes longer than its limit is left behind with the thread, so it must own all that it uses; it
// is freed when it comes back, if it ever does.
class TimedThread {
public:
    TimedThread();
    // Waits for no work.
    ~TimedThread();
    TimedThread(const TimedThread&) = delete;
    TimedThread& operator=(const TimedThread&) = delete;

    // Which wish to stop ends a wait: who was asked to stop before may have to clean up yet.
    enum class Stop { OnNewWish, OnAnyWish };
    // False where the work did not end in time, or was not begun. What it throws comes through.
    bool Do(std::chrono::milliseconds limit, std::function<void()> work, Stop stop = Stop::OnNewWish);

    // Begins work without waiting for its end. False, and nothing is begun, while earlier work is under way
    // or where some was left behind.
    bool Begin(std::function<void()> work);
    // Waits for it, until the limit passes or the tool is asked to stop meanwhile: true where there is none
    // left. What it threw comes through.
    bool Wait(std::chrono::milliseconds limit);

    // Whether work was left behind.
    bool IsLost() const { return m_bLost; }
    // Whether the thread of any of them was, with its work.
    static bool IsAnyLeft();

private:
    struct State;
    static void Loop(const std::shared_ptr<State>& state);
    bool WaitFor(std::chrono::milliseconds limit, bool canStop);

    const std::shared_ptr<State> m_pState;
    std::thread m_Thread;
    bool m_bLost = false;
};

} // namespace vxcio::tool
