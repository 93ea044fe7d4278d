// SerializeProtobuf.h - the records as messages of protobuf.
#pragma once

#include "bridge/Records.h"

#include "SerializeRecords.pb.h"

#include <type_traits>

namespace vxcbench {

// The message of a record.
template <class Record>
using MessageOf = std::conditional_t<std::is_same_v<Record, SPlugFRAMEINFO>, Frame, Stream>;

void Fill(Frame& message, const SPlugFRAMEINFO& record);
void Fill(Stream& message, const SPlugStreamInfo& record);

} // namespace vxcbench
