// Json.h - how facts are printed as JSON.
#pragma once

#include "Console.h"

#include <nlohmann/json.hpp>

namespace vxcio::tool {

// Keys stay in the order in which they were set.
using Json = nlohmann::ordered_json;

// Bytes of names that are no UTF-8 become U+FFFD, as JSON has no form for them.
inline void PrintJson(const Json& value) {
    Print(value.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

// As one line.
inline void PrintJsonLine(const Json& value) {
    Print(value.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
}

} // namespace vxcio::tool
