#include "platform/SafeCopy.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

namespace vxcio {

namespace {

// Where the call for it is forbidden: a write into a pipe reads the memory in the kernel, which answers
// EFAULT instead of a fault. `bytes` is far below what a pipe takes.
int CopyThroughPipe(void* target, const void* source, std::size_t bytes) noexcept {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        return 0;
    }
    const auto wanted = static_cast<ssize_t>(bytes);
    const bool copied = write(ends[1], source, bytes) == wanted && read(ends[0], target, bytes) == wanted;
    close(ends[0]);
    close(ends[1]);
    return copied ? 1 : 0;
}

} // namespace

int CopyFromAnywhere(void* target, const void* source, std::size_t bytes) noexcept {
    const iovec to{target, bytes};
    const iovec from{const_cast<void*>(source), bytes};
    const ssize_t copied = process_vm_readv(getpid(), &to, 1, &from, 1, 0);
    if (copied < 0 && (errno == ENOSYS || errno == EPERM)) {
        return CopyThroughPipe(target, source, bytes);
    }
    return copied == static_cast<ssize_t>(bytes) ? 1 : 0;
}

} // namespace vxcio
