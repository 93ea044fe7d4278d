// Mxf.h - the little that the example knows of MXF: the pack that begins the header partition.
#pragma once

#include "frame/Types.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace mxf {

// Where things lie in the header partition pack, which begins the file.
struct HeaderPack {
    std::size_t size;     // of the whole pack with key and length
    std::size_t status;   // the byte that tells open from closed, incomplete from complete
    std::size_t footerAt; // the eight bytes that tell where the footer partition begins
};

// Nothing where `file` does not begin with a closed header partition that tells of a footer.
std::optional<HeaderPack> FindClosedHeader(const std::vector<uint8>& file);

// The pack as a muxer writes it first: open and incomplete, and of a footer nothing is known yet.
std::vector<uint8> OpenHeader(const std::vector<uint8>& file, const HeaderPack& pack);

} // namespace mxf
