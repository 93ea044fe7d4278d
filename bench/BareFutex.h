// BareFutex.h - the least that a hand-over between threads or processes can stand on.
#pragma once

#include "sysu/posix/Futex.h"

#include <atomic>

namespace bench {

// The least that can sleep: every signal is a system call, and so is every wait for one to come.
template <vxcio::sysu::FutexScope scope>
class BareFutexOf {
public:
    void Set() {
        m_word.store(1);
        vxcio::sysu::FutexWakeOne(&m_word, scope);
    }
    void Wait() {
        while (m_word.exchange(0) == 0) {
            vxcio::sysu::FutexWait(m_word, 0, vxcio::sysu::kNoDeadline, scope);
        }
    }

private:
    alignas(64) std::atomic<uint32> m_word{0};
};

using BareFutex = BareFutexOf<vxcio::sysu::FutexScope::Process>;
// For memory that processes share.
using SharedBareFutex = BareFutexOf<vxcio::sysu::FutexScope::Machine>;

} // namespace bench
