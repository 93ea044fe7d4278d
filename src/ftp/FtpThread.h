// FtpThread.h - how the threads of an FTP source are started.
#pragma once

#include "frame/SystemLayer.h"
#include "frame/Types.h"

namespace vxcio {

// A thread that was made suspended and runs now; the caller closes the handle. Null when it could not be
// made, or let run: then it never touches its context.
inline void* StartFtpThread(uint32 (*entry)(void*), void* context) noexcept {
    constexpr int kTries = 3; // to resume one that runs already does no harm
    void* const thread = VXC_CreateThread(nullptr, 0, entry, context, VXC_CREATE_SUSPENDED, nullptr);
    for (int i = 0; thread != nullptr && i < kTries; ++i) {
        if (VXC_ResumeThread(thread) != 0xFFFFFFFFu) {
            return thread;
        }
    }
    if (thread != nullptr) {
        VXC_CloseHandle(thread); // one that never ran ends with its handle
    }
    return nullptr;
}

} // namespace vxcio
