#include "platform/SharedObjects.h"

#include "frame/SystemLayer.h"
#include "sysu/NamedObjects.h"

namespace vxcio {

namespace {

void* CreateEventOf(const wchar_t* name) {
    return VXC_CreateEventW(nullptr, 0, 0, name);
}

constinit SharedObjectTable g_table = {CreateNamedSection, OpenNamedSection, MapSection,    UnmapSection,
                                       CloseSection,       SectionHasOthers, CreateEventOf, OpenNamedEvent};

} // namespace

SharedObjectTable& SharedObjects() noexcept {
    return g_table;
}

} // namespace vxcio
