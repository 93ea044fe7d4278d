#include "SerializeProtobuf.h"

namespace vxcbench {
namespace {

void Fill(Video& message, const SPlugVideoStreamInfo& record) {
    message.set_value0(record.value0);
    message.set_value1(static_cast<uint32>(record.value1));
    message.set_value2(record.value2);
    message.set_value3(record.value3);
    message.set_value4(record.value4);
    message.set_value5(record.value5);
    message.set_value6(record.value6);
    message.set_value7(record.value7);
    message.set_value8(record.value8);
    message.set_value9(static_cast<uint32>(record.value9));
    message.set_value10(static_cast<uint32>(record.value10));
    message.set_value11(static_cast<uint32>(record.value11));
    message.set_value12(static_cast<uint32>(record.value12));
    message.set_value13(static_cast<uint32>(record.value13));
    message.set_value14(static_cast<uint32>(record.value14));
    message.set_value15(record.value15);
    message.set_value16(record.value16);
    message.set_value17(record.value17);
    message.set_value18(static_cast<uint32>(record.value18));
    message.set_value19(record.value19);
    message.set_value20(record.value20);
    message.set_value21(record.value21);
    message.set_value22(record.value22);
    message.set_value23(record.value23);
    message.set_value24(record.value24);
    message.set_value25(record.value25);
    message.set_value26(record.value26);
}

void Fill(Audio& message, const SPlugAudioStreamInfo& record) {
    message.set_value0(record.value0);
    message.set_value1(static_cast<uint32>(record.value1));
    message.set_value2(record.value2);
    message.set_value3(record.value3);
    message.set_value4(record.value4);
    message.set_value5(record.value5);
    message.set_value6(record.value6);
    message.set_value7(record.value7);
    message.set_value8(static_cast<uint32>(record.value8));
    message.set_value9(static_cast<uint32>(record.value9));
    message.set_value10(record.value10);
    message.set_value11(record.value11);
    message.set_value12(record.value12);
    message.set_value13(record.value13);
    message.set_value14(record.value14);
}

void Fill(SubTitle& message, const SPlugSubTitleInfo& record) {
    message.set_value0(static_cast<uint32>(record.value0));
    message.set_value1(record.value1);
    message.set_value2(record.value2);
    message.set_value3(record.value3);
    message.set_value4(record.value4);
    message.set_value5(record.value5);
    message.set_value6(record.value6);
}

void Fill(Meta& message, const SPlugStreamMetaInfo& record) {
    message.set_text0(record.text0, sizeof record.text0);
    message.set_text1(record.text1, sizeof record.text1);
    message.set_text2(record.text2, sizeof record.text2);
    message.set_text3(record.text3, sizeof record.text3);
    message.set_value0(record.value0);
    message.set_value1(record.value1);
}

void Fill(Append& message, const SPlugAppendInfo_T& record) {
    message.set_type(static_cast<uint32>(record.type));
    message.set_data(record.data, record.size);
}

void Fill(TimeCode& message, const SPlugLinearTimeCode& record) {
    message.set_frame_units(record.frameUnits);
    message.set_frame_tens(record.frameTens);
    message.set_flag6(record.flag6);
    message.set_flag7(record.flag7);
    message.set_second_units(record.secondUnits);
    message.set_second_tens(record.secondTens);
    message.set_flag15(record.flag15);
    message.set_minute_units(record.minuteUnits);
    message.set_minute_tens(record.minuteTens);
    message.set_flag23(record.flag23);
    message.set_hour_units(record.hourUnits);
    message.set_hour_tens(record.hourTens);
    message.set_flag30(record.flag30);
    message.set_flag31(record.flag31);
    message.set_user_group0(record.userGroup0);
    message.set_user_group1(record.userGroup1);
    message.set_user_group2(record.userGroup2);
    message.set_user_group3(record.userGroup3);
    message.set_user_group4(record.userGroup4);
    message.set_user_group5(record.userGroup5);
    message.set_user_group6(record.userGroup6);
    message.set_user_group7(record.userGroup7);
}

void Fill(Afd& message, const SPlugAFDPacket& record) {
    message.set_byte0(record.byte0);
    message.set_byte1(record.byte1);
    message.set_byte2(record.byte2);
    message.set_byte3(record.byte3);
    message.set_byte4(record.byte4);
    message.set_byte5(record.byte5);
    message.set_byte6(record.byte6);
    message.set_byte7(record.byte7);
}

} // namespace

void Fill(Frame& message, const SPlugFRAMEINFO& record) {
    message.set_value0(record.value0);
    message.set_value1(static_cast<uint32>(record.value1));
    message.set_value2(static_cast<uint32>(record.value2));
    message.set_value3(record.value3);
    message.set_value4(record.value4);
    message.set_value5(record.value5);
    message.set_value6(record.value6);
    message.set_value7(record.value7);
    message.set_time0(record.time0);
    message.set_time1(record.time1);
    message.set_time2(record.time2);
    message.set_time3(record.time3);
    message.set_value8(static_cast<uint32>(record.value8));
    message.set_value9(record.value9);
    Fill(*message.mutable_time_code(), record.timeCode);
    Fill(*message.mutable_afd(), record.afd);
    Fill(*message.mutable_append(), record.append);
    message.set_value10(record.value10);
    message.set_value11(record.value11);
    message.set_value12(record.value12);
    message.set_value13(record.value13);
    message.set_value14(record.value14);
    message.set_value15(record.value15);
}

void Fill(Stream& message, const SPlugStreamInfo& record) {
    message.set_value0(record.value0);
    message.set_value1(static_cast<uint32>(record.value1));
    message.set_value2(record.value2);
    message.set_value3(record.value3);
    message.set_value4(static_cast<uint32>(record.value4));
    message.set_value5(record.value5);
    message.set_value6(record.value6);
    message.set_value7(record.value7);
    message.set_value8(record.value8);
    message.set_value9(record.value9);
    message.set_value10(record.value10);
    message.set_value11(record.value11);
    message.set_value12(record.value12);
    message.set_value13(record.value13);
    message.set_value14(record.value14);
    message.set_value15(record.value15);
    message.set_value16(record.value16);
    Fill(*message.mutable_video(), record.video);
    Fill(*message.mutable_audio(), record.audio);
    Fill(*message.mutable_sub_title(), record.subTitle);
    Fill(*message.mutable_meta(), record.meta);
    Fill(*message.mutable_append(), record.append);
    message.set_block(record.block, sizeof record.block);
}

} // namespace vxcbench
