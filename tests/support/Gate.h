// Gate.h - a place where threads stop until the test lets them go on: a hang that the test ends when it
// likes.
//
//   Gate gate;                              plan.Add(Hold(Op::VXC_ReadFile, gate));
//   ... start the thread under test ...     ASSERT_TRUE(gate.WaitUntilReached());
//   ... look at what others do now ...      gate.Open();
#pragma once

#include <memory>

namespace vxcio::test {

// Closed when made. Any thread may call everything. The destructor opens it for good, so that no thread
// stands at it for ever; who still passes then holds what it needs by itself.
class Gate {
public:
    Gate();
    ~Gate();
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

    // Lets go all that stand at it, even where Close follows at once, and all that come later.
    void Open();
    void Close();

    // Stops here while the gate is closed.
    void Pass();

    // Waits until at least `threads` stand at the gate at one time. False when they did not come (Bounded.h).
    [[nodiscard]] bool WaitUntilReached(int threads = 1);

    // Threads that stand at it now, and all that ever came to it, open or closed.
    int Standing() const;
    int Arrived() const;

    // What a plan keeps of a gate: it may outlive it.
    class State;
    std::shared_ptr<State> Share() const { return m_state; }
    static void Pass(State& state);

private:
    std::shared_ptr<State> m_state;
};

} // namespace vxcio::test
