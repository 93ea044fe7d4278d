// The plug-in server: VXC32ServU.exe ID. Started by its host, whose process number is the id; ends with it.
#include "CrashReport.h"
#include "HostId.h"
#include "HostWatch.h"
#include "Report.h"
#include "Server.h"

#include <cstdio>

namespace {

constexpr int kExitUsage = 2;
constexpr int kExitNoChannel = 3;

} // namespace

int main(int count, char** words) {
    using namespace vxcserver;
    BeginCrashReports();
    const std::optional<HostId> host = TakeHostId(count, words);
    if (!host.has_value()) {
        std::fprintf(stderr, "VXC32ServU ID: serves plug-ins to the process ID, which starts it\n");
        return kExitUsage;
    }
    BeginReports();
    // Ahead of the channel: who holds that is the host, so the process found here under its number was it.
    HostWatch watch(host->process);
    Server server(watch, host->text.c_str());
    if (!server.Begin()) {
        return kExitNoChannel;
    }
    server.Run();
    return 0;
}
