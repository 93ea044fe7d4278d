// PathParts.h - names of shares taken apart: their parts between backslashes, and their host. Pure; any
// thread. What gives a string may throw std::bad_alloc.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vxcio {

// The part of a name up to the backslash that ends its host, which is the first from index 2 on; the whole
// name where there is none.
std::wstring_view HostEnd(std::wstring_view name) noexcept;

// Where the path lies at or below the root: the parts behind the root, each with a backslash in front. Runs
// of backslashes count as one, at the ends as none.
std::optional<std::wstring> SuffixBelow(std::wstring_view path, std::wstring_view root);

// Four numbers up to 255 with dots between, with a digit last and at least seven characters in all. Groups of
// many digits and empty ones count by their value.
bool IsAddress(std::wstring_view text) noexcept;

} // namespace vxcio
