// EchoRecords.h - the records that the echo of the test plug-in knows, by number.
#pragma once

#include "bridge/Records.h"

#include <cstddef>
#include <tuple>
#include <utility>

namespace vxcio::test {

using EchoRecords = std::tuple<SOutParamLeader, SPlugVideoStreamInfo, SPlugAudioStreamInfo, SPlugSubTitleInfo,
                               SPlugDemuxerReadSet, SPlugLinearTimeCode, SPlugAFDPacket, SPlugAppendInfo_T,
                               SPlugStreamMetaInfo, SPlugStreamInfo, SPlugFRAMEINFO, SPlugSoftImageBuffer>;
inline constexpr uint32 kEchoRecords = std::tuple_size_v<EchoRecords>;

// Calls `act` with an empty record of that number. False for a number that is none.
template <class Act, std::size_t... numbers>
bool WithEchoRecord(uint32 number, Act act, std::index_sequence<numbers...>) {
    const auto one = [&]<std::size_t n>(std::integral_constant<std::size_t, n>) {
        if (number != n) {
            return false;
        }
        std::tuple_element_t<n, EchoRecords> record{};
        act(record);
        return true;
    };
    return (one(std::integral_constant<std::size_t, numbers>{}) || ...);
}
template <class Act>
bool WithEchoRecord(uint32 number, Act act) {
    return WithEchoRecord(number, act, std::make_index_sequence<kEchoRecords>{});
}

} // namespace vxcio::test
