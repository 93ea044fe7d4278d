#include "sources/TwoHandleReading.h"

namespace vxcio {

std::unique_ptr<TwoHandleReading> TwoHandleReading::Start(const TwoCopies& /*copies*/,
                                                          SReadRate& /*rate*/) noexcept {
    return nullptr;
}

TwoHandleReading::~TwoHandleReading() = default;

} // namespace vxcio
