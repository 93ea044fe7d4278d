// SharedName.h - the files that stand for shared names.
//
//   /dev/shm/vxc.<user>.<encoded name>.m    a section
//   /dev/shm/vxc.<user>.<encoded name>.e    an event
//   /dev/shm/vxc.<user>.guard               locked while one of them is made, opened or removed
//
// Each is mode 0600 and belongs to the user; whatever else is found under such a name is left alone and
// counts as forbidden. Every handle is a description of its own that holds the file's lock, shared, and the
// system lets go of it when the process dies, however it does. So a name is alive while its lock cannot be
// had whole; one whose lock can was left by a crash, and whoever meets it removes it. The last one out
// removes his own.
//
//   create   guard { open; whole lock in vain: alive, share it.  had: stale, remove, make anew, share the
//   lock } open     guard { open; whole lock in vain: alive, share it.  had: stale, remove } close    guard {
//   whole lock in vain: others are there.       had: remove }
#pragma once

#include "frame/Types.h"
#include "sysu/posix/Descriptor.h"

#include <optional>
#include <string>
#include <utility>

namespace vxcio::sysu {

enum class SharedKind : char { Section = 'm', Event = 'e' };

// An open file, with its share of the lock, which it gives back at its end; the file goes where nobody else
// has one.
class SharedFile {
public:
    SharedFile() = default;
    // Takes over an open descriptor that has a share of the lock.
    SharedFile(std::string itsPath, int descriptor, uint64 itsBytes, bool didExist) noexcept
        : path(std::move(itsPath)), bytes(itsBytes), existed(didExist), m_descriptor(descriptor) {}
    SharedFile(SharedFile&& other) noexcept
        : path(std::move(other.path)), bytes(other.bytes), existed(other.existed),
          m_descriptor(other.m_descriptor.Take()) {}
    ~SharedFile();
    SharedFile& operator=(SharedFile&&) = delete;

    int Descriptor() const noexcept { return m_descriptor.Get(); }
    // Whether somebody else has opened the file; true where that cannot be told.
    bool HasOthers() const noexcept;

    const std::string path;
    const uint64 bytes = 0;
    const bool existed = false;

private:
    sysu::Descriptor m_descriptor;
};

// The path of the file; may throw std::bad_alloc, as the two below.
std::string SharedPath(const wchar_t* name, SharedKind kind);

// Makes the file with so many zeroed bytes, or opens the live one. `begin` is called with the descriptor of a
// new file before anybody else can see it; false is a failure. Nothing, with the last error, on failure.
std::optional<SharedFile> CreateShared(const wchar_t* name, SharedKind kind, uint64 bytes,
                                       bool (*begin)(int descriptor));
std::optional<SharedFile> OpenShared(const wchar_t* name, SharedKind kind);

// Removes what crashes have left. Done once in a process, when it makes its first name.
void SweepShared() noexcept;

} // namespace vxcio::sysu
