// The file sinks as a host uses them: made by the factories, written, patched, read back, digested, closed.
#include "module/VXCSoftCodecIO.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

using namespace vxcio::test;

namespace {

constexpr uint32 kCreate = 0;
constexpr uint32 kAppend = 1;
constexpr uint32 kUpdate = 2;

struct Way {
    const char* name;
    uint32 bufferBytes;
    uint32 flags;
};

class PublicSinksTest : public ::testing::TestWithParam<Way> {
protected:
    std::vector<uint8> Content() const {
        const std::string text = folder.Read("clip");
        return {text.begin(), text.end()};
    }
    // Writes the clip in odd pieces with room for a header, then the header, and looks at both.
    template <class Sink>
    void WriteAsAMuxer(Sink& sink) {
        const std::vector<uint8> header = Pattern(1000, 9);
        constexpr uint32 kPiece = 77'777;
        for (uint32 at = 0; at < clip.size(); at += kPiece) {
            const auto bytes = std::min(kPiece, static_cast<uint32>(clip.size()) - at);
            ASSERT_EQ(sink.Write(clip.data() + at, bytes, nullptr), static_cast<int>(bytes));
        }
        EXPECT_EQ(sink.GetFileSize(), clip.size());
        EXPECT_EQ(sink.Seek(4, 1), 4);
        uint32 wentOut = 7;
        EXPECT_EQ(sink.Write(header.data(), 1000, &wentOut), 1000);
        EXPECT_LE(wentOut, 1U);
        std::copy(header.begin(), header.end(), clip.begin() + 4);
        EXPECT_EQ(sink.Seek(0, 1), 0);
        std::vector<uint8> back(2000);
        EXPECT_EQ(sink.ReadBack(back.data(), 2000), 2000);
        EXPECT_TRUE(std::equal(back.begin(), back.end(), clip.begin()));
    }

    const TempFolder folder;
    const std::wstring name = folder.Wide("clip");
    std::vector<uint8> clip = Pattern(2'000'001, 4);
};

INSTANTIATE_TEST_SUITE_P(Ways, PublicSinksTest,
                         ::testing::Values(Way{"Through", 0, 0}, Way{"Staged", 0, VXC_FILE_FLAG_NO_BUFFERING},
                                           Way{"Threaded", 1, 0},
                                           Way{"ThreadedUnbuffered", 3'000'000, VXC_FILE_FLAG_NO_BUFFERING}),
                         [](const auto& param) { return param.param.name; });

} // namespace

TEST_P(PublicSinksTest, ASinkWritesPatchesAndReadsBack) {
    const std::unique_ptr<CQLSoftDataSink> sink(CQLSoftDataSink::Construct(IOWORKMODE_FILE));
    ASSERT_NE(sink, nullptr);
    ASSERT_EQ(sink->OpenFile(name.c_str(), GetParam().bufferBytes, kCreate, GetParam().flags, nullptr),
              VXC_STATUS_OK);
    WriteAsAMuxer(*sink);
    EXPECT_EQ(sink->CloseFile(), VXC_STATUS_OK);
    EXPECT_TRUE(Content() == clip);
    ASSERT_EQ(sink->OpenFile(name.c_str(), GetParam().bufferBytes, kAppend, GetParam().flags, nullptr),
              VXC_STATUS_OK);
    EXPECT_EQ(sink->Write(clip.data(), 10, nullptr), 10);
    EXPECT_EQ(sink->CloseFile(), VXC_STATUS_OK);
    clip.insert(clip.end(), clip.begin(), clip.begin() + 10);
    EXPECT_TRUE(Content() == clip);
}

TEST_P(PublicSinksTest, ASinkWithAChoiceOfBlocksDigestsBesides) {
    const std::unique_ptr<CQLSoftDataSinkEx1> sink(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FILE));
    ASSERT_NE(sink, nullptr);
    const auto open = [&](uint32 mode) {
        return sink->OpenFile(name.c_str(), GetParam().bufferBytes, 262'144, mode, GetParam().flags, 0, 0, 0,
                              0, nullptr);
    };
    ASSERT_EQ(open(kCreate), VXC_STATUS_OK);
    WriteAsAMuxer(*sink);
    EXPECT_EQ(sink->CloseFile(), VXC_STATUS_OK);
    EXPECT_TRUE(Content() == clip);

    // Writes it anew from start to end, as a copy does.
    ASSERT_EQ(open(kUpdate), VXC_STATUS_OK);
    EXPECT_EQ(sink->EnableMD5_Check(0), 1);
    EXPECT_EQ(sink->BeginMD5_Check(0), 1);
    const std::string text = "abc";
    EXPECT_EQ(sink->Write(reinterpret_cast<const uint8*>(text.data()), 3, nullptr), 3);
    EXPECT_EQ(sink->CloseFile(), VXC_STATUS_OK);
    std::copy(text.begin(), text.end(), clip.begin());
    EXPECT_TRUE(Content() == clip);
    uint8* digest = nullptr;
    int length = 0;
    EXPECT_EQ(sink->GetMD5_check(0, digest, length), 0);
    ASSERT_EQ(length, 16);
    const std::vector<uint8> ofAbc = {0x90, 0x01, 0x50, 0x98, 0x3C, 0xD2, 0x4F, 0xB0,
                                      0xD6, 0x96, 0x3F, 0x7D, 0x28, 0xE1, 0x7F, 0x72};
    EXPECT_EQ(std::vector<uint8>(digest, digest + length), ofAbc);
    delete[] digest;
}

TEST_P(PublicSinksTest, DeletionClosesInFull) {
    std::unique_ptr<CQLSoftDataSink> sink(CQLSoftDataSink::Construct(IOWORKMODE_FILE));
    ASSERT_EQ(sink->OpenFile(name.c_str(), GetParam().bufferBytes, kCreate, GetParam().flags, nullptr),
              VXC_STATUS_OK);
    EXPECT_EQ(sink->Write(clip.data(), 1001, nullptr), 1001);
    sink.reset();
    EXPECT_EQ(Content(), Pattern(1001, 4));
}

TEST_P(PublicSinksTest, ATargetThatIsNoneGivesAStatus) {
    const std::unique_ptr<CQLSoftDataSinkEx1> sink(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FILE));
    const std::wstring missing = folder.Wide("no folder/clip");
    EXPECT_EQ(sink->OpenFile(missing.c_str(), GetParam().bufferBytes, 0, kCreate, GetParam().flags, 0, 0, 0,
                             0, nullptr),
              VXC_STATUS_OPEN_WRITE);
    EXPECT_EQ(sink->Write(clip.data(), 10, nullptr), 0);
    EXPECT_EQ(sink->CloseFile(), VXC_STATUS_OK);
}
