// VXC32Plug.h - what a plug-in module gives the server by which it is loaded. docs/formats/channel.md tells
// how a call reaches it.
//
// A module is loaded once for each RemoteLoadVXC32Plug, and has one instance for each channel that a host
// sets up for it. The calls for one channel come from one thread, one after the other; those for different
// channels come side by side.
//
// The functions are exported under the names below, with VXC32PLUG_EXPORT. The first is required; without the
// others the instance is null.
#pragma once

#include "bridge/Serialize.h"
#include "frame/Export.h"
#include "frame/Types.h"

// One request. `command` and `commandString` are those of RemoteCall_In; the string lives for the call.
// `request` loads and stands behind the leader, `reply` stores and stands behind the leader that the server
// has written. What it returns is the result the host gets. The bytes of the request are the host's and may
// change under the reader.
//
// A plug-in that throws ends the call with 0x80000107; one whose reply does not fit, with 8; both without
// results. One that crashes takes the server with it.
using PFN_VXC32PlugCall = int (*)(void* instance, uint32 command, const wchar_t* commandString,
                                  CVXCSerialize& request, CVXCSerialize& reply);
// Makes the instance for a channel, when its first request comes.
using PFN_VXC32PlugOpen = void* (*)(uint64 plugHandle, const wchar_t* channelId);
// Ends it, with the channel.
using PFN_VXC32PlugClose = void (*)(void* instance);

inline constexpr const char* VXC32PLUG_CALL = "VXC32PlugCall";
inline constexpr const char* VXC32PLUG_OPEN = "VXC32PlugOpen";
inline constexpr const char* VXC32PLUG_CLOSE = "VXC32PlugClose";
