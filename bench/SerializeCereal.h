// SerializeCereal.h - the records in an archive of cereal.
#pragma once

#include "bridge/Records.h"

#include <cereal/archives/binary.hpp>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <istream>
#include <ostream>
#include <streambuf>

namespace vxcbench {

// A stream of the C++ library over memory that is there, for both directions, without a step too many.
class MemoryBuffer final : public std::streambuf {
public:
    MemoryBuffer(unsigned char* bytes, std::size_t count)
        : m_begin(reinterpret_cast<char*>(bytes)), m_end(m_begin + count), m_next(m_begin) {}
    void Rewind() { m_next = m_begin; }
    std::size_t Position() const { return static_cast<std::size_t>(m_next - m_begin); }

protected:
    std::streamsize xsputn(const char* bytes, std::streamsize count) override {
        count = std::min<std::streamsize>(count, m_end - m_next);
        std::memcpy(m_next, bytes, static_cast<std::size_t>(count));
        m_next += count;
        return count;
    }
    std::streamsize xsgetn(char* bytes, std::streamsize count) override {
        count = std::min<std::streamsize>(count, m_end - m_next);
        std::memcpy(bytes, m_next, static_cast<std::size_t>(count));
        m_next += count;
        return count;
    }

private:
    char* const m_begin;
    char* const m_end;
    char* m_next;
};

} // namespace vxcbench

// The archive finds these beside the records.

template <class Archive>
void serialize(Archive& archive, SPlugVideoStreamInfo& record) {
    archive(record.value0, record.value1, record.value2, record.value3, record.value4, record.value5,
            record.value6, record.value7, record.value8, record.value9, record.value10, record.value11,
            record.value12, record.value13, record.value14, record.value15, record.value16, record.value17,
            record.value18, record.value19, record.value20, record.value21, record.value22, record.value23,
            record.value24, record.value25, record.value26);
}

template <class Archive>
void serialize(Archive& archive, SPlugAudioStreamInfo& record) {
    archive(record.value0, record.value1, record.value2, record.value3, record.value4, record.value5,
            record.value6, record.value7, record.value8, record.value9, record.value10, record.value11,
            record.value12, record.value13, record.value14);
}

template <class Archive>
void serialize(Archive& archive, SPlugSubTitleInfo& record) {
    archive(record.value0, record.value1, record.value2, record.value3, record.value4, record.value5,
            record.value6);
}

template <class Archive>
void serialize(Archive& archive, SPlugStreamMetaInfo& record) {
    archive(cereal::binary_data(record.text0, sizeof record.text0),
            cereal::binary_data(record.text1, sizeof record.text1),
            cereal::binary_data(record.text2, sizeof record.text2),
            cereal::binary_data(record.text3, sizeof record.text3), record.value0, record.value1);
}

template <class Archive>
void save(Archive& archive, const SPlugAppendInfo_T& record) {
    archive(record.type, record.size);
    if (record.size != 0) {
        archive(cereal::binary_data(record.data, record.size));
    }
}

template <class Archive>
void load(Archive& archive, SPlugAppendInfo_T& record) {
    archive(record.type, record.size);
    if (record.size != 0) {
        record.data = SerilizeMalloc(record.size);
        archive(cereal::binary_data(record.data, record.size));
    }
}

template <class Archive>
void save(Archive& archive, const SPlugLinearTimeCode& record) {
    archive(uint32{record.frameUnits}, uint32{record.frameTens}, uint32{record.flag6}, uint32{record.flag7},
            uint32{record.secondUnits}, uint32{record.secondTens}, uint32{record.flag15},
            uint32{record.minuteUnits}, uint32{record.minuteTens}, uint32{record.flag23},
            uint32{record.hourUnits}, uint32{record.hourTens}, uint32{record.flag30}, uint32{record.flag31},
            uint32{record.userGroup0}, uint32{record.userGroup1}, uint32{record.userGroup2},
            uint32{record.userGroup3}, uint32{record.userGroup4}, uint32{record.userGroup5},
            uint32{record.userGroup6}, uint32{record.userGroup7});
}

template <class Archive>
void load(Archive& archive, SPlugLinearTimeCode& record) {
    uint32 frameUnits, frameTens, flag6, flag7, secondUnits, secondTens, flag15, minuteUnits, minuteTens,
        flag23, hourUnits, hourTens, flag30, flag31, userGroup0, userGroup1, userGroup2, userGroup3,
        userGroup4, userGroup5, userGroup6, userGroup7;
    archive(frameUnits, frameTens, flag6, flag7, secondUnits, secondTens, flag15, minuteUnits, minuteTens,
            flag23, hourUnits, hourTens, flag30, flag31, userGroup0, userGroup1, userGroup2, userGroup3,
            userGroup4, userGroup5, userGroup6, userGroup7);
    record.frameUnits = frameUnits & 15u;
    record.frameTens = frameTens & 3u;
    record.flag6 = flag6 & 1u;
    record.flag7 = flag7 & 1u;
    record.secondUnits = secondUnits & 15u;
    record.secondTens = secondTens & 7u;
    record.flag15 = flag15 & 1u;
    record.minuteUnits = minuteUnits & 15u;
    record.minuteTens = minuteTens & 7u;
    record.flag23 = flag23 & 1u;
    record.hourUnits = hourUnits & 15u;
    record.hourTens = hourTens & 3u;
    record.flag30 = flag30 & 1u;
    record.flag31 = flag31 & 1u;
    record.userGroup0 = userGroup0 & 15u;
    record.userGroup1 = userGroup1 & 15u;
    record.userGroup2 = userGroup2 & 15u;
    record.userGroup3 = userGroup3 & 15u;
    record.userGroup4 = userGroup4 & 15u;
    record.userGroup5 = userGroup5 & 15u;
    record.userGroup6 = userGroup6 & 15u;
    record.userGroup7 = userGroup7 & 15u;
}

template <class Archive>
void serialize(Archive& archive, SPlugAFDPacket& record) {
    archive(record.byte0, record.byte1, record.byte2, record.byte3, record.byte4, record.byte5, record.byte6,
            record.byte7);
}

template <class Archive>
void serialize(Archive& archive, SPlugFRAMEINFO& record) {
    archive(record.value0, record.value1, record.value2, record.value3, record.value4, record.value5,
            record.value6, record.value7, record.time3, record.time0, record.time1, record.time2,
            record.value8, record.timeCode, record.value9, record.afd, record.append, record.value10,
            record.value11, record.value12, record.value13, record.value14, record.value15);
}

template <class Archive>
void serialize(Archive& archive, SPlugStreamInfo& record) {
    archive(record.value0, record.value1, record.value2, record.value3, record.value4, record.value5,
            record.value6, record.video, record.value7, record.audio, record.value8, record.value9,
            record.subTitle, record.value10, record.meta, record.append, record.value11,
            cereal::binary_data(record.block, sizeof record.block), record.value12, record.value13,
            record.value14, record.value15, record.value16);
}
