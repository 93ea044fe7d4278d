// BareFutex.h - the least that a hand-over between threads can stand on.
#pragma once

#include "sysu/posix/Futex.h"

#include <atomic>

namespace bench {

// The least that can sleep: every signal is a system call, and so is every wait for one to come.
class BareFutex {
public:
    void Set() {
        m_word.store(1);
        vxcio::sysu::FutexWakeOne(&m_word);
    }
    void Wait() {
        while (m_word.exchange(0) == 0) {
            vxcio::sysu::FutexWait(m_word, 0, vxcio::sysu::kNoDeadline);
        }
    }

private:
    alignas(64) std::atomic<uint32> m_word{0};
};

} // namespace bench
