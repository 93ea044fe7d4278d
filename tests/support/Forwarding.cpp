// The operations of the system layer as this program defines them.
#include "support/ForwardingHooks.h"

#include <algorithm>
#include <cwchar>
#include <tuple>
#include <type_traits>

namespace vxcio::test {

namespace forwarding {

constinit std::atomic<int> g_interceptors{0};

namespace {

// Set while the calling thread is in a real operation: the system library may reach its own operations by
// way of this program's, and those calls are none of the logic.
constinit thread_local bool t_inReal = false;

class InReal {
public:
    InReal() { t_inReal = true; }
    ~InReal() { t_inReal = false; }
    InReal(const InReal&) = delete;
    InReal& operator=(const InReal&) = delete;
};

constexpr bool IsClose(Op op) {
    return op == Op::VXC_CloseFile || op == Op::VXC_CloseHandle || op == Op::VXC_CloseModule;
}

constexpr bool IsTransfer(Op op) {
    return op == Op::VXC_ReadFile || op == Op::VXC_WriteFile;
}

// These set the last error also where they succeed.
constexpr bool IsOnFiles(Op op) {
    return op <= Op::VXC_GetDriveTypeW;
}

// A started thread can not be taken back, and a setting that is "not there" leaves its variable alone: their
// failures have no effect.
constexpr bool FailsWithoutEffect(Op op) {
    return op == Op::VXC_CreateThread || op == Op::VXC_GetGlobalIntW || op == Op::VXC_GetGlobalStringW;
}

template <class... A>
CallFacts FactsOf(Op op, const std::tuple<A&...>& arguments) {
    CallFacts facts{op, nullptr, nullptr};
    if constexpr (sizeof...(A) > 0) {
        using First = std::tuple_element_t<0, std::tuple<A...>>;
        if constexpr (std::is_same_v<First, void*>) {
            facts.handle = std::get<0>(arguments);
        } else if constexpr (std::is_same_v<First, const wchar_t*>) {
            facts.name = std::get<0>(arguments);
        }
    }
    return facts;
}

// The operation on the test's clock where it has to do with time and there is one, else the real one.
template <Op op, class Result, class Real, class Arguments>
Result Through(Real real, const Arguments& arguments) {
    const InReal mark;
    if constexpr (op == Op::VXC_GetTickCount) {
        if (const auto clock = CurrentClock()) {
            return ClockTicks(*clock);
        }
    } else if constexpr (op == Op::VXC_QueryPerformanceCounter || op == Op::VXC_QueryPerformanceFrequency) {
        const auto clock = CurrentClock();
        if (clock && std::get<0>(arguments) != nullptr) {
            std::get<0>(arguments)->QuadPart =
                op == Op::VXC_QueryPerformanceCounter ? ClockCounter(*clock) : kClockFrequency;
            return 1;
        }
    } else if constexpr (op == Op::VXC_Sleep) {
        if (const auto clock = CurrentClock()) {
            ClockSleep(*clock, std::get<0>(arguments));
            return 0;
        }
    } else if constexpr (op == Op::VXC_WaitForSingleObject) {
        if (const auto clock = CurrentClock()) {
            return ClockWaitOne(*clock, std::get<0>(arguments), std::get<1>(arguments));
        }
    } else if constexpr (op == Op::VXC_WaitForMultipleObjects) {
        if (const auto clock = CurrentClock()) {
            return ClockWaitMany(*clock, std::get<0>(arguments), std::get<1>(arguments),
                                 std::get<2>(arguments), std::get<3>(arguments));
        }
    }
    return std::apply(real, arguments);
}

// A transfer of fewer bytes than asked for. Unbuffered files refuse odd counts; there the whole is read and
// the file put back to where a short read would have left it.
template <Op op, class Real, class Arguments>
int ThroughCut(uint32 cutTo, Real real, const Arguments& arguments) {
    uint32& bytes = std::get<2>(arguments);
    unsigned long* done = std::get<3>(arguments);
    const uint32 whole = bytes;
    bytes = std::min(whole, cutTo);
    int result = Through<op, int>(real, arguments);
    if constexpr (op == Op::VXC_ReadFile) {
        if (result == 0 && bytes < whole && done != nullptr &&
            real::VXC_GetLastError() == VXC_ERROR_INVALID_PARAMETER) {
            bytes = whole;
            result = Through<op, int>(real, arguments);
            if (result != 0 && *done > cutTo) {
                const int64 back = static_cast<int64>(cutTo) - static_cast<int64>(*done);
                auto high = static_cast<int32>(back >> 32);
                real::VXC_SetFilePointer(std::get<0>(arguments), static_cast<int32>(back), &high,
                                         VXC_FILE_CURRENT);
                *done = cutTo;
            }
        }
    }
    return result;
}

// Takes back what a creating operation made, so that a failure after the effect leaves nothing.
template <Op op, class Result>
void Undo(PlanState& plan, Result made) {
    if constexpr (op == Op::VXC_CreateFileW) {
        NoteClosing(plan, made);
        real::VXC_CloseFile(made);
    } else if constexpr (op == Op::VXC_CreateEventW) {
        real::VXC_CloseHandle(made);
    } else if constexpr (op == Op::VXC_LoadModuleExW) {
        real::VXC_CloseModule(made);
    }
}

int InjectedText(wchar_t* text, int characters) {
    constexpr wchar_t kText[] = L"injected error";
    if (text == nullptr || characters <= 0) {
        return 0;
    }
    const std::size_t length = std::min(static_cast<std::size_t>(characters) - 1, std::size(kText) - 1);
    std::copy_n(kText, length, text);
    text[length] = 0;
    return static_cast<int>(length);
}

template <Op op, class Result, class Real, class Arguments>
Result Planned(PlanState& plan, Result failure, Real real, const Arguments& arguments) {
    const CallFacts facts = FactsOf(op, arguments);
    const Verdict verdict = EnterCall(plan, facts);
    for (const auto& gate : verdict.before) {
        Gate::Pass(*gate);
    }
    if constexpr (std::is_same_v<Result, uint32> || std::is_same_v<Result, int>) {
        if (verdict.answer) {
            InjectError(plan, VXC_ERROR_SUCCESS);
            return static_cast<Result>(*verdict.answer);
        }
    }
    if (verdict.fail && (!verdict.afterEffect || FailsWithoutEffect(op))) {
        if constexpr (IsTransfer(op)) {
            if (std::get<3>(arguments) != nullptr) {
                *std::get<3>(arguments) = 0;
            }
        }
        if constexpr (IsClose(op)) {
            NoteSuppressedClose(plan, op, std::get<0>(arguments));
        }
        InjectError(plan, verdict.error);
        return failure;
    }
    if constexpr (IsClose(op)) {
        NoteClosing(plan, facts.handle);
    }
    if constexpr (op == Op::VXC_GetLastError) {
        if (const auto error = InjectedError(plan)) {
            return *error;
        }
    } else if constexpr (op == Op::VXC_GetLastErrorStringW) {
        if (InjectedError(plan)) {
            return InjectedText(std::get<0>(arguments), std::get<1>(arguments));
        }
    }
    Result result;
    if constexpr (IsTransfer(op)) {
        result = verdict.cutTo ? ThroughCut<op>(*verdict.cutTo, real, arguments)
                               : Through<op, Result>(real, arguments);
    } else {
        result = Through<op, Result>(real, arguments);
    }
    if (IsOnFiles(op) || (result == failure && CanFail(op))) {
        ForgetInjectedError(); // the real one is newer
    }
    if constexpr (op == Op::VXC_CreateFileW) {
        if (result != failure) {
            NoteOpened(plan, result, facts.name);
        }
    }
    for (const auto& gate : verdict.after) {
        Gate::Pass(*gate);
    }
    if (verdict.fail) {
        if (result != failure) {
            Undo<op>(plan, result);
        }
        InjectError(plan, verdict.error);
        return failure;
    }
    return result;
}

template <Op op, class Result, class Real, class Arguments>
Result Intercepted(Result failure, Real real, const Arguments& arguments) {
    if (t_inReal) {
        return std::apply(real, arguments);
    }
    if (const auto plan = CurrentPlan()) {
        return Planned<op>(*plan, failure, real, arguments);
    }
    return Through<op, Result>(real, arguments);
}

bool IsIntercepted() {
    return g_interceptors.load(std::memory_order_acquire) != 0;
}

} // namespace

} // namespace forwarding

} // namespace vxcio::test

using namespace vxcio::test;

#define VXC_OPERATION(result, name, failure, blocks, parameters, arguments)                                  \
    result name parameters noexcept {                                                                        \
        if (!forwarding::IsIntercepted()) {                                                                  \
            return real::name arguments;                                                                     \
        }                                                                                                    \
        return forwarding::Intercepted<Op::name, result>(                                                    \
            failure, [](auto&... all) { return real::name(all...); }, std::tie arguments);                   \
    }
#define VXC_OPERATION_VOID(name, blocks, parameters, arguments)                                              \
    void name parameters noexcept {                                                                          \
        if (!forwarding::IsIntercepted()) {                                                                  \
            real::name arguments;                                                                            \
            return;                                                                                          \
        }                                                                                                    \
        forwarding::Intercepted<Op::name, int>(                                                              \
            0,                                                                                               \
            [](auto&... all) {                                                                               \
                real::name(all...);                                                                          \
                return 0;                                                                                    \
            },                                                                                               \
            std::tie arguments);                                                                             \
    }
#include "frame/SystemLayer.def"
#undef VXC_OPERATION
#undef VXC_OPERATION_VOID
