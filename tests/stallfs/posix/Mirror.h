// Mirror.h - a folder, shown at another place, where each operation passes the rules first.
#pragma once

#include "../StallRules.h"

#include <string>

namespace stallfs {

enum class Access { ReadOnly, Writable };

// Mounts and serves until the mount is taken away. False when it could not be mounted, which libfuse has told
// on standard error. `ready` runs once the mount stands. One mirror a process, which ends behind it: what
// libfuse holds is left to that.
bool ServeMirror(const std::string& backing, const std::string& mountPoint, Access access, StallRules& rules,
                 void (*ready)());

// Takes the mount away, however many use it still: what waits in it fails, as from a disk that was pulled
// out. Any thread may call.
void TakeAway(const std::string& mountPoint);

} // namespace stallfs
