#include "sysu/posix/CallHooks.h"

#include <cstdarg>
#include <cstdio>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace vxcio::test {

namespace {

constinit thread_local const CallHooks* t_hooks = nullptr;

// Calls the hook that `member` names where it is in force, else `real`.
template <class Member, class Real, class... Arguments>
auto Hooked(Member member, Real real, Arguments... arguments) {
    const CallHooks* const hooks = t_hooks;
    if (hooks == nullptr || !(hooks->*member)) {
        return real(arguments...);
    }
    t_hooks = nullptr;
    const auto result = (hooks->*member)(arguments...);
    t_hooks = hooks;
    return result;
}

template <class... Arguments>
int Call(long number, Arguments... arguments) {
    return static_cast<int>(::syscall(number, arguments...));
}

} // namespace

HookScope::HookScope(CallHooks hooks) : m_hooks(std::move(hooks)) {
    t_hooks = &m_hooks;
}

HookScope::~HookScope() {
    t_hooks = nullptr;
}

} // namespace vxcio::test

using namespace vxcio::test;

#pragma GCC visibility push(default) // seen by the libraries of this program
extern "C" {

int open(const char* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & (O_CREAT | O_TMPFILE)) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    return Hooked(
        &CallHooks::open, [](const char* p, int f, mode_t m) { return Call(SYS_openat, AT_FDCWD, p, f, m); },
        path, flags, mode);
}

ssize_t read(int descriptor, void* buffer, size_t bytes) {
    return Hooked(
        &CallHooks::read,
        [](int d, void* b, size_t n) { return static_cast<ssize_t>(::syscall(SYS_read, d, b, n)); },
        descriptor, buffer, bytes);
}

ssize_t write(int descriptor, const void* buffer, size_t bytes) {
    return Hooked(
        &CallHooks::write,
        [](int d, const void* b, size_t n) { return static_cast<ssize_t>(::syscall(SYS_write, d, b, n)); },
        descriptor, buffer, bytes);
}

int flock(int descriptor, int operation) noexcept {
    return Hooked(
        &CallHooks::flock, [](int d, int o) { return Call(SYS_flock, d, o); }, descriptor, operation);
}

int ftruncate(int descriptor, off_t size) noexcept {
    return Hooked(
        &CallHooks::ftruncate, [](int d, off_t s) { return Call(SYS_ftruncate, d, s); }, descriptor, size);
}

int posix_fadvise(int descriptor, off_t, off_t, int advice) noexcept {
    return Hooked(
        &CallHooks::fadvise, [](int d, int a) { return Call(SYS_fadvise64, d, 0L, 0L, a); }, descriptor,
        advice);
}

int unlink(const char* path) noexcept {
    return Hooked(
        &CallHooks::unlink, [](const char* p) { return Call(SYS_unlinkat, AT_FDCWD, p, 0); }, path);
}

int renameat2(int, const char* oldPath, int, const char* newPath, unsigned flags) noexcept {
    return Hooked(
        &CallHooks::renameat2,
        [](const char* o, const char* n, unsigned f) {
            return Call(SYS_renameat2, AT_FDCWD, o, AT_FDCWD, n, f);
        },
        oldPath, newPath, flags);
}

int statx(int descriptor, const char* path, int flags, unsigned mask, struct statx* record) noexcept {
    return Hooked(
        &CallHooks::statx,
        [](int d, const char* p, int f, unsigned m, struct statx* r) {
            return Call(SYS_statx, d, p, f, m, r);
        },
        descriptor, path, flags, mask, record);
}

int close(int descriptor) {
    // A sanitizer that keeps account of descriptors has to hear of their end.
    static const auto next = reinterpret_cast<int (*)(int)>(::dlsym(RTLD_NEXT, "close"));
    return Hooked(
        &CallHooks::close, [](int d) { return next(d); }, descriptor);
}

int fsync(int descriptor) {
    return Hooked(
        &CallHooks::fsync, [](int d) { return Call(SYS_fsync, d); }, descriptor);
}

int nanosleep(const timespec* time, timespec* left) {
    return Hooked(
        &CallHooks::nanosleep, [left](const timespec* t) { return Call(SYS_nanosleep, t, left); }, time);
}

} // extern "C"
#pragma GCC visibility pop
