// HttpLog.h - what the module takes from the system layer: its settings and the log.
#pragma once

#include "text/Utf8.h"

#include <chrono>
#include <string>

namespace vxcio {

// One line under the module's own name; an error, or a trace. UTF-8; they need no memory of their own.
void LogHttpError(const char* text) noexcept;
void LogHttpTrace(const char* text) noexcept;

// How long a server may be silent: "HttpTimeOut" in milliseconds; less than 1000 counts as not set.
std::chrono::milliseconds HttpTimeOut() noexcept;

// A text of the section "SoftCodec"; empty where there is none. May throw std::bad_alloc.
std::string HttpTextSetting(const wchar_t* name);

} // namespace vxcio
