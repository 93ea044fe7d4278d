#include "paths/OwnNames.h"

#include "paths/NetPathExchange.h"
#include "platform/NetworkNames.h"
#include "platform/NetworkOrigin.h"

#include <new>
#include <string>

namespace vxcio {

namespace {
constexpr int kNameCharacters = 128; // as the table of shares takes it
}

int AskOwnNames(OwnNamesTaker take, void* context) noexcept {
    try {
        wchar_t name[kNameCharacters] = {};
        const std::wstring computer = NetworkNames().computerName(name, kNameCharacters) > 0 ? name : L"";
        const NetworkOrigin origin = OriginOfNetworkNames();
        const std::wstring workgroup = NetPathExchange().Workgroup();
        take(context, {computer.c_str(), origin.computerFile.c_str(), workgroup.c_str(),
                       origin.configuration.c_str()});
        return 1;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

} // namespace vxcio
