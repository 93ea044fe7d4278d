// HttpReasons.h - why something failed, for people. These may throw std::bad_alloc.
#pragma once

#include <string>

namespace vxcio {

// A status other than those of success.
std::string ReasonOfStatus(int status, bool hasUser);

// The code in which libcurl tells how a transfer ended. `isRedirected`: behind a redirect; `hasHead`: the
// header of the answer has come.
const char* ReasonOfCode(int code, bool isRedirected, bool hasHead) noexcept;

// What another try will not change: a certificate, an address, a redirect, a time that has passed.
bool IsHopelessCode(int code) noexcept;

} // namespace vxcio
