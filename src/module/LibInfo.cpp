#include "module/LibInfo.h"

#include "platform/SystemVersion.h"

namespace {

constexpr QLLibInfo kLibInfo = {1, "3.0.18.0", "3.0.0.7", "13:33:35", "Jan  3 2017"};

constexpr uint32 kPlatformBeforeNt = 1;
constexpr uint32 kFirstBuildAfterNt4 = 2195;

} // namespace

const QLLibInfo* QLGetLibInfo() {
    return &kLibInfo;
}

int IsRunNT4OS() {
    vxcio::SystemVersionRecord record = {};
    if (vxcio::SystemVersion().getVersion(&record) == 0) {
        return 0;
    }
    if (record.platformId == kPlatformBeforeNt) {
        vxcio::SystemVersion().exitProcess(0);
    }
    return record.buildNumber < kFirstBuildAfterNt4 ? 1 : 0;
}
