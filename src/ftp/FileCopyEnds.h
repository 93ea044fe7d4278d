// FileCopyEnds.h - what QLFileCopy makes its two ends by.
#pragma once

#include "frame/SoftDataIO.h"

namespace vxcio {

// CSoftDataSource::Construct and CQLSoftDataSink::Construct, unless a test puts others in their place; no
// other thread may copy while they change.
struct FileCopyEnds {
    CSoftDataSource* (*source)(IOWordkMode mode);
    CQLSoftDataSink* (*sink)(IOWordkMode mode);
};

FileCopyEnds& EndsOfFileCopy() noexcept;

} // namespace vxcio
