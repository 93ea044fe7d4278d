// The entry that libFuzzer calls; which function it leads to is said by the build.
#include <cstddef>
#include <cstdint>

namespace vxcio::fuzz {
void VXC_FUZZ_FUNCTION(const std::uint8_t* data, std::size_t size);
} // namespace vxcio::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vxcio::fuzz::VXC_FUZZ_FUNCTION(data, size);
    return 0;
}
