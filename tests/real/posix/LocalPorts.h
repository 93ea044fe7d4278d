// LocalPorts.h - ports and addresses for servers that a test starts.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace vxcio::test {

// A port on which nobody listens, nor on the one below it; another one for each attempt. Test processes that
// run beside each other try different ones. Throws std::runtime_error when all are taken.
int FreePort(int attempt);

// Whether a server accepts a connection there and begins with these bytes within the limit.
bool SaysThere(const std::string& host, int port, std::string_view greeting, std::chrono::milliseconds limit);

// Whether a server accepts a connection there now.
bool IsServedAt(const std::string& host, int port);

// The address of this machine at which active transfers are served: that of its name, or of its first
// interface. Empty where it has none but loopback.
std::string AddressForActive();

} // namespace vxcio::test
