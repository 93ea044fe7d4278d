#include "paths/OwnNames.h"

#include "platform/NetworkNames.h"
#include "platform/NetworkOrigin.h"

#include <new>
#include <string>

namespace vxcio {

namespace {

constexpr int kNameCharacters = 260;

std::wstring Workgroup(const std::wstring& computer) {
    const NetworkNameTable& names = NetworkNames();
    void* const providers = names.openProviders();
    if (providers == nullptr) {
        return {};
    }
    wchar_t provider[kNameCharacters] = {};
    wchar_t parent[kNameCharacters] = {};
    int length = 0;
    if (names.providerName(providers, provider, kNameCharacters) > 0) {
        length =
            names.resourceParent(providers, (L"\\\\" + computer).c_str(), provider, parent, kNameCharacters);
    }
    names.closeProviders(providers);
    return length > 0 ? parent : L"";
}

} // namespace

int AskOwnNames(OwnNamesTaker take, void* context) noexcept {
    try {
        wchar_t name[kNameCharacters] = {};
        const std::wstring computer = NetworkNames().computerName(name, kNameCharacters) > 0 ? name : L"";
        const NetworkOrigin origin = OriginOfNetworkNames();
        const std::wstring workgroup = Workgroup(computer);
        take(context, {computer.c_str(), origin.computerFile.c_str(), workgroup.c_str(),
                       origin.configuration.c_str()});
        return 1;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

} // namespace vxcio
