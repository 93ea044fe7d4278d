// Control.h - orders to a running vxc-stallfs, over a socket in the file system.
#pragma once

#include "../StallRules.h"

#include <string>

namespace stallfs {

// Answers each line that a connection sends, on threads of its own, until the process ends. "quit" calls
// `end`. False with a reason when the socket cannot be made.
bool ServeControl(const std::string& socket, StallRules& rules, void (*end)(), std::string& reason);

// Sends one order and gives the answer; empty when nobody answers within half a minute.
std::string SendOrder(const std::string& socket, const std::string& order);

} // namespace stallfs
