// What is asked for while a file is read, and on how many connections.
#include "remotefile/RemoteFixture.h"

using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

class RemoteSeekTest : public RemoteFixture {
protected:
    RemoteSeekTest() { Serve(); }
};

} // namespace

TEST_F(RemoteSeekTest, ReadingOnAsksForMoreAndMoreAndThenForTheRest) {
    ASSERT_TRUE(Open());
    EXPECT_EQ(Whole(65536), content.bytes);
    EXPECT_THAT(server->Ranges(), ElementsAre("0-65535", "65536-196607", "196608-458751", "458752-983039",
                                              "983040-2031615", "2031616-"));
    EXPECT_EQ(server->Connections(), 1);
    EXPECT_THAT(log.Lines(), IsEmpty());
    ASSERT_TRUE(Open()); // which begins anew
    EXPECT_TRUE(IsPart(65536, 10));
    EXPECT_EQ(server->Ranges().back(), "65536-196607");
}

TEST_F(RemoteSeekTest, ALargeReadIsAskedForAsAWhole) {
    ASSERT_TRUE(Open());
    EXPECT_EQ(Whole(1 << 20), content.bytes);
    EXPECT_THAT(server->Ranges(), ElementsAre("0-65535", "65536-1048575", "1048576-"));
}

TEST_F(RemoteSeekTest, ASeekAloneSendsNothing) {
    ASSERT_TRUE(Open());
    for (const uint64 position : {uint64{1'000'000}, kSize, uint64{5}, 2 * kSize}) {
        EXPECT_EQ(remote->Seek(position), static_cast<int64>(position));
    }
    EXPECT_EQ(Read(10), "");
    EXPECT_TRUE(IsPart(20, 100));
    EXPECT_EQ(server->Requests().size(), 1u);
    EXPECT_LT(remote->Seek(~uint64{0}), 0);
    EXPECT_EQ(Read(10), Part(120, 10)); // it has moved nothing
}

TEST_F(RemoteSeekTest, TheBeginningIsKept) {
    ASSERT_TRUE(Open());
    EXPECT_TRUE(IsPart(2'000'000, 10));
    EXPECT_TRUE(IsPart(0, 65536));
    EXPECT_THAT(server->Ranges(), ElementsAre("0-65535", "2000000-2065535"));
}

TEST_F(RemoteSeekTest, AJumpAsksForLittleAndKeepsTheConnection) {
    ASSERT_TRUE(Open());
    EXPECT_TRUE(IsPart(1'000'000, 1000));
    EXPECT_EQ(Read(1000), Part(1'001'000, 1000));
    EXPECT_TRUE(IsPart(1'020'000, 1000)); // the response is there still
    EXPECT_TRUE(IsPart(500'000, 65536));
    EXPECT_THAT(server->Ranges(), ElementsAre("0-65535", "1000000-1065535", "500000-565535"));
    EXPECT_EQ(server->Connections(), 1);
}

TEST_F(RemoteSeekTest, AShortGapBehindAResponseIsReadingOn) {
    ASSERT_TRUE(Open());
    EXPECT_TRUE(IsPart(500'000, 65536));
    EXPECT_TRUE(IsPart(600'000, 10));
    EXPECT_THAT(server->Ranges(), ElementsAre("0-65535", "500000-565535", "600000-731071"));
}

TEST_F(RemoteSeekTest, AShortGapForwardIsReadOver) {
    ASSERT_TRUE(Open());
    EXPECT_TRUE(IsPart(1'000'000, 700'000));
    EXPECT_EQ(Read(500'000), Part(1'700'000, 500'000));
    const auto before = server->Ranges();
    EXPECT_TRUE(IsPart(2'200'000 + 256 * 1024, 1000)); // as far as reading on goes
    EXPECT_EQ(server->Ranges(), before);
    EXPECT_EQ(server->Connections(), 1);
}

TEST_F(RemoteSeekTest, ALongGapForwardIsANewRequestOnANewConnection) {
    content = PatternFile(20'000'000, 6);
    ASSERT_TRUE(Open());
    EXPECT_TRUE(IsPart(65536, 1 << 20));
    EXPECT_EQ(Read(1000), Part(65536 + (1 << 20), 1000));
    ASSERT_EQ(server->Ranges().back(), "1114112-");
    EXPECT_TRUE(IsPart(1'115'112 + 256 * 1024 + 1, 1000));
    EXPECT_EQ(server->Ranges().back(), "1377257-1442792");
    EXPECT_EQ(server->Connections(), 2);
}

TEST_F(RemoteSeekTest, TheLastRangeEndsWithTheFile) {
    ASSERT_TRUE(Open());
    EXPECT_TRUE(IsPart(2'990'000, 5000));
    EXPECT_EQ(server->Ranges().back(), "2990000-3000016");
    EXPECT_EQ(ReadAt(kSize - 10, 1000), Part(kSize - 10, 10));
    EXPECT_EQ(Read(10), "");
    EXPECT_EQ(server->Requests().size(), 2u);
}

TEST_F(RemoteSeekTest, AShortRestIsWaitedForSoThatTheConnectionStays) {
    Serve([this](const OddRequest& request, OddReply& reply) {
        if (request.number != 1) {
            return false;
        }
        reply.Send(content.Head(206, 65536, "Content-Range: bytes 1000000-1065535/3000017\r\n"));
        reply.Send(Part(1'000'000, 1000));
        reply.Pause(50);
        return reply.Send(Part(1'001'000, 64536));
    });
    ASSERT_TRUE(Open());
    EXPECT_TRUE(IsPart(1'000'000, 1000));
    EXPECT_TRUE(IsPart(2'000'000, 1000));
    EXPECT_EQ(server->Connections(), 1);
}

TEST_F(RemoteSeekTest, ARestThatDoesNotComeCostsTheConnectionAndNotTheRead) {
    Serve([this](const OddRequest& request, OddReply& reply) {
        if (request.number == 1) {
            reply.Send(content.Head(206, 65536, "Content-Range: bytes 1000000-1065535/3000017\r\n"));
            reply.Send(Part(1'000'000, 1000));
            reply.Hang();
        }
        return request.number == 1;
    });
    ASSERT_TRUE(Open());
    EXPECT_TRUE(IsPart(1'000'000, 1000));
    EXPECT_TRUE(IsPart(2'000'000, 1000));
    EXPECT_EQ(server->Connections(), 2);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), IsEmpty());
}

TEST_F(RemoteSeekTest, ManyJumpsNeedOneConnection) {
    ASSERT_TRUE(Open());
    uint64 position = 7;
    for (int i = 0; i < 200; ++i) {
        position = (position * 48271) % 2'900'000;
        ASSERT_TRUE(IsPart(position, 65536)) << position;
    }
    EXPECT_EQ(server->Connections(), 1);
}

TEST_F(RemoteSeekTest, AServerWithoutRangesIsReadOnAndGoingBackBeginsAnew) {
    content.givesRanges = false;
    ASSERT_TRUE(Open());
    EXPECT_EQ(remote->GetSize(), kSize);
    EXPECT_TRUE(IsPart(2'000'000, 1000));
    EXPECT_EQ(server->Requests().size(), 1u);
    EXPECT_TRUE(IsPart(100, 1000)); // of the beginning, which is kept
    EXPECT_EQ(server->Requests().size(), 1u);
    EXPECT_TRUE(IsPart(1'000'000, 1000));
    EXPECT_TRUE(IsPart(2'500'000, 1000));
    EXPECT_EQ(server->Requests().size(), 2u);
    EXPECT_TRUE(IsPart(200'000, 1000));
    EXPECT_EQ(server->Requests().size(), 3u);
    EXPECT_EQ(log.Count(L"gives no ranges"), 1u);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), IsEmpty());
}

TEST_F(RemoteSeekTest, AServerThatBeginsToGiveRangesIsTakenAtItsWord) {
    content.givesRanges = false;
    ASSERT_TRUE(Open());
    content.givesRanges = true;
    EXPECT_TRUE(IsPart(2'000'000, 1000)); // of the running response
    EXPECT_TRUE(IsPart(1'000'000, 1000));
    EXPECT_EQ(server->Ranges().back(), "1000000-");
    EXPECT_TRUE(IsPart(100'000, 1000));
    EXPECT_EQ(server->Ranges().back(), "100000-165535");
}

TEST_F(RemoteSeekTest, AServerThatGivesNoRangesAnyMoreIsReadFromTheStart) {
    ASSERT_TRUE(Open());
    content.givesRanges = false;
    EXPECT_TRUE(IsPart(1'000'000, 1000));
    EXPECT_TRUE(IsPart(2'000'000, 1000));
    EXPECT_EQ(server->Requests().size(), 2u);
    EXPECT_EQ(log.Count(L"gives no ranges any more"), 1u);
}

TEST_F(RemoteSeekTest, NothingIsReadIntoNoMemory) {
    ASSERT_TRUE(Open());
    uint32 got = 7;
    EXPECT_EQ(remote->Read(nullptr, 10, &got), 0);
    EXPECT_EQ(got, 0u);
    uint8 byte = 0;
    EXPECT_NE(remote->Read(&byte, 0, &got), 0);
    EXPECT_NE(remote->Read(&byte, 1, nullptr), 0);
    EXPECT_EQ(byte, static_cast<uint8>(content.bytes[0]));
}
