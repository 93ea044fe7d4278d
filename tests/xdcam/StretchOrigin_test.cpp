// What the library finds in the headers of real MXF files.
#include "ftp/MxfHeader.h"

#include "xdcam/Clips.h"
#include "xdcam/MxfWalk.h"
#include "xdcam/device/MxfStretch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

using namespace vxcio;
using namespace vxcio::test;

namespace {

// As it comes from a device: what follows the first block, as long as the file says it is, in memory that
// ends with it.
int64 OriginOf(const Bytes& file) {
    const auto size =
        static_cast<std::size_t>(std::min<uint64>(HeaderByteCount(file.data()), file.size() - 512));
    const std::unique_ptr<uint8[]> header(new uint8[size]);
    std::copy_n(file.begin() + 512, size, header.get());
    return TrackOrigin(header.get(), size);
}

} // namespace

TEST(StretchOriginTest, IsHowFarTheFirstFrameIsFromTheKeyFrame) {
    const TestClip clip = LongClip();
    VXC_NEEDS_CLIP(clip);
    const xdcam::MxfClip facts(clip.file);
    for (uint32 first = 0; first < 30; ++first) {
        const Bytes stretch = facts.Cut(first, 4).bytes;
        EXPECT_EQ(HeaderByteCount(stretch.data()) % 512, 0u);
        EXPECT_EQ(OriginOf(stretch), first % 12) << first;
    }
}

// Their lengths have other forms, which lead the walk astray.
TEST(StretchOriginTest, IsNotFoundInHeadersOfCommonMuxers) {
    for (const TestClip& clip : {HdClip(), LongClip()}) {
        VXC_NEEDS_CLIP(clip);
        Bytes file = BytesOf(clip.file);
        EXPECT_GT(HeaderByteCount(file.data()), 512u);
        EXPECT_EQ(OriginOf(file), 0);
        const std::size_t place = PlaceOfTag(file, kTrackKey, kOriginTag);
        ASSERT_NE(place, 0u);
        file[place + 7] = 9;
        EXPECT_EQ(OriginOf(file), 0);
    }
}

TEST(StretchOriginTest, AnyHeaderIsSafeHoweverItIsCut) {
    const TestClip clip = LongClip();
    VXC_NEEDS_CLIP(clip);
    for (const Bytes& file : {xdcam::MxfClip(clip.file).Cut(23, 2).bytes, BytesOf(clip.file)}) {
        for (std::size_t size = 0; size < 6000; size += 7) {
            const std::unique_ptr<uint8[]> part(new uint8[size]);
            std::copy_n(file.begin() + 512, size, part.get());
            const int64 origin = TrackOrigin(part.get(), size);
            EXPECT_TRUE(origin == 0 || origin == 11) << size;
        }
    }
}
