#include "stress/program/Weather.h"

#include <chrono>

namespace vxcio::stress {

using namespace test;

Weather::Weather(uint32 clockStep) : m_clockStep(clockStep) {
    if (clockStep != 0) {
        m_clock.emplace();
        m_plan.emplace();
        m_ticker = std::thread([this] { Run(); });
    }
}

Weather::~Weather() {
    if (m_ticker.joinable()) {
        {
            const std::lock_guard lock(m_mutex);
            m_isOver = true;
        }
        m_changed.notify_all();
        m_ticker.join();
    }
    m_held.clear(); // opens what is left
}

void Weather::Run() {
    std::unique_lock lock(m_mutex);
    while (!m_isOver) {
        m_changed.wait_until(lock, std::chrono::system_clock::now() + std::chrono::milliseconds(1));
        Tick();
    }
}

void Weather::Tick() {
    m_clock->Advance(m_clockStep);
    for (auto at = m_held.begin(); at != m_held.end();) {
        if (--at->ticks <= 0) {
            m_plan->Remove(at->rule);
            at = m_held.erase(at);
        } else {
            ++at;
        }
    }
}

std::size_t Weather::Add(const FaultRule& rule) {
    return m_plan ? m_plan->Add(rule) : 0;
}

void Weather::Hold(Op op, const std::wstring& nameEnd, int nth, bool fromThenOn, bool afterEffect,
                   int ticks) {
    if (!m_plan) {
        return;
    }
    auto gate = std::make_unique<Gate>();
    FaultRule rule = test::Hold(op, *gate);
    rule.Nth(nth).OnFile(nameEnd);
    if (fromThenOn) {
        rule.FromThenOn();
    }
    if (afterEffect) {
        rule.AfterEffect();
    }
    const std::lock_guard lock(m_mutex);
    const std::size_t number = m_plan->Add(rule);
    m_held.push_back({nameEnd, number, ticks, std::move(gate)});
}

void Weather::Remove(std::size_t rule) {
    if (m_plan) {
        m_plan->Remove(rule);
    }
}

void Weather::PassAllLimits() {
    if (m_clock) {
        m_clock->Advance(VXC_INFINITE); // more than the longest limit
    }
}

void Weather::OpenGates(const std::wstring& nameEnd) {
    if (!m_plan) {
        return;
    }
    const std::lock_guard lock(m_mutex);
    for (auto at = m_held.begin(); at != m_held.end();) {
        if (at->nameEnd == nameEnd) {
            m_plan->Remove(at->rule);
            at = m_held.erase(at);
        } else {
            ++at;
        }
    }
}

} // namespace vxcio::stress
