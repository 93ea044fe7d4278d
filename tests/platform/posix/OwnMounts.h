// OwnMounts.h - for children of a test: mounts that nobody else sees.
#pragma once

#include <sched.h>
#include <sys/mount.h>

namespace vxcio::test {

// What this process mounts from now on is its own. False where it may not.
inline bool HaveOwnMounts() {
    return ::unshare(CLONE_NEWNS) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

} // namespace vxcio::test
