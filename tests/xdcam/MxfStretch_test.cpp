// Stretches of a clip, as ffmpeg and the letter of MXF see them.
#include "xdcam/device/MxfStretch.h"

#include "support/TempFolder.h"
#include "xdcam/Clips.h"
#include "xdcam/MxfWalk.h"
#include "xdcam/device/MxfRewrite.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <stdexcept>
#include <string>

using namespace vxcio::test;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using xdcam::MxfClip;
using xdcam::Stretch;

namespace {

constexpr std::size_t kFrameOfSound = 1920 * 3; // bytes of the clips' first stream, 24 bits a sample

// The name of a file with these bytes.
std::string Saved(const TempFolder& folder, const Bytes& bytes) {
    return folder.Write("stretch.mxf", {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

std::vector<std::string> Part(const std::vector<std::string>& all, std::size_t first, std::size_t count) {
    std::vector<std::string> part;
    for (std::size_t i = first; i < all.size() && part.size() < count; ++i) {
        part.push_back(all[i]);
    }
    return part;
}

} // namespace

class MxfStretchTest : public testing::Test {
protected:
    const TempFolder m_folder;

    // Every picture from the key frame on is the clip's, and it is enough of them and hardly more.
    void ExpectFrames(const TestClip& clip, const std::vector<std::string>& digests, std::uint32_t first,
                      std::uint32_t count, std::uint32_t origin) {
        SCOPED_TRACE("frames " + std::to_string(first) + " + " + std::to_string(count));
        const Stretch stretch = MxfClip(clip.file).Cut(first, count);
        EXPECT_EQ(stretch.origin, origin);
        EXPECT_GE(stretch.pictures, origin + count);
        EXPECT_LE(stretch.pictures, origin + count + 2);
        const std::string file = Saved(m_folder, stretch.bytes);
        std::string error;
        EXPECT_EQ(FrameDigests(file, &error), Part(digests, first - origin, stretch.pictures));
        EXPECT_EQ(error, "");
        EXPECT_EQ(Probed(file, "nb_read_packets", &error), std::to_string(stretch.pictures));
        EXPECT_EQ(error, "");
    }
};

TEST_F(MxfStretchTest, AClipTellsWhatItIs) {
    const TestClip clip = HdClip();
    VXC_NEEDS_CLIP(clip);
    const MxfClip facts(clip.file);
    EXPECT_EQ(facts.Frames(), 60u);
    EXPECT_EQ(facts.Channels(), 1u);
    EXPECT_EQ(facts.Codec(), "MPEG2HD50CBR_1920_1080_422P@HL");
    EXPECT_EQ(facts.Rate(), "50i");
    const TestClip longClip = LongClip();
    VXC_NEEDS_CLIP(longClip);
    const MxfClip others(longClip.file);
    EXPECT_EQ(others.Frames(), 600u);
    EXPECT_EQ(others.Channels(), 5u);
    EXPECT_EQ(others.Codec(), "Undefined CODEC type.");
    EXPECT_EQ(others.Rate(), "25p");
}

TEST_F(MxfStretchTest, PicturesAreThoseOfTheClipFromTheKeyFrameOn) {
    const TestClip clip = HdClip();
    VXC_NEEDS_CLIP(clip);
    const std::vector<std::string> digests = FrameDigests(clip.file);
    ASSERT_THAT(digests, SizeIs(60));
    ExpectFrames(clip, digests, 12, 5, 0);
    ExpectFrames(clip, digests, 30, 10, 6);
    ExpectFrames(clip, digests, 58, 1, 10);
    ExpectFrames(clip, digests, 59, 1, 0); // ffmpeg ends with a key frame
}

// Two pictures of each group are shown before its first one and lean on the group before it.
TEST_F(MxfStretchTest, NoPictureLeansOnOneThatIsMissing) {
    const TestClip clip = LongClip();
    VXC_NEEDS_CLIP(clip);
    const std::vector<std::string> digests = FrameDigests(clip.file);
    ASSERT_THAT(digests, SizeIs(600));
    ExpectFrames(clip, digests, 0, 1, 0);
    for (std::uint32_t first = 22; first <= 25; ++first) {
        ExpectFrames(clip, digests, first, 3, first % 12);
    }
    for (std::uint32_t count = 1; count <= 13; ++count) {
        ExpectFrames(clip, digests, 36, count, 0);
    }
    ExpectFrames(clip, digests, 0, 600, 0);
}

TEST_F(MxfStretchTest, TheSoundIsThatOfTheSameTime) {
    const TestClip clip = HdClip();
    VXC_NEEDS_CLIP(clip);
    const std::string sound = SoundOf(clip.file);
    ASSERT_EQ(sound.size(), 60 * kFrameOfSound);
    for (const std::uint32_t first : {0u, 12u, 31u, 47u}) {
        const Stretch stretch = MxfClip(clip.file).Cut(first, 7);
        const std::uint32_t key = first - stretch.origin;
        EXPECT_TRUE(SoundOf(Saved(m_folder, stretch.bytes)) ==
                    sound.substr(key * kFrameOfSound, stretch.pictures * kFrameOfSound))
            << first;
    }
}

TEST_F(MxfStretchTest, TheHeaderHasTheFormOfDevicesAndTellsWhatLiesBefore) {
    const TestClip clip = HdClip();
    VXC_NEEDS_CLIP(clip);
    const Stretch stretch = MxfClip(clip.file).Cut(43, 8);
    const std::vector<Klv> header = HeaderOf(stretch.bytes);
    ASSERT_GT(header.size(), 20u);
    EXPECT_EQ(header.front().at, 512u);
    for (const Klv& item : header) {
        EXPECT_TRUE(item.isLong) << item.key;
    }
    // Timecode, picture and sound of the material, then of the file.
    EXPECT_THAT(TagValues(stretch.bytes, kTrackKey, kOriginTag), ElementsAre(0u, 0u, 0u, 7u, 7u, 7u));
    const auto durations = TagValues(stretch.bytes, "060e2b34025301010d01010101010f00", 0x0202);
    EXPECT_THAT(durations, SizeIs(6));
    EXPECT_THAT(durations, Each(8u));
    EXPECT_EQ(Probed(Saved(m_folder, stretch.bytes), "duration_ts"), "8");
}

// More than ten seconds have several partitions.
TEST_F(MxfStretchTest, EverythingThatTellsAPlaceInTheFileIsRight) {
    const TestClip clip = LongClip();
    VXC_NEEDS_CLIP(clip);
    const Bytes file = MxfClip(clip.file).Cut(20, 570).bytes;
    const std::vector<Klv> items = KlvsOf(file);
    ASSERT_EQ(items.back().value + items.back().length, file.size());
    ASSERT_GT(NumberAt(file, 52, 8), NumberAt(BytesOf(clip.file), 52, 8)); // so all the rest has moved
    std::vector<std::uint64_t> places;
    for (const Klv& item : items) {
        if (IsPartition(item)) {
            EXPECT_EQ(item.at % 512, 0u);
            EXPECT_EQ(NumberAt(file, item.at + 28, 8), item.at);
            EXPECT_EQ(NumberAt(file, item.at + 36, 8), places.empty() ? 0 : places.back());
            places.push_back(item.at);
        }
    }
    ASSERT_GT(places.size(), 3u);
    for (const std::uint64_t place : places) {
        EXPECT_EQ(NumberAt(file, static_cast<std::size_t>(place) + 44, 8), places.back());
    }
    // The header metadata ends where the next partition begins.
    EXPECT_EQ(512 + NumberAt(file, 52, 8), places[1]);
    // The index pack at the end.
    const Klv& pack = items.back();
    EXPECT_EQ(NumberAt(file, file.size() - 4, 4), file.size() - pack.at);
    ASSERT_EQ(pack.length, 12 * places.size() + 4);
    for (std::size_t i = 0; i < places.size(); ++i) {
        EXPECT_EQ(NumberAt(file, pack.value + 12 * i + 4, 8), places[i]);
    }
}

TEST_F(MxfStretchTest, TheSameStretchIsTheSameBytes) {
    const TestClip clip = HdClip();
    VXC_NEEDS_CLIP(clip);
    const MxfClip facts(clip.file);
    EXPECT_TRUE(facts.Cut(15, 3).bytes == MxfClip(clip.file).Cut(15, 3).bytes);
    EXPECT_FALSE(facts.Cut(15, 3).bytes == facts.Cut(16, 3).bytes);
}

TEST_F(MxfStretchTest, FramesThatAClipDoesNotHaveAreRefused) {
    const TestClip clip = LongClip();
    VXC_NEEDS_CLIP(clip);
    const MxfClip facts(clip.file);
    EXPECT_THROW(facts.Cut(0, 0), std::out_of_range);
    EXPECT_THROW(facts.Cut(600, 1), std::out_of_range);
    EXPECT_THROW(facts.Cut(0, 601), std::out_of_range);
    EXPECT_THROW(facts.Cut(599, 2), std::out_of_range);
    EXPECT_THROW(facts.Cut(1, 0xFFFFFFFF), std::out_of_range);
    EXPECT_EQ(facts.Cut(598, 2).origin, 10u);
}

TEST_F(MxfStretchTest, WhatIsNoClipIsRefused) {
    EXPECT_THROW(MxfClip(m_folder.Name("nothing")), std::runtime_error);
    EXPECT_THROW(MxfClip(m_folder.Write("empty", "")), std::runtime_error);
    EXPECT_THROW(MxfClip(m_folder.WritePattern("noise", 100'000, 3)), std::runtime_error);
    EXPECT_THROW(MxfClip(m_folder.Path().string()), std::runtime_error);
    const TestClip clip = LongClip();
    VXC_NEEDS_CLIP(clip);
    const Bytes bytes = BytesOf(clip.file);
    const auto head = [&](std::size_t count) {
        return Saved(m_folder, {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count)});
    };
    EXPECT_THROW(MxfClip(head(600)), std::runtime_error);
    EXPECT_THROW(MxfClip(head(6000)), std::runtime_error);
}

TEST_F(MxfStretchTest, AHeaderIsRewrittenWholeOrNotAtAll) {
    const TestClip clip = LongClip();
    VXC_NEEDS_CLIP(clip);
    const Bytes whole = BytesOf(clip.file);
    EXPECT_THAT(TagValues(xdcam::RewriteHeader(whole, {5, 9}), kTrackKey, kOriginTag),
                ElementsAre(0u, 0u, 0u, 0u, 0u, 0u, 0u, 5u, 5u, 5u, 5u, 5u, 5u, 5u));
    for (std::size_t bytes = 0; bytes < 9000; bytes += 61) {
        const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(bytes));
        EXPECT_THROW(xdcam::RewriteHeader(part, {5, 9}), std::runtime_error) << bytes;
    }
    // Any one byte of it changed: no harm, whatever comes out.
    Bytes odd(12'000);
    std::copy_n(whole.begin(), 9000, odd.begin());
    std::copy_n(whole.end() - 3000, 3000, odd.begin() + 9000);
    for (std::size_t at = 0; at < 7000; at += 3) {
        const std::uint8_t former = odd[at];
        odd[at] = static_cast<std::uint8_t>(former ^ 0xFF);
        try {
            EXPECT_FALSE(xdcam::RewriteHeader(odd, {5, 9}).empty());
        } catch (const std::runtime_error&) {
        }
        odd[at] = former;
    }
}
