// NamedEvent.h - auto-reset events that processes share by name.
//
// The state is four words in a shared file, with one layout for all widths:
//
//   offset  0  magic    "VXCE", 0x45435856
//           4  version  1
//           8  state    1 while it is signalled, else 0 (what else stands there counts as 1); who sleeps
//                       sleeps on this word
//          12  waiters  threads that sleep or are about to, in all processes
//
//   signal   state = 1; if waiters is not 0, wake one
//   take     state to 0 by compare-and-exchange
//   wait     take; look for a while; waiters + 1; { take, or sleep while state is 0 }; waiters - 1;
//            wake one for each event of the wait that is signalled still
//
// The state is stored before the waiters are looked at, and the waiters counted before the state is looked
// at, all in one order: so either the signal sees the waiter or the waiter the signal. A waiter that dies
// leaves its count, which costs later signals a system call each and nothing else. A wait for several events
// may use up the wakes of all of them and takes one signal: so it hands the other wakes on. All a bad process
// can do here is to signal or to be silent; limits of waits hold whatever it writes.
#pragma once

#include "frame/Types.h"
#include "sysu/posix/PartnerGuess.h"
#include "sysu/posix/SharedName.h"
#include "sysu/posix/WaitObject.h"

#include <atomic>
#include <utility>

namespace vxcio::sysu {

struct SharedEventWords {
    std::atomic<uint32> magic;
    std::atomic<uint32> version;
    std::atomic<uint32> state;
    std::atomic<uint32> waiters;
};
static_assert(sizeof(SharedEventWords) == 16 && std::atomic<uint32>::is_always_lock_free);

inline constexpr uint32 kSharedEventMagic = 0x45435856u;
inline constexpr uint32 kSharedEventVersion = 1;
inline constexpr uint64 kSharedEventBytes = 4096;

struct NamedEvent : WaitObject {
    NamedEvent(SharedFile&& itsFile, SharedEventWords& itsWords) noexcept
        : WaitObject(WaitKind::NamedEvent, false), file(std::move(itsFile)), words(itsWords) {}
    ~NamedEvent();

    const SharedFile file;
    SharedEventWords& words;
};

// The handle, or null with the last error.
void* MakeNamedEvent(const wchar_t* name, bool signalled) noexcept;
void* OpenEventOf(const wchar_t* name) noexcept;

void SignalNamed(NamedEvent& event) noexcept;
void UnsignalNamed(NamedEvent& event) noexcept;

extern constinit thread_local PartnerGuess t_partner;

// A wait for one of several objects, some of which are named events. The lowest that is signalled ends it;
// the others keep their signals, or get them back.
uint32 WaitWithNamed(WaitObject* const* objects, uint32 count, uint32 milliseconds) noexcept;

} // namespace vxcio::sysu
