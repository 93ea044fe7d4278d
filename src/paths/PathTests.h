// PathTests.h - what kind of path a name is, by its characters alone. Any thread.
#pragma once

namespace vxcio {

// True when two backslashes follow each other anywhere in the path, or its first six characters are
// "LOCAL\", in any case. Null is an empty path.
bool IsUncPath(const wchar_t* path) noexcept;

// The counterpart.
bool IsPlainLocalPath(const wchar_t* path) noexcept;

} // namespace vxcio
