// SystemSender.h - the one channel of this process to its server, and the text of the process's number that
// names it.
#pragma once

#include "bridge/InteracterImpl.h"
#include "frame/VXCString.h"

namespace vxcio {

// Null while there is none. Others hold it without a lock, so one that was retired lives on, released, to the
// unloading of the library.
CVXCInteracterImpl* SystemSender() noexcept;
// Makes it, in the place of the former. Null, with no change, where memory lacks.
CVXCInteracterImpl* MakeSystemSender() noexcept;
// Takes it away and releases it.
void RetireSystemSender() noexcept;
// At the unloading of the library and the end of the process: releases what there is and frees all. Nothing
// where a thread is within a call of one of them, as may be when the process ends: the system then lets go of
// what it has.
void FreeSystemSenders() noexcept;
// The same, and the number's text is cleared; nothing while a server is being started or stopped.
void DetachServerProcess() noexcept;

// The process's number by "%08d". Kept once it was made; empty until then.
CVXCString ProcessIdText() noexcept;
void MakeProcessIdText() noexcept;
void ClearProcessIdText() noexcept;

} // namespace vxcio
