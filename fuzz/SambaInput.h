// SambaInput.h - any bytes as Samba's configuration and as the file of a user's share.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vxcio::fuzz {

// The input is parted at its zero bytes: a configuration, the file that each of its lines "include" leads to,
// and the file of a user's share. What comes out must be such that every share can be found by its name.
void FuzzSamba(const std::uint8_t* data, std::size_t size);

} // namespace vxcio::fuzz
