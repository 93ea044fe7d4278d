#include "support/FaultPlan.h"

#include "support/FaultPlanState.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace vxcio::test {

FaultRule& FaultRule::Nth(int n) {
    m_nth = n;
    return *this;
}

FaultRule& FaultRule::FromThenOn() {
    m_fromThenOn = true;
    return *this;
}

FaultRule& FaultRule::AfterEffect() {
    m_afterEffect = true;
    return *this;
}

FaultRule& FaultRule::WithError(uint32 error) {
    m_error = error;
    return *this;
}

FaultRule& FaultRule::OnThisThread() {
    m_onlyThread = std::this_thread::get_id();
    return *this;
}

FaultRule& FaultRule::OnOtherThreads() {
    m_notThread = std::this_thread::get_id();
    return *this;
}

FaultRule& FaultRule::OnFile(std::wstring nameEnd) {
    m_nameEnd = std::move(nameEnd);
    return *this;
}

FaultRule& FaultRule::OnHandle(const void* handle) {
    m_handle = handle;
    return *this;
}

FaultRule Fail(Op op) {
    return Fail(std::vector<Op>{op});
}

FaultRule Fail(std::vector<Op> ops) {
    FaultRule rule;
    rule.m_ops = std::move(ops);
    return rule;
}

FaultRule FailAny() {
    FaultRule rule;
    for (const Op op : AllOps()) {
        if (CanFail(op)) {
            rule.m_ops.push_back(op);
        }
    }
    return rule;
}

FaultRule CutShort(Op op, uint32 bytes) {
    FaultRule rule;
    rule.m_kind = FaultRule::Kind::Cut;
    rule.m_ops = {op};
    rule.m_cutTo = bytes;
    return rule;
}

FaultRule Hold(Op op, const Gate& gate) {
    FaultRule rule;
    rule.m_kind = FaultRule::Kind::Hold;
    rule.m_ops = {op};
    rule.m_gate = gate.Share();
    return rule;
}

FaultRule Answer(Op op, uint32 result) {
    FaultRule rule;
    rule.m_kind = FaultRule::Kind::Answer;
    rule.m_ops = {op};
    rule.m_answer = result;
    return rule;
}

namespace forwarding {

namespace {

// The plan that is alive. Never destroyed: a thread may call an operation after all else has ended.
struct Current {
    std::mutex mutex;
    std::shared_ptr<PlanState> plan; // guarded by mutex
};

Current& TheCurrent() {
    static Current* const current = new Current;
    return *current;
}

} // namespace

std::shared_ptr<PlanState> CurrentPlan() {
    Current& current = TheCurrent();
    const std::lock_guard lock(current.mutex);
    return current.plan;
}

} // namespace forwarding

FaultPlan::FaultPlan() : m_state(std::make_shared<forwarding::PlanState>()) {
    forwarding::Current& current = forwarding::TheCurrent();
    {
        const std::lock_guard lock(current.mutex);
        if (current.plan != nullptr) {
            std::fprintf(stderr, "a fault plan is alive already\n");
            std::abort();
        }
        current.plan = m_state;
    }
    forwarding::g_interceptors.fetch_add(1);
}

FaultPlan::~FaultPlan() {
    forwarding::g_interceptors.fetch_sub(1);
    forwarding::Current& current = forwarding::TheCurrent();
    {
        const std::lock_guard lock(current.mutex);
        current.plan.reset();
    }
    m_state->CloseWhatStayedOpen();
}

FaultPlan::RuleId FaultPlan::Add(const FaultRule& rule) {
    return m_state->Add(rule);
}

void FaultPlan::Remove(RuleId rule) {
    m_state->Remove(rule);
}

int FaultPlan::Calls(Op op) const {
    return m_state->Calls(op);
}

int FaultPlan::Calls() const {
    int sum = 0;
    for (const Op op : AllOps()) {
        sum += Calls(op);
    }
    return sum;
}

int FaultPlan::CallsOn(Op op, const std::wstring& nameEnd) const {
    return m_state->CallsOn(op, nameEnd);
}

int FaultPlan::Fired(RuleId rule) const {
    return m_state->Fired(rule);
}

int FaultPlan::Fired() const {
    return m_state->Fired();
}

std::vector<std::string> FaultPlan::Account() const {
    return m_state->Account();
}

} // namespace vxcio::test
