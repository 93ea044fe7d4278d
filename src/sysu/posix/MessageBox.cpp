#include "sysu/MessageBox.h"

#include "sysu/HostControl.h"

namespace vxcio {

int ShowMessageBox(const wchar_t* /*text*/, const wchar_t* /*caption*/, uint32 /*kind*/) {
    return kPromptNo;
}

} // namespace vxcio
