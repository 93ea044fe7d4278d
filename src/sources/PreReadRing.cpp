#include "sources/PreReadRing.h"

namespace vxcio {

std::unique_ptr<PreReadRing> PreReadRing::Start(RingFeed& /*feed*/, const RingShape& /*shape*/,
                                                const void* /*owner*/) noexcept {
    return nullptr;
}

PreReadRing::~PreReadRing() = default;

} // namespace vxcio
