#include "sysu/HostControl.h"
#include "sysu/MessageBox.h"

#include <mutex>

namespace vxcio {

namespace {

// Neither has a destructor.
constinit std::mutex s_mutex;
constinit PromptFunction s_answer = nullptr; // both guarded by s_mutex
constinit void* s_context = nullptr;

} // namespace

void SetPrompt(PromptFunction answer, void* context) noexcept {
    const std::lock_guard lock(s_mutex);
    s_answer = answer;
    s_context = context;
}

// The lock is not held while the user thinks.
int AskUser(const wchar_t* text, const wchar_t* caption, uint32 kind) {
    PromptFunction answer = nullptr;
    void* context = nullptr;
    {
        const std::lock_guard lock(s_mutex);
        answer = s_answer;
        context = s_context;
    }
    return answer != nullptr ? answer(context, text, caption, kind) : ShowMessageBox(text, caption, kind);
}

} // namespace vxcio
