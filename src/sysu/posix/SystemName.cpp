#include "sysu/SystemName.h"

#include "frame/SystemLayer.h"
#include "sysu/posix/NativeName.h"
#include "text/Utf8.h"

#include <algorithm>
#include <new>

namespace vxcio {

int SystemFileName(const wchar_t* name, wchar_t* file, int characters, uint32* error) noexcept {
    uint32 ignored = 0;
    uint32& code = error == nullptr ? ignored : *error;
    try {
        const sysu::NativeName native = sysu::ToNativeName(name);
        code = native.error;
        if (native.error != 0 || file == nullptr || characters <= 0) {
            return 0;
        }
        const std::wstring wide = FromUtf8(native.path);
        const std::size_t length = std::min(wide.size(), static_cast<std::size_t>(characters) - 1);
        *std::copy_n(wide.data(), length, file) = 0;
        return static_cast<int>(length);
    } catch (const std::bad_alloc&) {
        code = VXC_ERROR_NOT_ENOUGH_MEMORY;
        return 0;
    }
}

} // namespace vxcio
