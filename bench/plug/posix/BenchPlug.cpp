// A plug-in that does next to nothing, for measuring what a call costs.
#include "bridge/VXC32Plug.h"
#include "frame/SystemLayer.h"
#include "plug/BenchCommands.h"

#include <unistd.h>

VXC32PLUG_EXPORT int VXC32PlugCall(void* /*instance*/, uint32 command, const wchar_t* /*commandString*/,
                                   CVXCSerialize& request, CVXCSerialize& reply) {
    switch (command) {
    case bench::kNothing:
        return 0;
    case bench::kEcho: {
        unsigned char* data = nullptr;
        unsigned int count = 0;
        return request.ReadBlock(data, count, 0) != 0 && reply.WriteBlock(data, count) != 0 ? 0 : 1;
    }
    case bench::kProcessId:
        reply << static_cast<uint32>(getpid());
        return 0;
    case bench::kDawdle: {
        uint32 milliseconds = 0;
        request >> milliseconds;
        VXC_Sleep(milliseconds);
        return 0;
    }
    default:
        return 1;
    }
}
