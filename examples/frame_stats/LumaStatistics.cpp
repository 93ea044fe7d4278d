#include "LumaStatistics.h"

#include <cstddef>

namespace frame_stats {

uint32 LumaStatistics::Least() const noexcept {
    for (uint32 value = 0; value < histogram.size(); ++value) {
        if (histogram[value] != 0) {
            return value;
        }
    }
    return 0;
}

uint32 LumaStatistics::Most() const noexcept {
    for (uint32 value = static_cast<uint32>(histogram.size()); value-- > 0;) {
        if (histogram[value] != 0) {
            return value;
        }
    }
    return 0;
}

uint64 LumaStatistics::Pixels() const noexcept {
    uint64 pixels = 0;
    for (const uint64 count : histogram) {
        pixels += count;
    }
    return pixels;
}

uint64 LumaStatistics::Sum() const noexcept {
    uint64 sum = 0;
    for (std::size_t value = 0; value < histogram.size(); ++value) {
        sum += histogram[value] * value;
    }
    return sum;
}

double LumaStatistics::Average() const noexcept {
    const uint64 pixels = Pixels();
    return pixels == 0 ? 0 : static_cast<double>(Sum()) / static_cast<double>(pixels);
}

void LumaStatistics::Add(const LumaStatistics& frame) noexcept {
    ++frames;
    timeCode = frame.timeCode;
    for (std::size_t value = 0; value < histogram.size(); ++value) {
        histogram[value] += frame.histogram[value];
    }
}

std::array<uint64, 256> CountLuma(const uint8* plane, uint32 columns, uint32 rows, uint32 pitch) noexcept {
    // Neighbours are often alike: two tables in turn keep one count from waiting for the other.
    std::array<std::array<uint32, 256>, 2> counts = {};
    std::array<uint64, 256> histogram = {};
    for (uint32 row = 0; row < rows; ++row) {
        const uint8* const pixels = plane + static_cast<std::size_t>(row) * pitch;
        for (uint32 column = 0; column < columns; ++column) {
            ++counts[column & 1u][pixels[column]];
        }
    }
    for (std::size_t value = 0; value < histogram.size(); ++value) {
        histogram[value] = uint64{counts[0][value]} + counts[1][value];
    }
    return histogram;
}

void StoreStatistics(CVXCSerialize& stream, const LumaStatistics& statistics) {
    SPlugLinearTimeCode timeCode = statistics.timeCode;
    stream << statistics.frames << timeCode << statistics.Least() << statistics.Most();
    stream << static_cast<unsigned long long>(statistics.Pixels())
           << static_cast<unsigned long long>(statistics.Sum()) << statistics.Average();
    for (const uint64 count : statistics.histogram) {
        stream << static_cast<unsigned long long>(count);
    }
}

void LoadStatistics(CVXCSerialize& stream, LumaStatistics& statistics) {
    uint32 least = 0;
    uint32 most = 0;
    unsigned long long pixels = 0;
    unsigned long long sum = 0;
    double average = 0;
    stream >> statistics.frames >> statistics.timeCode >> least >> most >> pixels >> sum >> average;
    for (uint64& count : statistics.histogram) {
        unsigned long long value = 0;
        stream >> value;
        count = value;
    }
}

} // namespace frame_stats
