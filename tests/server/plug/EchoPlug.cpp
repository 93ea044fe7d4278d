// A plug-in for tests.
#include "bridge/Records.h"
#include "bridge/VXC32Plug.h"

#include <cwchar>

VXC32PLUG_EXPORT int VXC32PlugCall(void* instance, uint32 command, const wchar_t* commandString,
                                   CVXCSerialize& request, CVXCSerialize& reply) {
    (void)instance;
    if (command == 0 && std::wcscmp(commandString, L"Add") == 0) {
        uint32 a = 0;
        uint32 b = 0;
        request >> a >> b;
        reply << a + b << static_cast<uint32>(sizeof(void*));
    }
    return 0;
}
