// PartnerGuess.h - whether whoever answers a thread's signals is awake, and will answer soon.
#pragma once

#include "frame/Types.h"

namespace vxcio::sysu {

// One for each thread. A signal that nobody slept for was looked for. Some answers may be late before that is
// over: a processor may be needed for something else in between.
class PartnerGuess {
public:
    static constexpr uint32 kLateAnswers = 4;

    void HasSignalled(bool wokeSomebody) noexcept {
        if (!wokeSomebody) {
            m_left = kLateAnswers;
        } else {
            Doubt();
        }
    }
    void AnswerIsLate() noexcept { Doubt(); }

    bool IsAwake() const noexcept { return m_left != 0; }

private:
    void Doubt() noexcept { m_left -= m_left != 0 ? 1 : 0; }

    uint32 m_left = 0;
};

} // namespace vxcio::sysu
