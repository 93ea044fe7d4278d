// What a stream is: its video, sound, subtitles and texts.
#include "bridge/RecordFields.h"

using vxcio::RecordReader;
using vxcio::RecordWriter;

namespace {

template <class Fields>
void Walk(Fields&& fields, SPlugVideoStreamInfo& record) {
    fields.Numbers(record.value0, record.value1, record.value2, record.value3, record.value4, record.value5,
                   record.value6, record.value7, record.value8, record.value9, record.value10, record.value11,
                   record.value12, record.value13, record.value14, record.value15, record.value16,
                   record.value17, record.value18, record.value19, record.value20, record.value21,
                   record.value22, record.value23, record.value24, record.value25, record.value26);
}

template <class Fields>
void Walk(Fields&& fields, SPlugAudioStreamInfo& record) {
    fields.Numbers(record.value0, record.value1, record.value2, record.value3, record.value4, record.value5,
                   record.value6, record.value7, record.value8, record.value9, record.value10, record.value11,
                   record.value12, record.value13, record.value14);
}

template <class Fields>
void Walk(Fields&& fields, SPlugSubTitleInfo& record) {
    fields.Numbers(record.value0, record.value1, record.value2, record.value3, record.value4, record.value5,
                   record.value6);
}

template <class Fields>
void Walk(Fields&& fields, SPlugDemuxerReadSet& record) {
    fields.Numbers(record.value0, record.value1, record.value2, record.value3, record.value4, record.value5,
                   record.value6, record.value7, record.value8, record.value9);
}

template <class Fields>
void Walk(Fields&& fields, SPlugStreamMetaInfo& record) {
    fields.Block(record.text0);
    fields.Block(record.text1);
    fields.Block(record.text2);
    fields.Block(record.text3);
    fields.Numbers(record.value0, record.value1);
}

template <class Fields>
void Walk(Fields&& fields, SPlugStreamInfo& record) {
    fields.Numbers(record.value0, record.value1, record.value2, record.value3, record.value4, record.value5,
                   record.value6);
    fields.Record(record.video);
    fields.Numbers(record.value7);
    fields.Record(record.audio);
    fields.Numbers(record.value8, record.value9);
    fields.Record(record.subTitle);
    fields.Numbers(record.value10);
    fields.Record(record.meta);
    fields.Record(record.append);
    fields.Numbers(record.value11);
    fields.Block(record.block);
    fields.Numbers(record.value12, record.value13, record.value14, record.value15, record.value16);
}

} // namespace

CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugVideoStreamInfo& record) {
    Walk(RecordWriter(stream), record);
    return stream;
}

CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugVideoStreamInfo& record) {
    Walk(RecordReader(stream), record);
    return stream;
}

CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugAudioStreamInfo& record) {
    Walk(RecordWriter(stream), record);
    return stream;
}

CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugAudioStreamInfo& record) {
    Walk(RecordReader(stream), record);
    return stream;
}

CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugSubTitleInfo& record) {
    Walk(RecordWriter(stream), record);
    return stream;
}

CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugSubTitleInfo& record) {
    Walk(RecordReader(stream), record);
    return stream;
}

CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugDemuxerReadSet& record) {
    Walk(RecordWriter(stream), record);
    return stream;
}

CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugDemuxerReadSet& record) {
    Walk(RecordReader(stream), record);
    return stream;
}

CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugStreamMetaInfo& record) {
    Walk(RecordWriter(stream), record);
    return stream;
}

CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugStreamMetaInfo& record) {
    Walk(RecordReader(stream), record);
    return stream;
}

CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugStreamInfo& record) {
    Walk(RecordWriter(stream), record);
    return stream;
}

CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugStreamInfo& record) {
    Walk(RecordReader(stream), record);
    return stream;
}
