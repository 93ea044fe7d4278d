// FileWorkerThreads.h - what runs on the workers of a file handle. Each entry takes over one reference of its
// context. Nothing they touch belongs to a handle or a caller.
#pragma once

#include "frame/Types.h"

namespace vxcio {

// Long-lived; the context is a WorkerLink.
uint32 ReadFileThread(void* link) noexcept;
uint32 WriteFileThread(void* link) noexcept;
uint32 SetFilePointerThread(void* link) noexcept;

// One call; the context is an OneShotCall.
uint32 CreateFileThread(void* call) noexcept;
uint32 CloseFileThread(void* call) noexcept;
uint32 SetEndofFileThread(void* call) noexcept;
uint32 GetFileSizeThread(void* call) noexcept;

} // namespace vxcio
