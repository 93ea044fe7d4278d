// The table of the process.
#include "paths/NetPaths.h"

#include "paths/NetPathExchange.h"
#include "platform/Sockets.h"

#include <new>

namespace vxcio {

CQLNetPathExchange& NetPathExchange() noexcept {
    // Its memory stays for threads that convert while the library goes.
    alignas(CQLNetPathExchange) static unsigned char memory[sizeof(CQLNetPathExchange)];
    static auto* const exchange = new (memory) CQLNetPathExchange;
    return *exchange;
}

void NetPathAttach() noexcept {
    NetPathExchange();
}

// The table stays: somebody may be in a conversion yet.
void NetPathDetach() noexcept {
    Sockets().cleanup();
}

CVXCString UNC2Local(const wchar_t* path) noexcept {
    return NetPathExchange().UNC2Local(path);
}

CVXCString Local2UNC(const wchar_t* path) noexcept {
    return NetPathExchange().Local2UNC(path);
}

int VisitNetPaths(NetPathVisitor visit, void* context) noexcept {
    return NetPathExchange().Visit(visit, context);
}

int VisitSpecialDrives(SpecialDriveVisitor visit, void* context) noexcept {
    return NetPathExchange().VisitSpecialDrives(visit, context);
}

} // namespace vxcio
