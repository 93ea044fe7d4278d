// Records.h - the records that pass between a host and its plug-ins, and their operators on a stream.
//
// This layer carries the fields and does not look at them: what value3 means is between the two ends. The
// stream holds neither padding nor pointers, so the two ends may have different widths. The wire order is the
// order of declaration, where nothing else is said; docs/formats/tagged.md has the tables.
//
// The operators do not stop at a failure: the fields behind it fail each by itself and move nothing. Look at
// the stream's m_nError behind the record. A field read in vain keeps its value; one of an enumeration
// (EPlugValue) and the digits of a time code take the last value read before it in the same record, or 0.
//
// Blocks of fixed size take what the stream gives, at the most their own size.
//
// Reading allocates attachments by SerilizeMalloc, and the caller frees them by SerilizeFree, also after a
// failure: `data` and `extra` are not null then, with a size of 0. Records hold zeros before they are read.
// The operators throw std::bad_alloc where memory for an attachment lacks, and nothing else: `data` is as it
// was then, an attachment's `size` is 0, and the stream stands ahead of the block.
#pragma once

#include "bridge/Serialize.h"
#include "frame/Export.h"
#include "frame/Types.h"

// A value of one of the plug-in interface's enumerations. 32 bits.
enum EPlugValue : int32 {};

// Head of every request.
struct SInParamLeader {
    uint32 size = 0;    // bytes of the message, these included
    uint32 command = 0; // EVXC32_RCALL_CMD
    CVXCString commandString;
};

// Head of every reply.
struct SOutParamLeader {
    uint32 size;   // bytes of the message
    uint32 result; // status of the call, 0 for success
    uint32 value2;
};

struct SPlugVideoStreamInfo {
    uint32 value0;
    EPlugValue value1;
    uint32 value2, value3, value4, value5, value6, value7, value8;
    EPlugValue value9, value10, value11, value12, value13, value14;
    uint32 value15, value16, value17;
    EPlugValue value18;
    uint32 value19, value20, value21, value22, value23, value24, value25, value26;
};

struct SPlugAudioStreamInfo {
    uint32 value0;
    EPlugValue value1;
    uint32 value2, value3, value4, value5, value6, value7;
    EPlugValue value8, value9;
    uint32 value10, value11, value12, value13, value14;
};

struct SPlugSubTitleInfo {
    EPlugValue value0;
    uint32 value1, value2, value3, value4, value5, value6;
};

struct SPlugDemuxerReadSet {
    uint32 value0, value1, value2, value3, value4, value5, value6, value7, value8, value9;
};

// The digits and flags of a linear time code (SMPTE 12M): two words, least significant bit first.
struct SPlugLinearTimeCode {
    uint32 frameUnits : 4;
    uint32 frameTens : 2;
    uint32 flag6 : 1;
    uint32 flag7 : 1;
    uint32 secondUnits : 4;
    uint32 secondTens : 3;
    uint32 flag15 : 1;
    uint32 minuteUnits : 4;
    uint32 minuteTens : 3;
    uint32 flag23 : 1;
    uint32 hourUnits : 4;
    uint32 hourTens : 2;
    uint32 flag30 : 1;
    uint32 flag31 : 1;
    uint32 userGroup0 : 4;
    uint32 userGroup1 : 4;
    uint32 userGroup2 : 4;
    uint32 userGroup3 : 4;
    uint32 userGroup4 : 4;
    uint32 userGroup5 : 4;
    uint32 userGroup6 : 4;
    uint32 userGroup7 : 4;
};

// Active format description.
struct SPlugAFDPacket {
    uint8 byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7;
};

// An attachment of any kind and length. Storing one with a size and a null `data` stores the size alone, and
// the reader is out of step from there on.
struct SPlugAppendInfo_T {
    EPlugValue type;
    unsigned char* data; // left alone where `size` is 0 on the stream
    uint32 size;         // bytes at data
};

struct SPlugStreamMetaInfo {
    uint8 text0[200];
    uint8 text1[200];
    uint8 text2[200];
    uint8 text3[200];
    uint32 value0, value1;
};

// The whole description of a stream.
struct SPlugStreamInfo {
    uint32 value0;
    EPlugValue value1;
    uint32 value2, value3;
    EPlugValue value4;
    uint32 value5;
    unsigned long long value6;
    SPlugVideoStreamInfo video;
    uint32 value7;
    SPlugAudioStreamInfo audio;
    uint32 value8, value9;
    SPlugSubTitleInfo subTitle;
    uint32 value10;
    SPlugStreamMetaInfo meta;
    SPlugAppendInfo_T append;
    uint32 value11;
    uint8 block[512];
    uint32 value12, value13, value14, value15, value16;
};

// What belongs to one frame. time3 travels ahead of time0, time1 and time2.
struct SPlugFRAMEINFO {
    uint32 value0;
    EPlugValue value1, value2;
    uint32 value3, value4, value5;
    unsigned long long value6;
    uint32 value7;
    unsigned long long time0, time1, time2, time3;
    EPlugValue value8;
    SPlugLinearTimeCode timeCode;
    uint32 value9;
    SPlugAFDPacket afd;
    SPlugAppendInfo_T append;
    uint32 value10, value11, value12, value13, value14, value15;
};

// One image of up to four planes. The planes travel one after the other: planeA[i], planeB[i], planeC[i],
// planeD[i], planeBlock[i].
struct SPlugSoftImageBuffer {
    EPlugValue value0;
    uint32 value1, value2, value3;
    EPlugValue value4;
    uint32 value5, value6, value7;
    EPlugValue value8, value9, value10, value11;
    uint32 value12;
    uint32 planeA[4];
    uint32 planeB[4];
    uint8 planeBlock[4][40];
    uint32 planeC[4];
    uint32 planeD[4];
    uint32 value13, value14, value15, value16, value17;
};

// A description with one of three payloads, by its type:
//
//   1  SMediaDescriptFiles   allocated by the reader, `size` is left alone
//   3  SMediaDescriptExtra   allocated by the reader, `size` is left alone
//   2  `size` bytes          read to where `data` points, which the caller made large enough: at the most
//                            `size` bytes come, and none where `data` is null. Not for a peer that is not
//                            trusted, unless the room is the most a message can hold. A size of 0 sets `data`
//                            to null.
//   others                   no payload; `data` and `size` are left alone
struct SMediaDescript {
    EPlugValue type;
    unsigned char* data;
    uint32 size; // bytes at data, type 2 only
};

// 260 characters of UTF-16; the whole area travels.
using SMediaName = uint16[260];

struct SMediaDescriptFiles {
    uint32 value0;
    EPlugValue value1;
    SMediaName name0, name1, name2;
    uint32 value2;
    SMediaName name3;
};

// Storing one with no `extra` or no `extraSize` sets `extraSize` in the caller's record to 0.
struct SMediaDescriptExtra {
    uint32 value0;
    EPlugValue value1;
    SMediaName name0, name1, name2;
    uint32 value2;
    uint32 extraSize;     // bytes at extra
    unsigned char* extra; // null where extraSize is 0 on the stream
};

VXCSOFTCODECIO_API CVXCSerialize& operator<<(CVXCSerialize& stream, SInParamLeader& record);
VXCSOFTCODECIO_API CVXCSerialize& operator>>(CVXCSerialize& stream, SInParamLeader& record);
VXCSOFTCODECIO_API CVXCSerialize& operator<<(CVXCSerialize& stream, SOutParamLeader& record);
VXCSOFTCODECIO_API CVXCSerialize& operator>>(CVXCSerialize& stream, SOutParamLeader& record);
VXCSOFTCODECIO_API CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugVideoStreamInfo& record);
VXCSOFTCODECIO_API CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugVideoStreamInfo& record);
VXCSOFTCODECIO_API CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugAudioStreamInfo& record);
VXCSOFTCODECIO_API CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugAudioStreamInfo& record);
VXCSOFTCODECIO_API CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugSubTitleInfo& record);
VXCSOFTCODECIO_API CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugSubTitleInfo& record);
VXCSOFTCODECIO_API CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugDemuxerReadSet& record);
VXCSOFTCODECIO_API CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugDemuxerReadSet& record);
VXCSOFTCODECIO_API CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugLinearTimeCode& record);
VXCSOFTCODECIO_API CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugLinearTimeCode& record);
VXCSOFTCODECIO_API CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugAFDPacket& record);
VXCSOFTCODECIO_API CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugAFDPacket& record);
VXCSOFTCODECIO_API CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugAppendInfo_T& record);
VXCSOFTCODECIO_API CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugAppendInfo_T& record);
VXCSOFTCODECIO_API CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugStreamMetaInfo& record);
VXCSOFTCODECIO_API CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugStreamMetaInfo& record);
VXCSOFTCODECIO_API CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugStreamInfo& record);
VXCSOFTCODECIO_API CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugStreamInfo& record);
VXCSOFTCODECIO_API CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugFRAMEINFO& record);
VXCSOFTCODECIO_API CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugFRAMEINFO& record);
VXCSOFTCODECIO_API CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugSoftImageBuffer& record);
VXCSOFTCODECIO_API CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugSoftImageBuffer& record);
VXCSOFTCODECIO_API CVXCSerialize& operator<<(CVXCSerialize& stream, SMediaDescript& record);
VXCSOFTCODECIO_API CVXCSerialize& operator>>(CVXCSerialize& stream, SMediaDescript& record);
