// CallHooks.h - system calls that fail, come up short or are only counted, one by one.
//
// This program defines the functions of the C library that are named here, so the system layer calls them;
// they go on to the system unless the calling thread has a hook in force. Hooks may call the functions
// themselves: while one runs, no hook is in force on its thread.
#pragma once

#include <cstddef>
#include <functional>
#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>

namespace vxcio::test {

// Each gives what the call would give, with errno. Left empty: the system's.
struct CallHooks {
    std::function<int(const char* path, int flags, mode_t mode)> open;
    std::function<ssize_t(int descriptor, void* buffer, std::size_t bytes)> read;
    std::function<ssize_t(int descriptor, const void* buffer, std::size_t bytes)> write;
    std::function<int(int descriptor, int operation)> flock;
    std::function<int(int descriptor, off_t size)> ftruncate;
    std::function<int(int descriptor, int advice)> fadvise;
    std::function<int(const char* path)> unlink;
    std::function<int(const char* oldPath, const char* newPath, unsigned flags)> renameat2;
    std::function<int(int descriptor, const char* path, int flags, unsigned mask, struct statx* record)>
        statx;
    std::function<int(int descriptor)> close;
    std::function<int(int descriptor)> fsync;
    std::function<int(const timespec* time)> nanosleep;
};

// In force on the thread that made it, for its lifetime; one at a time.
class HookScope {
public:
    explicit HookScope(CallHooks hooks);
    ~HookScope();
    HookScope(const HookScope&) = delete;
    HookScope& operator=(const HookScope&) = delete;

private:
    CallHooks m_hooks;
};

} // namespace vxcio::test
