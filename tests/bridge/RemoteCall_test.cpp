// Requests and replies on any channel.
#include "bridge/RemoteCall.h"
#include "bridge/RemoteCallDouble.h"
#include "frame/Status.h"
#include "support/LogCapture.h"
#include "support/MemoryLack.h"

#include <gmock/gmock.h>

#include <string>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr int kNoCommand = static_cast<int>(0x80000004u);
constexpr int kTimeOut = static_cast<int>(0x8000000Du);
constexpr auto kSeven = static_cast<EVXC32_RCALL_CMD>(7);

class RemoteCallTest : public ::testing::Test {
protected:
    int In(const wchar_t* name, EVXC32_RCALL_CMD command = VXC32_RCALL_NAMED,
           const wchar_t* caller = nullptr) {
        return RemoteCall_In(&channel, command, name, caller, request);
    }
    int Out(unsigned int timeOut = 100, const wchar_t* caller = nullptr) {
        return RemoteCall_Out(&channel, timeOut, caller, request, reply);
    }
    Bytes Sent() const { return {channel.request.begin(), channel.request.begin() + request.m_dwPosition}; }
    static bool IsAsMade(const CVXCSerialize& stream) {
        return stream.m_pBuffer == nullptr && stream.m_dwCapacity == 0 && stream.m_dwPosition == 0 &&
               stream.m_nDirection == VXC_SERIALIZE_LOAD && stream.m_nError == 0;
    }

    LogCapture log;
    ChannelDouble channel{200, 100};
    CVXCSerialize request;
    CVXCSerialize reply;
};

} // namespace

TEST_F(RemoteCallTest, ARequestBeginsWithItsHead) {
    EXPECT_EQ(In(L"Stat"), 0);
    EXPECT_EQ(request.m_pBuffer, channel.request.data());
    EXPECT_EQ(request.m_dwCapacity, 200U);
    EXPECT_EQ(request.m_dwPosition, 30U); // 22 and the name's 8
    EXPECT_EQ(request.m_nDirection, VXC_SERIALIZE_STORE);
    EXPECT_EQ(request.m_nError, 0);
    EXPECT_EQ(Sent(), RequestHead(0, 0, u"Stat"));
    EXPECT_EQ(channel.asked, 1);
    EXPECT_EQ(channel.locked, 0);
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(RemoteCallTest, ARequestForgetsWhatItsSerializerHeld) {
    request.m_nError = VXC_SERIALIZE_WRONG_TAG;
    request.m_dwPosition = 5000;
    EXPECT_EQ(In(L"Stat"), 0);
    EXPECT_EQ(request.m_nError, 0);
    EXPECT_EQ(request.m_dwPosition, 30U);
}

TEST_F(RemoteCallTest, ANumberedRequestCarriesNoNameWhateverIsGiven) {
    for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), L"", L"Stat"}) {
        EXPECT_EQ(In(name, kSeven), 0);
        EXPECT_EQ(request.m_dwPosition, 16U);
        EXPECT_EQ(Sent(), RequestHead(0, 7, u""));
    }
    EXPECT_EQ(In(nullptr, static_cast<EVXC32_RCALL_CMD>(-2)), 0);
    EXPECT_EQ(Sent(), RequestHead(0, 0xFFFFFFFEu, u""));
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(RemoteCallTest, ANamedRequestNeedsItsName) {
    EXPECT_EQ(In(nullptr), kNoCommand);
    EXPECT_EQ(In(L""), kNoCommand);
    EXPECT_EQ(In(nullptr, VXC32_RCALL_NAMED, L"MyProxy"), kNoCommand);
    EXPECT_EQ(In(L"", VXC32_RCALL_NAMED, L"MyProxy"), kNoCommand);
    EXPECT_EQ(In(nullptr, VXC32_RCALL_NAMED, L""), kNoCommand);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR),
                ElementsAre(L"RemoteCall_In failed : lpszCMDString is NULL",
                            L"RemoteCall_In failed : lpszCMDString is Empty",
                            L"MyProxy failed : lpszCMDString is NULL",
                            L"MyProxy failed : lpszCMDString is Empty", L" failed : lpszCMDString is NULL"));
    EXPECT_TRUE(IsAsMade(request));
    EXPECT_EQ(channel.asked, 0);
}

TEST_F(RemoteCallTest, AMissingSpaceIsTakenForSuccessAndLeavesTheRequest) {
    for (bool* const lacks :
         {&channel.noRequest, &channel.noRequestSize, &channel.noReply, &channel.noReplySize}) {
        *lacks = true;
        log.Clear();
        EXPECT_EQ(In(L"Stat"), 0);
        EXPECT_TRUE(IsAsMade(request));
        EXPECT_EQ(Out(), 0);
        EXPECT_EQ(In(L"Stat", VXC32_RCALL_NAMED, L"MyProxy"), 0);
        EXPECT_EQ(Out(100, L"MyProxy"), 0);
        EXPECT_THAT(log.Texts(INFOTYPE_ERROR),
                    ElementsAre(L"RemoteCall_In failed : can't ObtainSMMSpaceAddress 0x00000000",
                                L"RemoteCall_Out failed : can't ObtainSMMSpaceAddress 0x00000000",
                                L"MyProxy failed : can't ObtainSMMSpaceAddress 0x00000000",
                                L"MyProxy failed : can't ObtainSMMSpaceAddress 0x00000000"));
        EXPECT_TRUE(IsAsMade(reply));
        *lacks = false;
        request = CVXCSerialize();
    }
    EXPECT_THAT(channel.timeOuts, IsEmpty());
    EXPECT_EQ(channel.request, Bytes(200));
}

TEST_F(RemoteCallTest, ARequestThatWasNeverSetUpTakesNothing) {
    channel.noReply = true;
    EXPECT_EQ(In(L"Stat"), 0);
    request << 5U;
    EXPECT_EQ(request.m_nError, VXC_SERIALIZE_WRONG_DIRECTION);
    // Sent all the same, where the spaces have come up meanwhile; the error tells.
    channel.noReply = false;
    channel.Answer(ReplyHead(0));
    EXPECT_EQ(Out(), 0);
    EXPECT_EQ(request.m_nError, VXC_SERIALIZE_WRONG_DIRECTION);
    EXPECT_EQ(channel.request, Bytes(200));
}

TEST_F(RemoteCallTest, TheStatusOfTheSpacesIsPassedOn) {
    channel.status = static_cast<int>(0x80001234u);
    EXPECT_EQ(In(L"Stat"), channel.status);
    EXPECT_TRUE(IsAsMade(request));
    EXPECT_EQ(Out(), channel.status);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR),
                ElementsAre(L"RemoteCall_In failed : can't ObtainSMMSpaceAddress 0x80001234",
                            L"RemoteCall_Out failed : can't ObtainSMMSpaceAddress 0x80001234"));
    EXPECT_THAT(channel.timeOuts, IsEmpty());
}

TEST_F(RemoteCallTest, NoChannelIsAFailure) {
    EXPECT_EQ(RemoteCall_In(nullptr, VXC32_RCALL_NAMED, L"Stat", nullptr, request), -1);
    EXPECT_TRUE(IsAsMade(request));
    ASSERT_EQ(In(L"Stat"), 0);
    EXPECT_EQ(RemoteCall_Out(nullptr, 100, nullptr, request, reply), -1);
    // The length comes first of all.
    EXPECT_EQ(Sent(), RequestHead(30, 0, u"Stat"));
    EXPECT_TRUE(IsAsMade(reply));
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR),
                ElementsAre(L"RemoteCall_In failed : can't ObtainSMMSpaceAddress 0xffffffff",
                            L"RemoteCall_Out failed : can't ObtainSMMSpaceAddress 0xffffffff"));
}

TEST_F(RemoteCallTest, TheLengthIsStoredBeforeTheSpacesAreAskedFor) {
    ASSERT_EQ(In(L"Stat"), 0);
    request << 1U;
    channel.noReply = true;
    EXPECT_EQ(Out(), 0);
    EXPECT_EQ(request.m_dwPosition, 35U);
    EXPECT_EQ(Sent(), Message({RequestHead(35, 0, u"Stat"), L32(1)}));
}

TEST_F(RemoteCallTest, ARequestOfItsHeadAloneTellsItsLength) {
    channel.Answer(ReplyHead(0));
    ASSERT_EQ(In(L"Stat"), 0);
    EXPECT_EQ(Out(), 0);
    EXPECT_EQ(Sent(), RequestHead(30, 0, u"Stat"));
    ASSERT_EQ(In(nullptr, kSeven), 0);
    EXPECT_EQ(Out(), 0);
    EXPECT_EQ(Sent(), RequestHead(16, 7, u""));
}

TEST_F(RemoteCallTest, AReplyStandsAtItsFirstValue) {
    channel.Answer(Message({ReplyHead(0), Q64(77), L32(5)}));
    ASSERT_EQ(In(L"Stat"), 0);
    EXPECT_EQ(Out(2345), 0);
    EXPECT_THAT(channel.timeOuts, ElementsAre(2345U));
    EXPECT_EQ(reply.m_pBuffer, channel.reply.data());
    EXPECT_EQ(reply.m_dwCapacity, 100U);
    EXPECT_EQ(reply.m_dwPosition, 15U);
    EXPECT_EQ(reply.m_nDirection, VXC_SERIALIZE_LOAD);
    unsigned long long handle = 0;
    unsigned int number = 0;
    reply >> handle >> number;
    EXPECT_EQ(handle, 77U);
    EXPECT_EQ(number, 5U);
    EXPECT_EQ(reply.m_nError, 0);
    EXPECT_EQ(channel.locked, 0);
    EXPECT_EQ(channel.asked, 2);
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(RemoteCallTest, TheResultOfTheReplyIsPassedOnUnloggedWithTheValuesBehindIt) {
    for (const uint32 result : {1U, 258U, 0x80000002U, 0xFFFFFFFFU}) {
        channel.Answer(Message({ReplyHead(result), L32(9)}));
        ASSERT_EQ(In(L"Stat"), 0);
        EXPECT_EQ(Out(), static_cast<int>(result));
        unsigned int value = 0;
        reply >> value;
        EXPECT_EQ(value, 9U);
    }
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(RemoteCallTest, ACallThatFailsLeavesTheReply) {
    reply.m_dwPosition = 3;
    reply.m_nError = VXC_SERIALIZE_WRONG_TAG;
    channel.Answer(ReplyHead(0));
    for (const int status : {kTimeOut, -1}) {
        channel.callStatus = status;
        ASSERT_EQ(In(L"Stat"), 0);
        EXPECT_EQ(Out(), status);
        EXPECT_EQ(Out(100, L"MyProxy"), status);
    }
    EXPECT_EQ(reply.m_pBuffer, nullptr);
    EXPECT_EQ(reply.m_dwPosition, 3U);
    EXPECT_EQ(reply.m_nError, VXC_SERIALIZE_WRONG_TAG);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR),
                ElementsAre(L"RemoteCall_Out failed : RemoteCall return error 0x8000000d",
                            L"MyProxy failed : RemoteCall return error 0x8000000d",
                            L"RemoteCall_Out failed : RemoteCall return error 0xffffffff",
                            L"MyProxy failed : RemoteCall return error 0xffffffff"));
}

TEST_F(RemoteCallTest, AMessageThatIsTooLongGoesOutCutWithItsLengthAndKeepsItsError) {
    channel.Answer(ReplyHead(0));
    ASSERT_EQ(In(L"Stat"), 0);
    for (int i = 0; i < 40; ++i) {
        request << static_cast<unsigned int>(i);
    }
    EXPECT_EQ(request.m_nError, VXC_SERIALIZE_NO_SPACE);
    EXPECT_EQ(request.m_dwPosition, 200U); // 34 numbers fit, to the last byte
    EXPECT_EQ(Out(), 0);
    EXPECT_EQ(request.m_nError, VXC_SERIALIZE_NO_SPACE);
    EXPECT_EQ(request.m_dwPosition, 200U);
    EXPECT_EQ(channel.timeOuts.size(), 1U);
    EXPECT_EQ(Bytes(channel.request.begin(), channel.request.begin() + 30), RequestHead(200, 0, u"Stat"));
}

TEST_F(RemoteCallTest, ASpaceTooSmallForTheHeadOrItsLengthIsNotOverrun) {
    for (std::size_t bytes = 1; bytes < 30; ++bytes) {
        ChannelDouble small(bytes, bytes);
        CVXCSerialize cut;
        CVXCSerialize short_reply;
        EXPECT_EQ(RemoteCall_In(&small, VXC32_RCALL_NAMED, L"Stat", nullptr, cut), 0);
        EXPECT_EQ(cut.m_nError, VXC_SERIALIZE_NO_SPACE);
        EXPECT_EQ(RemoteCall_Out(&small, 1, nullptr, cut, short_reply), 0);
        EXPECT_EQ(cut.m_nError, VXC_SERIALIZE_NO_SPACE);
        EXPECT_LE(cut.m_dwPosition, bytes);
        EXPECT_EQ(short_reply.m_dwCapacity, bytes);
    }
}

TEST_F(RemoteCallTest, AReplyThatIsNoneCountsAsZeroWithTheErrorInIt) {
    channel.Answer(Bytes(100, 0xA5));
    ASSERT_EQ(In(L"Stat"), 0);
    EXPECT_EQ(Out(), 0);
    EXPECT_EQ(reply.m_nError, VXC_SERIALIZE_WRONG_TAG);
    unsigned int value = 6;
    reply >> value;
    EXPECT_EQ(value, 6U);
}

TEST_F(RemoteCallTest, WhereMemoryLacksForTheNameNothingBegins) {
    MemoryLack lack(1);
    EXPECT_EQ(In(L"Stat"), -1);
    EXPECT_TRUE(lack.Came());
    EXPECT_TRUE(IsAsMade(request));
}
