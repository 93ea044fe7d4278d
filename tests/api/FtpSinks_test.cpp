// The FTP sinks as a host gets them: from the factories, and of no use before they are connected.
#include "module/VXCSoftCodecIO.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

template <class Sink>
void ExpectThatNothingIsOpen(Sink& sink) {
    uint8 byte = 7;
    uint32 wentOut = 9;
    EXPECT_EQ(sink.Write(&byte, 1, &wentOut), 0);
    EXPECT_EQ(wentOut, 9U);
    EXPECT_EQ(sink.ReadBack(&byte, 1), 0);
    EXPECT_EQ(byte, 7);
    EXPECT_EQ(sink.Seek(5, 1), 0);
    EXPECT_EQ(sink.GetFileSize(), 0U);
    EXPECT_EQ(sink.CloseFile(), 0U);
    EXPECT_EQ(sink.SetPASVMode(1), 1);
    EXPECT_EQ(sink.Close(), 1);
}

} // namespace

TEST(PublicFtpSinksTest, TheFactoryGivesOneThatCanBeConnected) {
    const std::unique_ptr<CQLSoftDataSinkEx1> sink(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FTP));
    ASSERT_NE(sink, nullptr);
    EXPECT_EQ(sink->OpenFile(L"/clip", 0, 0, 0, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_NOT_CONNECTED);
    ExpectThatNothingIsOpen(*sink);
}

TEST(PublicFtpSinksTest, TheFactoryGivesOneThatNeverIs) {
    const std::unique_ptr<CQLSoftDataSink> sink(CQLSoftDataSink::Construct(IOWORKMODE_FTP));
    ASSERT_NE(sink, nullptr);
    EXPECT_EQ(sink->OpenFile(L"/clip", 0, 0, 0, nullptr), VXC_STATUS_NOT_CONNECTED);
    ExpectThatNothingIsOpen(*sink);
}
