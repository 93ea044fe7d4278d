#include "support/FaultPlanState.h"

#include <algorithm>
#include <atomic>

namespace vxcio::test::forwarding {

namespace {

constinit std::atomic<uint64> g_plans{0};

// Without construction or destruction, as a thread may ask for its last error while it ends.
struct InjectedState {
    uint64 plan; // 0: none
    uint32 error;
};
constinit thread_local InjectedState t_injected{0, 0};

} // namespace

PlanState::PlanState() : m_number(g_plans.fetch_add(1) + 1), m_calls(AllOps().size(), 0) {}

std::size_t PlanState::Add(const FaultRule& rule) {
    const std::lock_guard lock(m_mutex);
    m_rules.push_back({rule});
    return m_rules.size() - 1;
}

void PlanState::Remove(std::size_t rule) {
    const std::lock_guard lock(m_mutex);
    m_rules.at(rule).removed = true;
}

int PlanState::Calls(Op op) const {
    const std::lock_guard lock(m_mutex);
    return m_calls[static_cast<std::size_t>(op)];
}

int PlanState::CallsOn(Op op, std::wstring_view nameEnd) const {
    const std::lock_guard lock(m_mutex);
    int sum = 0;
    for (const auto& [key, calls] : m_callsByName) {
        if (key.first == op && key.second.ends_with(nameEnd)) {
            sum += calls;
        }
    }
    return sum;
}

int PlanState::Fired(std::size_t rule) const {
    const std::lock_guard lock(m_mutex);
    return m_rules.at(rule).fired;
}

int PlanState::Fired() const {
    const std::lock_guard lock(m_mutex);
    int sum = 0;
    for (const Entry& entry : m_rules) {
        sum += entry.fired;
    }
    return sum;
}

std::vector<std::string> PlanState::Account() const {
    const std::lock_guard lock(m_mutex);
    return m_account;
}

bool PlanState::Counts(const FaultRule& rule, const CallFacts& facts, std::wstring_view name) {
    const std::thread::id self = std::this_thread::get_id();
    return std::find(rule.m_ops.begin(), rule.m_ops.end(), facts.op) != rule.m_ops.end() &&
           (!rule.m_onlyThread || *rule.m_onlyThread == self) &&
           (!rule.m_notThread || *rule.m_notThread != self) &&
           (!rule.m_nameEnd || (!name.empty() && name.ends_with(*rule.m_nameEnd))) &&
           (rule.m_handle == nullptr || rule.m_handle == facts.handle);
}

bool PlanState::Takes(Entry& entry) {
    ++entry.calls;
    const int nth = entry.rule.m_nth;
    return entry.calls == nth || (entry.rule.m_fromThenOn && entry.calls > nth);
}

void PlanState::Apply(const Entry& entry, const CallFacts& facts, Verdict& verdict) {
    const FaultRule& rule = entry.rule;
    std::string line =
        OpName(facts.op) + (" #" + std::to_string(m_calls[static_cast<std::size_t>(facts.op)]));
    switch (rule.m_kind) {
    case FaultRule::Kind::Fail:
        if (!verdict.fail) { // the rule that was added first decides
            verdict.fail = true;
            verdict.afterEffect = rule.m_afterEffect;
            verdict.error = rule.m_error;
        }
        line += std::string(" failed ") + (rule.m_afterEffect ? "after" : "before") + " its effect with " +
                std::to_string(rule.m_error);
        break;
    case FaultRule::Kind::Cut:
        verdict.cutTo = std::min(rule.m_cutTo, verdict.cutTo.value_or(rule.m_cutTo));
        line += " cut to " + std::to_string(rule.m_cutTo) + " bytes";
        break;
    case FaultRule::Kind::Answer:
        verdict.answer = rule.m_answer;
        line += " answered with " + std::to_string(rule.m_answer);
        break;
    case FaultRule::Kind::Hold:
        (rule.m_afterEffect ? verdict.after : verdict.before).push_back(rule.m_gate);
        line += std::string(" held ") + (rule.m_afterEffect ? "after" : "before") + " its effect";
        break;
    }
    m_account.push_back(std::move(line));
}

Verdict PlanState::Enter(const CallFacts& facts) {
    const std::lock_guard lock(m_mutex);
    ++m_calls[static_cast<std::size_t>(facts.op)];
    std::wstring name;
    if (facts.name != nullptr) {
        name = facts.name;
    } else if (const auto open = m_names.find(facts.handle); open != m_names.end()) {
        name = open->second;
    }
    if (!name.empty()) {
        ++m_callsByName[{facts.op, name}];
    }
    Verdict verdict;
    for (Entry& entry : m_rules) {
        if (!entry.removed && Counts(entry.rule, facts, name) && Takes(entry)) {
            ++entry.fired;
            Apply(entry, facts, verdict);
        }
    }
    return verdict;
}

void PlanState::NoteOpened(const void* handle, const wchar_t* name) {
    const std::lock_guard lock(m_mutex);
    m_names[handle] = name == nullptr ? L"" : name;
}

void PlanState::NoteClosing(const void* handle) {
    const std::lock_guard lock(m_mutex);
    m_names.erase(handle);
    std::erase_if(m_unclosed, [&](const auto& entry) { return entry.second == handle; });
}

void PlanState::NoteSuppressedClose(Op op, void* handle) {
    const std::lock_guard lock(m_mutex);
    const std::pair<Op, void*> entry{op, handle};
    if (handle != nullptr && handle != VXC_INVALID_HANDLE &&
        std::find(m_unclosed.begin(), m_unclosed.end(), entry) == m_unclosed.end()) {
        m_unclosed.push_back(entry);
    }
}

void PlanState::CloseWhatStayedOpen() {
    std::vector<std::pair<Op, void*>> unclosed;
    {
        const std::lock_guard lock(m_mutex);
        unclosed.swap(m_unclosed);
    }
    for (const auto& [op, handle] : unclosed) {
        if (op == Op::VXC_CloseFile) {
            real::VXC_CloseFile(handle);
        } else if (op == Op::VXC_CloseHandle) {
            real::VXC_CloseHandle(handle);
        } else {
            real::VXC_CloseModule(handle);
        }
    }
}

Verdict EnterCall(PlanState& plan, const CallFacts& facts) {
    return plan.Enter(facts);
}

void NoteOpened(PlanState& plan, const void* handle, const wchar_t* name) {
    plan.NoteOpened(handle, name);
}

void NoteClosing(PlanState& plan, const void* handle) {
    plan.NoteClosing(handle);
}

void NoteSuppressedClose(PlanState& plan, Op op, void* handle) {
    plan.NoteSuppressedClose(op, handle);
}

void InjectError(PlanState& plan, uint32 error) {
    t_injected = {plan.Number(), error};
}

void ForgetInjectedError() {
    t_injected = {0, 0};
}

std::optional<uint32> InjectedError(PlanState& plan) {
    if (t_injected.plan != plan.Number()) {
        return std::nullopt;
    }
    return t_injected.error;
}

} // namespace vxcio::test::forwarding
