// ListInput.h - any bytes as the listing of an FTP server.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vxcio::fuzz {

// The first byte chooses the year that it is. The rest is a listing, taken apart into its lines. Each must be
// read as step by step, by its own shape and by each other one, and nothing outside be touched.
void FuzzListing(const std::uint8_t* data, std::size_t size);

} // namespace vxcio::fuzz
