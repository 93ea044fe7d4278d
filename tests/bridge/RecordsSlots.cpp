#include "bridge/RecordsModel.h"

namespace vxcio::test {

void Describe(Slots& slots, SOutParamLeader& record) {
    slots.Ls(record.size, record.result, record.value2);
}

void Describe(Slots& slots, SPlugVideoStreamInfo& record) {
    slots.L(record.value0);
    slots.E(record.value1);
    slots.Ls(record.value2, record.value3, record.value4, record.value5, record.value6, record.value7,
             record.value8);
    slots.Es(record.value9, record.value10, record.value11, record.value12, record.value13, record.value14);
    slots.Ls(record.value15, record.value16, record.value17);
    slots.E(record.value18);
    slots.Ls(record.value19, record.value20, record.value21, record.value22, record.value23, record.value24,
             record.value25, record.value26);
}

void Describe(Slots& slots, SPlugAudioStreamInfo& record) {
    slots.L(record.value0);
    slots.E(record.value1);
    slots.Ls(record.value2, record.value3, record.value4, record.value5, record.value6, record.value7);
    slots.Es(record.value8, record.value9);
    slots.Ls(record.value10, record.value11, record.value12, record.value13, record.value14);
}

void Describe(Slots& slots, SPlugSubTitleInfo& record) {
    slots.E(record.value0);
    slots.Ls(record.value1, record.value2, record.value3, record.value4, record.value5, record.value6);
}

void Describe(Slots& slots, SPlugDemuxerReadSet& record) {
    slots.Ls(record.value0, record.value1, record.value2, record.value3, record.value4, record.value5,
             record.value6, record.value7, record.value8, record.value9);
}

void Describe(Slots& slots, SPlugLinearTimeCode& record) {
    slots.Digit(record, 0, 0, 15);
    slots.Digit(record, 0, 4, 3);
    slots.Digit(record, 0, 6, 1);
    slots.Digit(record, 0, 7, 1);
    slots.Digit(record, 0, 8, 15);
    slots.Digit(record, 0, 12, 7);
    slots.Digit(record, 0, 15, 1);
    slots.Digit(record, 0, 16, 15);
    slots.Digit(record, 0, 20, 7);
    slots.Digit(record, 0, 23, 1);
    slots.Digit(record, 0, 24, 15);
    slots.Digit(record, 0, 28, 3);
    slots.Digit(record, 0, 30, 1);
    slots.Digit(record, 0, 31, 1);
    slots.Digit(record, 1, 0, 15);
    slots.Digit(record, 1, 4, 15);
    slots.Digit(record, 1, 8, 15);
    slots.Digit(record, 1, 12, 15);
    slots.Digit(record, 1, 16, 15);
    slots.Digit(record, 1, 20, 15);
    slots.Digit(record, 1, 24, 15);
    slots.Digit(record, 1, 28, 15);
}

void Describe(Slots& slots, SPlugAFDPacket& record) {
    slots.C(record.byte0);
    slots.C(record.byte1);
    slots.C(record.byte2);
    slots.C(record.byte3);
    slots.C(record.byte4);
    slots.C(record.byte5);
    slots.C(record.byte6);
    slots.C(record.byte7);
}

void Describe(Slots& slots, SPlugAppendInfo_T& record) {
    slots.E(record.type);
    slots.L(record.size);
    slots.Attachment(record.data, record.size);
}

void Describe(Slots& slots, SPlugStreamMetaInfo& record) {
    slots.B(record.text0);
    slots.B(record.text1);
    slots.B(record.text2);
    slots.B(record.text3);
    slots.Ls(record.value0, record.value1);
}

void Describe(Slots& slots, SPlugStreamInfo& record) {
    slots.L(record.value0);
    slots.E(record.value1);
    slots.Ls(record.value2, record.value3);
    slots.E(record.value4);
    slots.L(record.value5);
    slots.Q(record.value6);
    slots.Nested(record.video);
    slots.L(record.value7);
    slots.Nested(record.audio);
    slots.Ls(record.value8, record.value9);
    slots.Nested(record.subTitle);
    slots.L(record.value10);
    slots.Nested(record.meta);
    slots.Nested(record.append);
    slots.L(record.value11);
    slots.B(record.block);
    slots.Ls(record.value12, record.value13, record.value14, record.value15, record.value16);
}

void Describe(Slots& slots, SPlugFRAMEINFO& record) {
    slots.L(record.value0);
    slots.Es(record.value1, record.value2);
    slots.Ls(record.value3, record.value4, record.value5);
    slots.Q(record.value6);
    slots.L(record.value7);
    slots.Q(record.time3);
    slots.Q(record.time0);
    slots.Q(record.time1);
    slots.Q(record.time2);
    slots.E(record.value8);
    slots.Nested(record.timeCode);
    slots.L(record.value9);
    slots.Nested(record.afd);
    slots.Nested(record.append);
    slots.Ls(record.value10, record.value11, record.value12, record.value13, record.value14, record.value15);
}

void Describe(Slots& slots, SPlugSoftImageBuffer& record) {
    slots.E(record.value0);
    slots.Ls(record.value1, record.value2, record.value3);
    slots.E(record.value4);
    slots.Ls(record.value5, record.value6, record.value7);
    slots.Es(record.value8, record.value9, record.value10, record.value11);
    slots.L(record.value12);
    for (int plane = 0; plane < 4; ++plane) {
        slots.L(record.planeA[plane]);
        slots.L(record.planeB[plane]);
        slots.L(record.planeC[plane]);
        slots.L(record.planeD[plane]);
        slots.B(record.planeBlock[plane]);
    }
    slots.Ls(record.value13, record.value14, record.value15, record.value16, record.value17);
}

void Describe(Slots& slots, SMediaDescriptFiles& record) {
    slots.L(record.value0);
    slots.E(record.value1);
    slots.B(record.name0);
    slots.B(record.name1);
    slots.B(record.name2);
    slots.L(record.value2);
    slots.B(record.name3);
}

void Describe(Slots& slots, SMediaDescriptExtra& record) {
    slots.L(record.value0);
    slots.E(record.value1);
    slots.B(record.name0);
    slots.B(record.name1);
    slots.B(record.name2);
    slots.L(record.value2);
    slots.L(record.extraSize);
}

} // namespace vxcio::test
