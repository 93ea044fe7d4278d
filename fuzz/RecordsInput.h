// RecordsInput.h - any bytes read as any record.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vxcio::fuzz {

// The first byte chooses the record, the rest is read as one. Whatever happens, nothing outside the bytes and
// the record is touched, and what was allocated can be freed; a record that was read without an error comes
// back the same from being stored and read again.
void FuzzRecords(const std::uint8_t* data, std::size_t size);

} // namespace vxcio::fuzz
