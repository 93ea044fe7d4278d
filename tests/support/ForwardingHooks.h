// ForwardingHooks.h - what the forwarding bodies ask: the parts of the fault plan and of the clock that calls
// in flight hold on to. Inner header of the forwarding layer; tests use FaultPlan.h and TestClock.h.
#pragma once

#include "support/ForwardingLayer.h"
#include "support/Gate.h"

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

namespace vxcio::test::forwarding {

// How many plans and clocks are alive.
extern std::atomic<int> g_interceptors;

// What a plan may look at in a call.
struct CallFacts {
    Op op;
    const void* handle;  // first argument where it is a handle, else null
    const wchar_t* name; // first argument where it is a name, else null
};

// What a plan says about a call.
struct Verdict {
    bool fail = false;
    bool afterEffect = false;
    uint32 error = 0;
    std::optional<uint32> cutTo;
    std::optional<uint32> answer;
    std::vector<std::shared_ptr<Gate::State>> before;
    std::vector<std::shared_ptr<Gate::State>> after;
};

class PlanState;
// The plan that is alive, or null.
std::shared_ptr<PlanState> CurrentPlan();
// Counts the call and tells what is to be done with it.
Verdict EnterCall(PlanState& plan, const CallFacts& facts);
// A file was opened; a handle is about to be closed; a close was suppressed, so that the plan has to make it
// good when it ends.
void NoteOpened(PlanState& plan, const void* handle, const wchar_t* name);
void NoteClosing(PlanState& plan, const void* handle);
void NoteSuppressedClose(PlanState& plan, Op op, void* handle);
// The injected error of the calling thread under this plan.
void InjectError(PlanState& plan, uint32 error);
void ForgetInjectedError();
std::optional<uint32> InjectedError(PlanState& plan);

class ClockState;
// The clock that is alive, or null.
std::shared_ptr<ClockState> CurrentClock();
uint32 ClockTicks(ClockState& clock);
int64 ClockCounter(ClockState& clock);
inline constexpr int64 kClockFrequency = 10'000'000;
void ClockSleep(ClockState& clock, uint32 milliseconds);
uint32 ClockWaitOne(ClockState& clock, void* handle, uint32 milliseconds);
uint32 ClockWaitMany(ClockState& clock, uint32 count, void* const* handles, int waitAll, uint32 milliseconds);

} // namespace vxcio::test::forwarding
