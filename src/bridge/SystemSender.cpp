#include "bridge/SystemSender.h"

#include "platform/Process.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <mutex>
#include <new>
#include <utility>

namespace vxcio {

namespace {

// Every sender that was made, the last one first.
struct Made {
    explicit Made(Made* before) : next(before), sender(VXC_INTERACTER_SENDER) {}

    Made* const next;
    CVXCInteracterImpl sender;
};

// Nothing here has a destructor that does anything: threads that still run may come here at the end of the
// process.
constinit std::mutex g_mutex;
constinit Made* g_made = nullptr;           // guarded by the mutex
constinit wchar_t g_processIdText[16] = {}; // guarded by the mutex
constinit std::atomic<CVXCInteracterImpl*> g_sender{nullptr};

} // namespace

CVXCInteracterImpl* SystemSender() noexcept {
    return g_sender.load();
}

CVXCInteracterImpl* MakeSystemSender() noexcept {
    try {
        const std::lock_guard lock(g_mutex);
        Made* const made = new (std::nothrow) Made(g_made);
        if (made == nullptr) {
            return nullptr;
        }
        g_made = made;
        g_sender.store(&made->sender);
        return &made->sender;
    } catch (...) {
        return nullptr;
    }
}

void RetireSystemSender() noexcept {
    if (CVXCInteracterImpl* const sender = g_sender.exchange(nullptr); sender != nullptr) {
        sender->Release();
    }
}

void FreeSystemSenders() noexcept {
    Made* made = nullptr;
    {
        const std::lock_guard lock(g_mutex);
        for (made = g_made; made != nullptr; made = made->next) {
            if (!made->sender.IsIdle()) {
                return;
            }
        }
        made = std::exchange(g_made, nullptr);
    }
    RetireSystemSender();
    while (made != nullptr) {
        delete std::exchange(made, made->next);
    }
}

CVXCString ProcessIdText() noexcept {
    const std::lock_guard lock(g_mutex);
    return CVXCString(g_processIdText);
}

void MakeProcessIdText() noexcept {
    CVXCString text;
    text.Format(L"%08d", Process().processId());
    const std::lock_guard lock(g_mutex);
    const int length = std::min(text.GetLength(), static_cast<int>(std::size(g_processIdText)) - 1);
    *std::copy_n(text.c_str(), length, g_processIdText) = 0;
}

void ClearProcessIdText() noexcept {
    const std::lock_guard lock(g_mutex);
    g_processIdText[0] = 0;
}

} // namespace vxcio

CVXCInteracter* ObtainSysSender() noexcept {
    return vxcio::SystemSender();
}
