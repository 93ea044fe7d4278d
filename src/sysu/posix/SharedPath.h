// SharedPath.h - where the file of a shared name lies.
//
// Letters, digits, "_", "-" and "." of the name stand for themselves, other characters are the bytes of their
// UTF-8 as %xx; what is no character is %u and eight digits. So no name leads out of the folder, and two
// names do not meet. Of long names a beginning, a digest of 64 bits and the length are left.
#pragma once

#include <string>

namespace vxcio::sysu {

inline constexpr const char* kSharedFolder = "/dev/shm";

enum class SharedKind : char { Section = 'm', Event = 'e' };

// With what the names of this user's files begin. Both may throw std::bad_alloc.
std::string SharedPrefix();
// The whole path. A null name is an empty one.
std::string SharedPath(const wchar_t* name, SharedKind kind);

} // namespace vxcio::sysu
