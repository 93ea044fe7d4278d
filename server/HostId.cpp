#include "HostId.h"

#include <string_view>

namespace vxcserver {

std::optional<HostId> TakeHostId(int count, const char* const* words) {
    std::string_view id = count > 1 ? words[count - 1] : "";
    id.remove_prefix(id.find_last_of(' ') + 1);
    if (id.empty() || id.find_first_not_of("0123456789") != std::string_view::npos) {
        return std::nullopt;
    }
    uint64 number = 0;
    for (const char digit : id) {
        number = number * 10 + static_cast<uint64>(digit - '0');
        if (number > 0xFFFFFFFFu) {
            return std::nullopt;
        }
    }
    if (number == 0) {
        return std::nullopt;
    }
    return HostId{std::wstring(id.begin(), id.end()), static_cast<uint32>(number)};
}

} // namespace vxcserver
