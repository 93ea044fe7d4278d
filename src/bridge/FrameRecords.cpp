// What belongs to a frame: its times, its time code, its picture.
#include "bridge/RecordFields.h"

#include <array>
#include <cstddef>
#include <tuple>

using vxcio::RecordDigit;
using vxcio::RecordReader;
using vxcio::RecordWriter;

namespace {

// Two words in every process and by every compiler.
static_assert(sizeof(SPlugLinearTimeCode) == 8);

// Bit fields cannot be referred to, so the digits and flags pass through an array, in the order of the wire.
using Digits = std::array<RecordDigit, 22>;

template <class Fields>
void Walk(Fields&& fields, Digits& digits) {
    std::apply([&fields](auto&... digit) { fields.Numbers(digit...); }, digits);
}

template <class Fields>
void Walk(Fields&& fields, SPlugAFDPacket& record) {
    fields.Numbers(record.byte0, record.byte1, record.byte2, record.byte3, record.byte4, record.byte5,
                   record.byte6, record.byte7);
}

template <class Fields>
void Walk(Fields&& fields, SPlugFRAMEINFO& record) {
    // The last of the four times is the first on the wire.
    fields.Numbers(record.value0, record.value1, record.value2, record.value3, record.value4, record.value5,
                   record.value6, record.value7, record.time3, record.time0, record.time1, record.time2,
                   record.value8);
    fields.Record(record.timeCode);
    fields.Numbers(record.value9);
    fields.Record(record.afd);
    fields.Record(record.append);
    fields.Numbers(record.value10, record.value11, record.value12, record.value13, record.value14,
                   record.value15);
}

template <class Fields>
void Walk(Fields&& fields, SPlugSoftImageBuffer& record) {
    fields.Numbers(record.value0, record.value1, record.value2, record.value3, record.value4, record.value5,
                   record.value6, record.value7, record.value8, record.value9, record.value10, record.value11,
                   record.value12);
    for (std::size_t i = 0; i < 4; ++i) {
        fields.Numbers(record.planeA[i], record.planeB[i], record.planeC[i], record.planeD[i]);
        fields.Block(record.planeBlock[i]);
    }
    fields.Numbers(record.value13, record.value14, record.value15, record.value16, record.value17);
}

} // namespace

CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugLinearTimeCode& record) {
    Digits digits = {
        RecordDigit{record.frameUnits}, RecordDigit{record.frameTens},   RecordDigit{record.flag6},
        RecordDigit{record.flag7},      RecordDigit{record.secondUnits}, RecordDigit{record.secondTens},
        RecordDigit{record.flag15},     RecordDigit{record.minuteUnits}, RecordDigit{record.minuteTens},
        RecordDigit{record.flag23},     RecordDigit{record.hourUnits},   RecordDigit{record.hourTens},
        RecordDigit{record.flag30},     RecordDigit{record.flag31},      RecordDigit{record.userGroup0},
        RecordDigit{record.userGroup1}, RecordDigit{record.userGroup2},  RecordDigit{record.userGroup3},
        RecordDigit{record.userGroup4}, RecordDigit{record.userGroup5},  RecordDigit{record.userGroup6},
        RecordDigit{record.userGroup7}};
    Walk(RecordWriter(stream), digits);
    return stream;
}

CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugLinearTimeCode& record) {
    Digits digits{};
    Walk(RecordReader(stream), digits);
    record.frameUnits = digits[0].value & 15u;
    record.frameTens = digits[1].value & 3u;
    record.flag6 = digits[2].value & 1u;
    record.flag7 = digits[3].value & 1u;
    record.secondUnits = digits[4].value & 15u;
    record.secondTens = digits[5].value & 7u;
    record.flag15 = digits[6].value & 1u;
    record.minuteUnits = digits[7].value & 15u;
    record.minuteTens = digits[8].value & 7u;
    record.flag23 = digits[9].value & 1u;
    record.hourUnits = digits[10].value & 15u;
    record.hourTens = digits[11].value & 3u;
    record.flag30 = digits[12].value & 1u;
    record.flag31 = digits[13].value & 1u;
    record.userGroup0 = digits[14].value & 15u;
    record.userGroup1 = digits[15].value & 15u;
    record.userGroup2 = digits[16].value & 15u;
    record.userGroup3 = digits[17].value & 15u;
    record.userGroup4 = digits[18].value & 15u;
    record.userGroup5 = digits[19].value & 15u;
    record.userGroup6 = digits[20].value & 15u;
    record.userGroup7 = digits[21].value & 15u;
    return stream;
}

CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugAFDPacket& record) {
    Walk(RecordWriter(stream), record);
    return stream;
}

CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugAFDPacket& record) {
    Walk(RecordReader(stream), record);
    return stream;
}

CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugFRAMEINFO& record) {
    Walk(RecordWriter(stream), record);
    return stream;
}

CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugFRAMEINFO& record) {
    Walk(RecordReader(stream), record);
    return stream;
}

CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugSoftImageBuffer& record) {
    Walk(RecordWriter(stream), record);
    return stream;
}

CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugSoftImageBuffer& record) {
    Walk(RecordReader(stream), record);
    return stream;
}
