// LumaStatistics.h - what is counted of one frame or many, and how it passes between the two processes.
#pragma once

#include "bridge/Records.h"
#include "bridge/Serialize.h"
#include "frame/Types.h"

#include <array>

namespace frame_stats {

struct LumaStatistics {
    uint32 frames = 0;
    SPlugLinearTimeCode timeCode = {}; // of the last frame
    std::array<uint64, 256> histogram = {};

    // All of the below are of the histogram alone, and 0 where it is empty.
    uint32 Least() const noexcept;
    uint32 Most() const noexcept;
    uint64 Pixels() const noexcept;
    uint64 Sum() const noexcept;
    double Average() const noexcept;

    // Counts one frame more.
    void Add(const LumaStatistics& frame) noexcept;
};

// The histogram of a plane of `rows` rows of `columns` bytes. Each byte is read once, so that one that
// another process changes meanwhile does no harm but to its own count.
std::array<uint64, 256> CountLuma(const uint8* plane, uint32 columns, uint32 rows, uint32 pitch) noexcept;

// On the stream: frames "l", the time code's 22 "l", least "l", most "l", pixels "q", sum "q", average "d",
// and 256 "q" of the histogram. Look at m_nError behind them.
void StoreStatistics(CVXCSerialize& stream, const LumaStatistics& statistics);
// Takes frames, time code and histogram, and passes over what can be had from them.
void LoadStatistics(CVXCSerialize& stream, LumaStatistics& statistics);

// Bytes that StoreStatistics takes.
inline constexpr uint32 kStatisticsBytes = 5 + 22 * 5 + 2 * 5 + 2 * 9 + 9 + 256 * 9;

} // namespace frame_stats
