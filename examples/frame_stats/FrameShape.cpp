#include "FrameShape.h"

namespace frame_stats {

bool FrameShape::IsPossible() const noexcept {
    return width >= 1 && width <= kMostPixels && height >= 1 && height <= kMostPixels;
}

uint32 FrameShape::Bytes() const noexcept {
    return width * height + 2 * ChromaColumns() * ChromaRows();
}

SPlugSoftImageBuffer FrameShape::Image() const noexcept {
    SPlugSoftImageBuffer image = {};
    image.value0 = static_cast<EPlugValue>(format);
    image.value1 = width;
    image.value2 = height;
    image.value3 = 3;
    uint32 offset = 0;
    for (uint32 plane = 0; plane < image.value3; ++plane) {
        const uint32 columns = plane == 0 ? width : ChromaColumns();
        const uint32 rows = plane == 0 ? height : ChromaRows();
        image.planeA[plane] = offset;
        image.planeB[plane] = columns;
        image.planeC[plane] = columns;
        image.planeD[plane] = rows;
        offset += columns * rows;
    }
    return image;
}

} // namespace frame_stats
