#include "platform/NetworkOrigin.h"

#include "platform/posix/SambaShares.h"
#include "text/Utf8.h"

namespace vxcio {

NetworkOrigin OriginOfNetworkNames() {
    NetworkOrigin origin;
    origin.configuration = FromUtf8(OwnSambaFile());
    if (!OwnSamba()->netbiosName.empty()) {
        origin.computerFile = origin.configuration;
    }
    return origin;
}

} // namespace vxcio
