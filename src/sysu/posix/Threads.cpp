#include "sysu/posix/Thread.h"

#include "frame/SystemLayer.h"
#include "sysu/LastError.h"
#include "sysu/posix/Clock.h"
#include "sysu/posix/Futex.h"

#include <algorithm>
#include <csignal>
#include <cxxabi.h>
#include <new>
#include <sys/syscall.h>
#include <unistd.h>

namespace vxcio::sysu {

namespace {

// Exit code of a thread whose entry function left by an exception, or never ran.
constexpr uint32 kExitWithoutResult = 0xFFFFFFFFu;

// A requested size tells what is to be there at once, not the most there may be: Windows too keeps at least
// 1 MiB of room for a smaller one. Memory that is never touched costs nothing.
constexpr std::size_t kLeastStack = std::size_t{1} << 20;

// Windows' "the size is the most there may be": allowed, and the same thing here.
constexpr uint32 kStackSizeIsReservation = 0x00010000u;

Thread* ThreadOf(void* handle) noexcept {
    WaitObject* object = WaitObjectOf(handle);
    if (object == nullptr) {
        return nullptr;
    }
    if (object->kind != WaitKind::Thread) {
        SetLastError(VXC_ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return static_cast<Thread*>(object);
}

bool PassesGate(Thread& thread) noexcept {
    for (;;) {
        const auto gate = static_cast<ThreadGate>(thread.gate.load());
        if (gate != ThreadGate::Suspended) {
            return gate == ThreadGate::Open;
        }
        FutexWait(thread.gate, static_cast<uint32>(ThreadGate::Suspended), kNoDeadline);
    }
}

bool MovesGate(Thread& thread, ThreadGate to) noexcept {
    auto suspended = static_cast<uint32>(ThreadGate::Suspended);
    if (!thread.gate.compare_exchange_strong(suspended, static_cast<uint32>(to))) {
        return false;
    }
    FutexWakeOne(&thread.gate);
    return true;
}

void EndThread(Thread& thread, uint32 exitCode) noexcept {
    thread.exitCode.store(exitCode);
    Signal(thread);
    DropReference(thread);
}

void* RunThread(void* context) {
    Thread& thread = *static_cast<Thread*>(context);
    thread.kernelId.store(static_cast<uint32>(syscall(SYS_gettid)));
    if (thread.announcesId) {
        FutexWakeOne(&thread.kernelId);
    }
    uint32 exitCode = kExitWithoutResult;
    if (PassesGate(thread)) {
        try {
            exitCode = thread.entry(thread.argument);
        } catch (abi::__forced_unwind&) {
            // pthread_exit in the entry function; the system insists that it goes on.
            EndThread(thread, kExitWithoutResult);
            throw;
        } catch (...) {
            exitCode = kExitWithoutResult;
        }
    }
    EndThread(thread, exitCode);
    return nullptr;
}

// Signals are the host's business and must not interrupt disk calls here; only those of a thread's own
// faults stay, since blocked ones would end the process before the host's handler sees them.
sigset_t BlockedSignals() noexcept {
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
        sigdelset(&blocked, fault);
    }
    return blocked;
}

// The error of the system, 0 on success.
int StartThread(Thread& thread, uint32 stackBytes) noexcept {
    pthread_attr_t attributes;
    int error = pthread_attr_init(&attributes);
    if (error != 0) {
        return error;
    }
    if (stackBytes != 0) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t wanted = std::max(static_cast<std::size_t>(stackBytes), kLeastStack);
        error = pthread_attr_setstacksize(&attributes, (wanted + page - 1) / page * page);
    }
    if (error == 0) {
        const sigset_t blocked = BlockedSignals();
        sigset_t before;
        // A new thread starts with its maker's mask.
        pthread_sigmask(SIG_SETMASK, &blocked, &before);
        error = pthread_create(&thread.native, &attributes, RunThread, &thread);
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
    pthread_attr_destroy(&attributes);
    return error;
}

} // namespace

void ForgetThread(Thread& thread) noexcept {
    MovesGate(thread, ThreadGate::Dropped);
    // One that is signalled has only the way out of its stack before it, so joining it ends at once, and
    // leaves no thread behind. In a destructor of the thread itself it fails, and the thread goes unattended.
    const bool ended = (thread.word.load() & kSignalled) != 0;
    if (!ended || pthread_join(thread.native, nullptr) != 0) {
        pthread_detach(thread.native);
    }
}

} // namespace vxcio::sysu

using namespace vxcio::sysu;

void* VXC_CreateThread(VXC_SECURITY_ATTRIBUTES* /*security*/, uint32 stackBytes, uint32 (*entry)(void*),
                       void* argument, uint32 flags, unsigned long* id) noexcept {
    if (entry == nullptr || (flags & ~(VXC_CREATE_SUSPENDED | kStackSizeIsReservation)) != 0) {
        SetLastError(VXC_ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const bool suspended = (flags & VXC_CREATE_SUSPENDED) != 0;
    auto* thread = new (std::nothrow) Thread(entry, argument, suspended, id != nullptr);
    if (thread == nullptr) {
        SetLastError(VXC_ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    AddReference(*thread); // the thread's own
    if (StartThread(*thread, stackBytes) != 0) {
        DropReference(*thread);
        DropReference(*thread);
        SetLastError(VXC_ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    if (id != nullptr) {
        // Only the thread itself can ask the kernel for its number.
        while (thread->kernelId.load() == 0) {
            FutexWait(thread->kernelId, 0, kNoDeadline);
        }
        *id = thread->kernelId.load();
    }
    return thread;
}

uint32 VXC_ResumeThread(void* handle) noexcept {
    Thread* thread = ThreadOf(handle);
    if (thread == nullptr) {
        return 0xFFFFFFFFu;
    }
    return MovesGate(*thread, ThreadGate::Open) ? 1 : 0;
}

int VXC_GetExitCodeThread(void* handle, unsigned long* exitCode) noexcept {
    const Thread* thread = ThreadOf(handle);
    if (thread == nullptr) {
        return 0;
    }
    if (exitCode == nullptr) {
        SetLastError(VXC_ERROR_INVALID_PARAMETER);
        return 0;
    }
    *exitCode = thread->exitCode.load();
    return 1;
}
