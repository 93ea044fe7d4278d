// SharedName.h - the files that stand for shared names.
//
//   /dev/shm/vxc.<user>.<encoded name>.m         a section
//   /dev/shm/vxc.<user>.<encoded name>.e         an event
//   /dev/shm/vxc.<user>.<process>-<number>.t     one of them that is being made
//   /dev/shm/vxc.<user>.guard                    locked while one of them comes or goes
//
// Each is mode 0600 and belongs to the user; whatever else is found under such a name is left alone and
// counts as forbidden. Every handle is a description of its own that holds the file's lock, shared, and the
// system lets go of it when the process dies, however it does. So a name is alive while its lock cannot be
// had whole; one whose lock can was left by a crash, and whoever meets it removes it. The last one out
// removes his own.
//
//   look     under the guard: open; whole lock in vain: alive, share it; had: stale, remove
//   create   look; nothing there: make a file under a name of its own and share its lock
//            without the guard, since large ones take a while: give it all its memory, write its beginning
//            look again; still nothing there: give it the name
//   open     look
//   close    under the guard: whole lock in vain: others are there; had: remove
//
// So nobody finds a file that is not whole, and the guard is held for microseconds, but for the look through
// the folder with which a process begins. Who is stopped within makes the others wait for two seconds, and
// then fail.
//
// A process that ends leaves all its names, closed or not. One that was forked shares the parent's
// descriptions: it keeps a name alive beyond the parent's death, not beyond the parent's close.
#pragma once

#include "frame/Types.h"
#include "sysu/posix/Descriptor.h"
#include "sysu/posix/SharedPath.h"

#include <optional>
#include <string>
#include <sys/types.h>
#include <unistd.h>
#include <utility>

namespace vxcio::sysu {

// An open file, with its share of the lock, which it gives back at its end; the file goes where nobody else
// has one.
class SharedFile {
public:
    SharedFile() = default;
    // Takes over an open descriptor that has a share of the lock.
    SharedFile(std::string path, int descriptor, uint64 itsBytes, bool didExist) noexcept
        : bytes(itsBytes), existed(didExist), m_path(std::move(path)), m_descriptor(descriptor) {}
    SharedFile(SharedFile&& other) noexcept
        : bytes(other.bytes), existed(other.existed), m_path(std::move(other.m_path)),
          m_process(other.m_process), m_descriptor(other.m_descriptor.Take()) {}
    ~SharedFile();
    SharedFile& operator=(SharedFile&&) = delete;

    int Descriptor() const noexcept { return m_descriptor.Get(); }
    // Whether somebody else has opened the file; true where that cannot be told.
    bool HasOthers() const noexcept;

    const uint64 bytes = 0;
    const bool existed = false;

private:
    std::string m_path;
    // A child that was forked has the same description: what it closes is not the last of it.
    pid_t m_process = getpid();
    sysu::Descriptor m_descriptor;
};

// Makes the file with so many zeroed bytes, or opens the live one. `begin` is called with the descriptor of a
// new file before anybody else can see it; false is a failure. Nothing, with the last error, on failure: 112
// where shared memory is full, 5 where something stands in the way that is not ours, 121 where the guard
// cannot be had. Both may throw std::bad_alloc.
std::optional<SharedFile> CreateShared(const wchar_t* name, SharedKind kind, uint64 bytes,
                                       bool (*begin)(int descriptor));
std::optional<SharedFile> OpenShared(const wchar_t* name, SharedKind kind);

// Removes what crashes have left. Done once in a process, when it makes its first name.
void SweepShared() noexcept;

} // namespace vxcio::sysu
