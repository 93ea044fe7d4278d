#include "fuzz/MxfHeaderInput.h"

#include "ftp/MxfBytes.h"
#include "ftp/MxfHeader.h"
#include "fuzz/Require.h"

#include <algorithm>
#include <memory>
#include <string>

namespace vxcio::fuzz {

namespace {

// Memory of its exact size, so that a step over its end is seen.
std::unique_ptr<std::uint8_t[]> Exact(const std::string& bytes) {
    std::unique_ptr<std::uint8_t[]> memory(new std::uint8_t[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), memory.get());
    return memory;
}

} // namespace

void FuzzMxfHeader(const std::uint8_t* data, std::size_t size) {
    std::string header(reinterpret_cast<const char*>(data), size);
    Require(TrackOrigin(Exact(header).get(), header.size()) == test::mxf::ModelOrigin(header),
            "an Origin is found step by step");
    header.resize(kPartitionHead);
    Require(HeaderByteCount(Exact(header).get()) == test::mxf::NumberAt(header, 52, 8),
            "the size of a header is the number at its place");
}

} // namespace vxcio::fuzz
