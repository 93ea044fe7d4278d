// RemoteCall.h - one request and its reply on a channel. The caller holds the channel's lock all along:
//
//   channel->Lock();
//   CVXCSerialize request, reply;
//   if (RemoteCall_In(channel, VXC32_RCALL_NAMED, L"Statistics", L"MyProxy", request) == 0) {
//       request << frameInfo << image;
//       const int result = RemoteCall_Out(channel, 2000, L"MyProxy", request, reply);
//       ... read the results from reply, and look at reply.m_nError ...
//   }
//   channel->Unlock();
//
// A message that outgrows the space is cut and sent all the same: look at request.m_nError ahead of
// RemoteCall_Out.
#pragma once

#include "bridge/Interacter.h"
#include "bridge/Serialize.h"
#include "frame/Export.h"

// 0 says that the call is named by a string; the other numbers are between a plug-in and its proxy.
enum EVXC32_RCALL_CMD : int { VXC32_RCALL_NAMED = 0 };

// Starts a request: sets `request` up on the request space, with the leader written, so that arguments may
// follow. `callerName`, unless null, stands in the log in place of the function's name. 0; -1 where memory
// lacks; 0x80000004 for a command of 0 with no or an empty string. Where the channel has no spaces, 0 as
// well, with `request` as it was: one that was made for this call has no room then, and takes nothing.
VXCSOFTCODECIO_API int RemoteCall_In(CVXCInteracter* channel, EVXC32_RCALL_CMD command,
                                     const wchar_t* commandString, const wchar_t* callerName,
                                     CVXCSerialize& request) noexcept;

// Sends the request and waits for its reply. The reply's result, and `reply` stands at the first value behind
// it; or the status of the call, VXC_STATUS_TIME_OUT when none came in time, with `reply` as it was. 0 where
// the channel has no spaces.
VXCSOFTCODECIO_API int RemoteCall_Out(CVXCInteracter* channel, unsigned int timeoutMs,
                                      const wchar_t* callerName, CVXCSerialize& request,
                                      CVXCSerialize& reply) noexcept;
