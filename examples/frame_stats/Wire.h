// Wire.h - what the frame statistics plug-in and its proxy say to each other.
//
// Requests, behind the leader:
//
//   "Statistics"         SPlugFRAMEINFO, SPlugSoftImageBuffer, the picture as one block: counts one frame
//   "Total"              nothing: all frames of this channel since it began, or since the last reset
//   command 1, reset     nothing
//   command 2, echo      one block
//
// Replies, behind the leader: to the first two what StoreStatistics writes, to reset nothing, to echo the
// same block. The result is 0 or one of those below, and then nothing stands behind it.
//
// The fields of the records are positional; between these two they mean what stands here. All others are 0.
#pragma once

#include "frame/Types.h"

namespace frame_stats {

inline constexpr const wchar_t* kStatistics = L"Statistics";
inline constexpr const wchar_t* kTotal = L"Total";
inline constexpr uint32 kReset = 1;
inline constexpr uint32 kEcho = 2;

// SPlugFRAMEINFO: `value0` is the number of the frame, counted from 0, and `timeCode` its time code, without
// flags. The attachment is not used.

// SPlugSoftImageBuffer:
//   value0      format, see below
//   value1      width of the picture in pixels, from 1 to kMostPixels
//   value2      height, likewise
//   value3      number of planes, 1 to 4; the first one is luma, 8 bits a pixel
//   planeA[i]   where plane i begins, in bytes from the start of the block
//   planeB[i]   its pitch: bytes from one row to the next, not less than a row
//   planeC[i]   bytes of a row; of luma the width of the picture
//   planeD[i]   rows; of luma the height of the picture
enum Format : int32 {
    FORMAT_420 = 1, // Y, Cb, Cr, both of these with half the columns and half the rows, rounded up
    FORMAT_422 = 2, // Y, Cb, Cr, both of these with half the columns, rounded up
};
inline constexpr uint32 kMostPixels = 16384; // of a row or a column
inline constexpr uint32 kMostPlanes = 4;

// Results of the plug-in. Those of the server (8, 258 and from 0x80000000 on) come besides.
inline constexpr int kResultUnknownCommand = 101;
inline constexpr int kResultGarbled = 102;       // a value is missing, or another kind stands there
inline constexpr int kResultUnknownFormat = 103; // neither of the two, or no planes, or more than there are
inline constexpr int kResultWrongSizes = 104;    // the sizes contradict each other, or the block is too small

} // namespace frame_stats
