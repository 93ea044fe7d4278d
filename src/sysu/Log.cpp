#include "frame/SystemLayer.h"
#include "sysu/HostControl.h"
#include "text/WideFormat.h"

#include <atomic>
#include <climits>
#include <cstdarg>
#include <cwchar>
#include <memory>
#include <mutex>
#include <new>

using namespace vxcio;

namespace {

// One line on its way to a receiver, on the stack of the thread that logs. Listed as long as the receiver
// may run, so that SetLogReceiver can wait for exactly those that concern it.
struct RunningCall {
    uint64 generation = 0;
    RunningCall* previous = nullptr;
    RunningCall* next = nullptr;
};

// The level up to which somebody listens. All that a line which nobody reads ever looks at.
// One below every level while nobody listens.
constexpr int64 kSilent = static_cast<int64>(INT_MIN) - 1;
constinit std::atomic<int64> s_highest{kSilent};

// Nothing here has a destructor: the log also serves at load, at exit and threads that outlive both.
constinit std::mutex s_mutex;
constinit LogReceiver s_receiver = nullptr; // this and all down to s_calls: guarded by s_mutex
constinit void* s_context = nullptr;
constinit uint64 s_generation = 0; // counts the receivers
constinit RunningCall* s_calls = nullptr;
constinit std::atomic<uint32> s_ended{0}; // counts the calls that ended; what SetLogReceiver sleeps on

// Nonzero while this thread is inside a receiver.
constinit thread_local int t_depth = 0;

bool IsRead(INFOTYPE level) noexcept {
    return static_cast<int64>(level) <= s_highest.load(std::memory_order_relaxed);
}

void Begin(RunningCall& call) noexcept {
    call.generation = s_generation;
    call.next = s_calls;
    if (s_calls != nullptr) {
        s_calls->previous = &call;
    }
    s_calls = &call;
}

void End(RunningCall& call) noexcept {
    {
        const std::lock_guard lock(s_mutex);
        (call.previous != nullptr ? call.previous->next : s_calls) = call.next;
        if (call.next != nullptr) {
            call.next->previous = call.previous;
        }
        s_ended.fetch_add(1);
    }
    s_ended.notify_all();
}

void Deliver(const wchar_t* module, INFOTYPE level, const wchar_t* text) noexcept {
    // A receiver that logs would call itself without end.
    if (t_depth != 0) {
        return;
    }
    RunningCall call;
    LogReceiver receiver = nullptr;
    void* context = nullptr;
    {
        const std::lock_guard lock(s_mutex);
        if (s_receiver == nullptr || !IsRead(level)) {
            return; // changed since the line was made
        }
        receiver = s_receiver;
        context = s_context;
        Begin(call);
    }
    ++t_depth;
    try {
        receiver(context, level, module == nullptr ? L"" : module, text);
    } catch (...) {
        // The line is lost; whoever logged must not suffer for it.
        static_cast<void>(text);
    }
    --t_depth;
    End(call);
}

// Formats `front`, then the text behind it, and delivers both as one line. Most lines fit the stack; a
// longer one takes memory, and is cut where there is none.
void FormatAndDeliver(const wchar_t* module, INFOTYPE level, const wchar_t* front, const wchar_t* format,
                      va_list arguments) noexcept {
    wchar_t line[512];
    constexpr std::size_t kRoom = sizeof line / sizeof line[0];
    va_list again;
    va_copy(again, arguments);
    std::size_t length = FormatWide(line, kRoom, L"%s", front);
    length += FormatWideV(line + length, kRoom - length, format, arguments);
    if (length + 1 < kRoom) {
        Deliver(module, level, line);
    } else {
        const std::unique_ptr<wchar_t[]> whole(new (std::nothrow) wchar_t[kFormatCapacity]);
        if (whole) {
            length = FormatWide(whole.get(), kFormatCapacity, L"%s", front);
            FormatWideV(whole.get() + length, kFormatCapacity - length, format, again);
        }
        Deliver(module, level, whole ? whole.get() : line);
    }
    va_end(again);
}

void DeliverPlain(const wchar_t* module, INFOTYPE level, const wchar_t* text) noexcept {
    if (text == nullptr || std::wcslen(text) < kFormatCapacity) {
        Deliver(module, level, text == nullptr ? L"" : text);
    } else {
        VXC_OutputW(module, level, L"%s", text);
    }
}

} // namespace

void VXC_OutputW(const wchar_t* module, INFOTYPE level, const wchar_t* format, ...) noexcept {
    if (!IsRead(level)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    FormatAndDeliver(module, level, L"", format == nullptr ? L"" : format, arguments);
    va_end(arguments);
}

void VXC_Output_FromW(const wchar_t* module, const char* file, int line, INFOTYPE level,
                      const wchar_t* format, ...) noexcept {
    if (!IsRead(level)) {
        return;
    }
    wchar_t front[512];
    FormatWide(front, sizeof front / sizeof front[0], L"%.440S(%d): ", file == nullptr ? "?" : file, line);
    va_list arguments;
    va_start(arguments, format);
    FormatAndDeliver(module, level, front, format == nullptr ? L"" : format, arguments);
    va_end(arguments);
}

void VXCMSGW(const wchar_t* module, const wchar_t* text) noexcept {
    if (IsRead(INFOTYPE_TRACE)) {
        DeliverPlain(module, INFOTYPE_TRACE, text);
    }
}

void VXCERRORW(const wchar_t* module, const wchar_t* text) noexcept {
    if (IsRead(INFOTYPE_ERROR)) {
        DeliverPlain(module, INFOTYPE_ERROR, text);
    }
}

namespace vxcio {

void SetLogReceiver(LogReceiver receiver, void* context, INFOTYPE highest) noexcept {
    uint64 present = 0;
    {
        const std::lock_guard lock(s_mutex);
        s_receiver = receiver;
        s_context = context;
        present = ++s_generation;
        s_highest.store(receiver == nullptr ? kSilent : static_cast<int64>(highest),
                        std::memory_order_relaxed);
    }
    if (t_depth != 0) {
        return; // from within a receiver: it would wait for itself, or for another one that does the same
    }
    while (true) {
        uint32 ended = 0;
        bool runs = false;
        {
            const std::lock_guard lock(s_mutex);
            ended = s_ended.load();
            for (const RunningCall* call = s_calls; call != nullptr; call = call->next) {
                runs = runs || call->generation < present;
            }
        }
        if (!runs) {
            return;
        }
        s_ended.wait(ended);
    }
}

int IsLogRead(INFOTYPE level) noexcept {
    return IsRead(level) ? 1 : 0;
}

} // namespace vxcio
