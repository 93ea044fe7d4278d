// FaultPlan.h - which operations of the system layer fail, come up short or hang while a test runs.
//
//   FaultPlan plan;
//   const auto rule = plan.Add(Fail(Op::VXC_ReadFile).Nth(2).WithError(VXC_ERROR_IO_DEVICE));
//   ...
//   EXPECT_EQ(plan.Fired(rule), 1);
//
// A sweep: FailAny().Nth(n) with n = 1, 2, ... until a run after which plan.Fired() is 0.
#pragma once

#include "support/ForwardingLayer.h"
#include "support/Gate.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace vxcio::test {

namespace forwarding {
class PlanState;
}

// The last error of an injected failure that names no other; no real failure has this number.
inline constexpr uint32 kInjectedError = 54321;

// One rule of a plan: which calls it counts, which of them it takes, what happens to those. Made by Fail,
// CutShort and Hold below; each function changes the rule and gives it back. Without further words a rule
// takes the first call that it counts, once, before its effect.
class FaultRule {
public:
    // Takes the n-th call, counted from 1 from where the rule was added.
    FaultRule& Nth(int n);
    // Takes the n-th call and all that follow.
    FaultRule& FromThenOn();
    // The real call is made and the failure, or the stop at the gate, comes after it. What a failed call made
    // is closed again. A thread is not started and a setting not read even so: those failures have no effect.
    FaultRule& AfterEffect();
    // What VXC_GetLastError of the thread gives until a real operation on files, or one that fails. Its text
    // is "injected error".
    FaultRule& WithError(uint32 error);
    // Counts calls of the thread that runs this line, or of all others, alone.
    FaultRule& OnThisThread();
    FaultRule& OnOtherThreads();
    // Counts calls with a name that ends in this text, and with handles that VXC_CreateFileW gave for such a
    // name since the plan began.
    FaultRule& OnFile(std::wstring nameEnd);
    // Counts calls with this handle as first argument.
    FaultRule& OnHandle(const void* handle);

private:
    friend class forwarding::PlanState;
    friend FaultRule Fail(Op op);
    friend FaultRule Fail(std::vector<Op> ops);
    friend FaultRule FailAny();
    friend FaultRule CutShort(Op op, uint32 bytes);
    friend FaultRule Hold(Op op, const Gate& gate);
    friend FaultRule Answer(Op op, uint32 result);

    enum class Kind { Fail, Cut, Hold, Answer };

    Kind m_kind = Kind::Fail;
    std::vector<Op> m_ops;
    int m_nth = 1;
    bool m_fromThenOn = false;
    bool m_afterEffect = false;
    uint32 m_error = kInjectedError;
    uint32 m_cutTo = 0;
    uint32 m_answer = 0;
    std::shared_ptr<Gate::State> m_gate;
    std::optional<std::thread::id> m_onlyThread;
    std::optional<std::thread::id> m_notThread;
    std::optional<std::wstring> m_nameEnd;
    const void* m_handle = nullptr;
};

// The call fails: it gives the value of failure of its line in frame/SystemLayer.def. A void operation is
// left out. A close that fails before its effect is made good when the plan ends.
FaultRule Fail(Op op);
// One count for the calls of several operations; of all that can fail (CanFail).
FaultRule Fail(std::vector<Op> ops);
FaultRule FailAny();
// VXC_ReadFile or VXC_WriteFile move at most this many bytes. An unbuffered write must be cut to whole
// sectors.
FaultRule CutShort(Op op, uint32 bytes);
// The call stands at the gate.
FaultRule Hold(Op op, const Gate& gate);
// The real call is not made and this is its result, with last error 0; for operations with a 32-bit result.
FaultRule Answer(Op op, uint32 result);

// In force from its construction to its destruction; one at a time, on all threads. Any thread may call its
// functions. Calls that a gate still holds when the plan ends go on by the rules that held then.
class FaultPlan {
public:
    FaultPlan();
    ~FaultPlan();
    FaultPlan(const FaultPlan&) = delete;
    FaultPlan& operator=(const FaultPlan&) = delete;

    using RuleId = std::size_t;
    RuleId Add(const FaultRule& rule);
    // Takes no call any more.
    void Remove(RuleId rule);

    // Calls of an operation, and of all, since the plan began, failed and held ones too.
    int Calls(Op op) const;
    int Calls() const;
    // The same for one file, as FaultRule::OnFile counts.
    int CallsOn(Op op, const std::wstring& nameEnd) const;

    // How many calls a rule took, and all rules.
    int Fired(RuleId rule) const;
    int Fired() const;
    // "VXC_ReadFile #2 failed before its effect with 1117", one line each, in order; for messages of tests.
    std::vector<std::string> Account() const;

private:
    std::shared_ptr<forwarding::PlanState> m_state; // calls in flight hold it too
};

} // namespace vxcio::test
