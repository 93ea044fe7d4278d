// FaultPlanState.h - the part of a fault plan that calls in flight hold on to. Inner header of the forwarding
// layer; tests use FaultPlan.h.
#pragma once

#include "support/FaultPlan.h"
#include "support/ForwardingHooks.h"

#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vxcio::test::forwarding {

// Any thread may call everything. No operation of the system layer is called under the mutex.
class PlanState {
public:
    PlanState();

    std::size_t Add(const FaultRule& rule);
    void Remove(std::size_t rule);
    int Calls(Op op) const;
    int CallsOn(Op op, std::wstring_view nameEnd) const;
    int Fired(std::size_t rule) const;
    int Fired() const;
    std::vector<std::string> Account() const;

    Verdict Enter(const CallFacts& facts);
    void NoteOpened(const void* handle, const wchar_t* name);
    void NoteClosing(const void* handle);
    void NoteSuppressedClose(Op op, void* handle);
    void CloseWhatStayedOpen();

    // Tells the plans of a process apart: an injected error ends with its plan.
    uint64 Number() const { return m_number; }

private:
    struct Entry {
        FaultRule rule;
        int calls = 0;
        int fired = 0;
        bool removed = false;
    };

    static bool Counts(const FaultRule& rule, const CallFacts& facts, std::wstring_view name);
    static bool Takes(Entry& entry);
    void Apply(const Entry& entry, const CallFacts& facts, Verdict& verdict);

    const uint64 m_number;
    mutable std::mutex m_mutex;
    // Guarded by m_mutex.
    std::vector<Entry> m_rules;
    std::vector<int> m_calls;
    std::map<std::pair<Op, std::wstring>, int> m_callsByName;
    std::map<const void*, std::wstring> m_names; // of the files that are open
    std::vector<std::pair<Op, void*>> m_unclosed;
    std::vector<std::string> m_account;
};

} // namespace vxcio::test::forwarding
