// What belongs to a frame: its times, its time code, its picture.
#include "bridge/RecordFields.h"

#include <cstddef>

using vxcio::RecordReader;
using vxcio::RecordWriter;

namespace {

// Two words in every process and by every compiler.
static_assert(sizeof(SPlugLinearTimeCode) == 8);

template <class Fields>
void Walk(Fields fields, SPlugAFDPacket& record) {
    fields.All(record.byte0, record.byte1, record.byte2, record.byte3, record.byte4, record.byte5,
               record.byte6, record.byte7);
}

template <class Fields>
void Walk(Fields fields, SPlugFRAMEINFO& record) {
    // The last of the four times is the first on the wire.
    fields.All(record.value0, record.value1, record.value2, record.value3, record.value4, record.value5,
               record.value6, record.value7, record.time3, record.time0, record.time1, record.time2,
               record.value8, record.timeCode, record.value9, record.afd, record.append, record.value10,
               record.value11, record.value12, record.value13, record.value14, record.value15);
}

template <class Fields>
void Walk(Fields fields, SPlugSoftImageBuffer& record) {
    fields.All(record.value0, record.value1, record.value2, record.value3, record.value4, record.value5,
               record.value6, record.value7, record.value8, record.value9, record.value10, record.value11,
               record.value12);
    for (std::size_t i = 0; i < 4; ++i) {
        fields.All(record.planeA[i], record.planeB[i], record.planeC[i], record.planeD[i],
                   record.planeBlock[i]);
    }
    fields.All(record.value13, record.value14, record.value15, record.value16, record.value17);
}

} // namespace

// Bit fields cannot be referred to, so the time code has two lists.
CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugLinearTimeCode& record) {
    RecordWriter fields(stream);
    fields.Field(uint32{record.frameUnits});
    fields.Field(uint32{record.frameTens});
    fields.Field(uint32{record.flag6});
    fields.Field(uint32{record.flag7});
    fields.Field(uint32{record.secondUnits});
    fields.Field(uint32{record.secondTens});
    fields.Field(uint32{record.flag15});
    fields.Field(uint32{record.minuteUnits});
    fields.Field(uint32{record.minuteTens});
    fields.Field(uint32{record.flag23});
    fields.Field(uint32{record.hourUnits});
    fields.Field(uint32{record.hourTens});
    fields.Field(uint32{record.flag30});
    fields.Field(uint32{record.flag31});
    fields.Field(uint32{record.userGroup0});
    fields.Field(uint32{record.userGroup1});
    fields.Field(uint32{record.userGroup2});
    fields.Field(uint32{record.userGroup3});
    fields.Field(uint32{record.userGroup4});
    fields.Field(uint32{record.userGroup5});
    fields.Field(uint32{record.userGroup6});
    fields.Field(uint32{record.userGroup7});
    return stream;
}

CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugLinearTimeCode& record) {
    RecordReader fields(stream);
    record.frameUnits = fields.Digit() & 15u;
    record.frameTens = fields.Digit() & 3u;
    record.flag6 = fields.Digit() & 1u;
    record.flag7 = fields.Digit() & 1u;
    record.secondUnits = fields.Digit() & 15u;
    record.secondTens = fields.Digit() & 7u;
    record.flag15 = fields.Digit() & 1u;
    record.minuteUnits = fields.Digit() & 15u;
    record.minuteTens = fields.Digit() & 7u;
    record.flag23 = fields.Digit() & 1u;
    record.hourUnits = fields.Digit() & 15u;
    record.hourTens = fields.Digit() & 3u;
    record.flag30 = fields.Digit() & 1u;
    record.flag31 = fields.Digit() & 1u;
    record.userGroup0 = fields.Digit() & 15u;
    record.userGroup1 = fields.Digit() & 15u;
    record.userGroup2 = fields.Digit() & 15u;
    record.userGroup3 = fields.Digit() & 15u;
    record.userGroup4 = fields.Digit() & 15u;
    record.userGroup5 = fields.Digit() & 15u;
    record.userGroup6 = fields.Digit() & 15u;
    record.userGroup7 = fields.Digit() & 15u;
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
