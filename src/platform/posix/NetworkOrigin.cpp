#include "platform/NetworkOrigin.h"

#include "frame/SystemLayer.h"
#include "platform/posix/SambaShares.h"

#include <climits>

namespace vxcio {

namespace {
constexpr const wchar_t* kStandardFile = L"/etc/samba/smb.conf";
}

NetworkOrigin OriginOfNetworkNames() {
    NetworkOrigin origin;
    std::wstring name(PATH_MAX, L'\0');
    int size = PATH_MAX;
    const bool isSet = VXC_GetGlobalStringW(L"Software\\Norvex", L"SoftCodec", L"SambaConfiguration",
                                            name.data(), &size, 0) != 0;
    origin.configuration = isSet && name[0] != 0 ? name.c_str() : kStandardFile;
    if (!OwnSamba().netbiosName.empty()) {
        origin.computerFile = origin.configuration;
    }
    return origin;
}

} // namespace vxcio
