#include "support/Gate.h"

#include "support/Bounded.h"

namespace vxcio::test {

class Gate::State {
public:
    mutable std::mutex mutex;
    std::condition_variable changed;
    // Guarded by mutex.
    bool open = false;
    int openings = 0; // a thread that came before an opening goes even if the gate was closed again since
    int standing = 0;
    int arrived = 0;
};

Gate::Gate() : m_state(std::make_shared<State>()) {}

Gate::~Gate() {
    Open();
}

void Gate::Open() {
    {
        const std::lock_guard lock(m_state->mutex);
        m_state->open = true;
        ++m_state->openings;
        m_state->standing = 0;
    }
    m_state->changed.notify_all();
}

void Gate::Close() {
    const std::lock_guard lock(m_state->mutex);
    m_state->open = false;
}

void Gate::Pass() {
    Pass(*m_state);
}

void Gate::Pass(State& state) {
    std::unique_lock lock(state.mutex);
    ++state.arrived;
    if (state.open) {
        state.changed.notify_all();
        return;
    }
    ++state.standing;
    state.changed.notify_all();
    const int openings = state.openings;
    state.changed.wait(lock, [&] { return state.openings != openings; });
}

bool Gate::WaitUntilReached(int threads) {
    std::unique_lock lock(m_state->mutex);
    return WaitBounded(m_state->changed, lock, [&] { return m_state->standing >= threads; });
}

int Gate::Standing() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->standing;
}

int Gate::Arrived() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->arrived;
}

} // namespace vxcio::test
