#include "paths/OwnNames.h"

#include "platform/NetworkNames.h"
#include "platform/NetworkOrigin.h"

#include <new>
#include <string>

namespace vxcio {

namespace {

constexpr int kNameCharacters = 128; // as the table of shares takes it
constexpr int kProviderCharacters = 256;
constexpr int kParentCharacters = 1040;

// As conversions ask for it, whose object keeps it to itself.
std::wstring Workgroup() {
    const NetworkNameTable& names = NetworkNames();
    wchar_t computer[kNameCharacters] = {};
    if (names.workstationName(computer, kNameCharacters) <= 0) {
        return {};
    }
    const std::wstring root = std::wstring(L"\\\\") + computer;
    void* const providers = names.openProviders();
    if (providers == nullptr) {
        return {};
    }
    wchar_t provider[kProviderCharacters] = {};
    wchar_t parent[kParentCharacters] = {};
    int length = 0;
    if (names.providerName(providers, provider, kProviderCharacters) > 0) {
        length = names.resourceParent(providers, root.c_str(), provider, parent, kParentCharacters);
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
        const std::wstring workgroup = Workgroup();
        take(context, {computer.c_str(), origin.computerFile.c_str(), workgroup.c_str(),
                       origin.configuration.c_str()});
        return 1;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

} // namespace vxcio
