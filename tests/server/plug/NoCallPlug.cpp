// A module that has what a plug-in may have, and not what it must.
#include "bridge/VXC32Plug.h"

VXC32PLUG_EXPORT void* VXC32PlugOpen(uint64 /*plugHandle*/, const wchar_t* /*channelId*/) {
    return nullptr;
}

VXC32PLUG_EXPORT void VXC32PlugClose(void* /*instance*/) {}
