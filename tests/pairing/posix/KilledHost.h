// KilledHost.h - this program once more, as a host that others kill.
#pragma once

#include "frame/Types.h"

#include <string>
#include <sys/types.h>

namespace vxcio::test {

// What it does; each letter is said when that begins.
//   s start   l load   c channel   x calls   r release   q quit   . one round is over
class KilledHost {
public:
    enum class Life {
        Endless, // round after round, until somebody kills it or something fails
        Staying, // comes up to its calls, and stays there
        Once,    // one start and stop
    };
    explicit KilledHost(Life life);
    ~KilledHost();
    KilledHost(const KilledHost&) = delete;
    KilledHost& operator=(const KilledHost&) = delete;

    uint32 Id() const { return static_cast<uint32>(m_process); }
    // Waits for the next letter; 0 when it says nothing any more.
    char NextLetter();
    char LastLetter();
    void Kill() const;
    // Whether it has ended; ExitCode then tells how, -1 for a signal.
    bool HasEnded();
    int ExitCode() const { return m_exitCode; }

private:
    pid_t m_process;
    int m_letters = -1;
    char m_last = 0;
    bool m_ended = false;
    int m_exitCode = -1;
};

} // namespace vxcio::test
