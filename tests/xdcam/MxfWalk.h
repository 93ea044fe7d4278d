// MxfWalk.h - an MXF file taken apart (SMPTE 377M), by its lengths alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vxcio::test {

using Bytes = std::vector<std::uint8_t>;

struct Klv {
    std::size_t at;
    std::string key; // in hexadecimal digits
    std::size_t value;
    std::size_t length;
    bool isLong; // its length has four bytes
};

std::uint64_t NumberAt(const Bytes& file, std::size_t at, std::size_t bytes);
// All of a file; those that are whole.
std::vector<Klv> KlvsOf(const Bytes& file);
bool IsPartition(const Klv& item);
// The header metadata: what the partition pack at the start says to belong to it.
std::vector<Klv> HeaderOf(const Bytes& file);
// The values of a tag, of eight bytes, in the sets of a kind; in their order.
std::vector<std::uint64_t> TagValues(const Bytes& file, const std::string& setKey, std::uint32_t tag);
// Where the first of them stands; 0 where there is none.
std::size_t PlaceOfTag(const Bytes& file, const std::string& setKey, std::uint32_t tag);

inline const std::string kTrackKey = "060e2b34025301010d01010101013b00";
inline constexpr std::uint32_t kOriginTag = 0x4B02;

} // namespace vxcio::test
