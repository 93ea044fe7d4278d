// HttpLog.h - what the module takes from the system layer: its settings and the log.
#pragma once

#include "text/Utf8.h"

#include <chrono>
#include <string>

namespace vxcio {

// One line under the module's own name; an error, or a trace.
void LogHttpError(const std::string& text) noexcept;
void LogHttpTrace(const std::string& text) noexcept;

// How long a server may be silent: "HttpTimeOut" in milliseconds; less than 1000 counts as not set.
std::chrono::milliseconds HttpTimeOut() noexcept;

// A text of the section "SoftCodec"; empty where there is none. May throw std::bad_alloc.
std::string HttpTextSetting(const wchar_t* name);

} // namespace vxcio
