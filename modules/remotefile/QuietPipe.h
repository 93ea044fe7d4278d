// QuietPipe.h - no SIGPIPE from what a thread writes, whoever writes it.
#pragma once

namespace vxcio {

// While it lives a write of this thread into a connection that is closed raises no signal. A
// thread that has blocked the signal by itself is left as it is.
class QuietPipe {
public:
    QuietPipe() noexcept;
    ~QuietPipe();
    QuietPipe(const QuietPipe&) = delete;
    QuietPipe& operator=(const QuietPipe&) = delete;

private:
    bool m_isToUnblock = false; // the thread itself had not blocked it
};

} // namespace vxcio
