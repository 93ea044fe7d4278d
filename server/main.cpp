// The plug-in server: VXC32ServU.exe ID. Started by its host, whose process number is the id; ends with it.
#include "CrashReport.h"
#include "HostWatch.h"
#include "Report.h"
#include "Server.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr int kExitUsage = 2;
constexpr int kExitNoChannel = 3;

// The last word of the command line; empty unless it is a number.
std::string TakeId(int count, char** words) {
    std::string id = count > 1 ? words[count - 1] : "";
    id.erase(0, id.find_last_of(' ') + 1);
    return id.find_first_not_of("0123456789") == std::string::npos ? id : "";
}

} // namespace

int main(int count, char** words) {
    using namespace vxcserver;
    BeginCrashReports();
    const std::string id = TakeId(count, words);
    const unsigned long long number = std::strtoull(id.c_str(), nullptr, 10);
    if (id.empty() || number == 0 || number > 0xFFFFFFFFu) {
        std::fprintf(stderr, "VXC32ServU ID: serves plug-ins to the process ID, which starts it\n");
        return kExitUsage;
    }
    BeginReports();
    // Ahead of the channel: who holds that is the host, so the process found here under its number was it.
    HostWatch watch(static_cast<uint32>(number));
    const std::wstring wideId(id.begin(), id.end());
    Server server(watch, wideId.c_str());
    if (!server.Begin()) {
        return kExitNoChannel;
    }
    server.Run();
    return 0;
}
