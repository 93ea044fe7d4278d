// Spaces of another size: what each end gets, what it is told, and how much of it is really there.
#include "bridge/InteracterTesting.h"
#include "bridge/SystemSender.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using Kind = SharedObjectsPlan::Kind;
using Unmapping = SharedObjectsPlan::Unmapping;

namespace {

constexpr uint32 kIn = 4096;
constexpr uint32 kOut = 8192;
constexpr uint32 kLarger = 65536;

struct Told {
    unsigned char* request = nullptr;
    unsigned int requestSize = 0;
    unsigned char* reply = nullptr;
    unsigned int replySize = 0;
};

Told SpacesOf(CVXCInteracter& channel) {
    void* in = nullptr;
    void* out = nullptr;
    Told told;
    channel.ObtainSMMSpaceAddress(&in, &told.requestSize, &out, &told.replySize);
    told.request = static_cast<unsigned char*>(in);
    told.reply = static_cast<unsigned char*>(out);
    return told;
}

class InteracterAdjustTest : public ::testing::Test {
protected:
    // In the order in which the set-up gives handles out.
    enum Handle { SenderRequest, ReceiverRequest, ReceiverReply, SenderReply };

    InteracterAdjustTest() {
        EXPECT_TRUE(pair.IsUp());
        given = plan.Given();
        EXPECT_THAT(given, SizeIs(4));
        views = plan.Views();
        log.Clear();
    }
    // The unmapping was asked for by handle, in vain, and the handle is closed.
    void ExpectHandleGiven(Handle handle) {
        ASSERT_FALSE(plan.Unmappings().empty());
        EXPECT_EQ(plan.Unmappings()[0], (Unmapping{given[handle], 0}));
        EXPECT_EQ(SharedObjects().closeMapping(given[handle]), 0);
    }
    std::vector<std::wstring> Failures() const { return log.Texts(INFOTYPE_ERROR); }
    void ExpectNothingLeft() {
        pair.sender.Release();
        pair.receiver.Release();
        EXPECT_EQ(plan.Handles(), 0);
        EXPECT_EQ(plan.Views(), 0);
        EXPECT_THAT(NamesOf(pair.id), IsEmpty());
    }

    const SharedObjectsPlan plan;
    ChannelPair pair{{}, kIn, kOut};
    std::vector<void*> given;
    int views = 0;
    LogCapture log;
};

} // namespace

// ---- The request space at the host ------------------------------------------------------------------------

TEST_F(InteracterAdjustTest, TheHostFindsTheNameOfItsRequestSpaceTakenAndReleases) {
    EXPECT_EQ(pair.sender.AdjustInSMMSpaceSize(kLarger), -1);
    EXPECT_THAT(Failures(),
                ElementsAre(L"AdjustInSMMSpaceSize failed: Mapping already exists - not created."));
    ExpectHandleGiven(SenderRequest);
    EXPECT_EQ(SpacesOf(pair.sender).request, nullptr);
    EXPECT_EQ(SpacesOf(pair.sender).requestSize, kLarger);
    EXPECT_EQ(UsableSpaces(pair.sender).requestBytes, 0u);
    EXPECT_EQ(plan.Handles(), 2); // the receiver's
    EXPECT_EQ(plan.Views(), 2);
    ExpectNothingLeft();
}

TEST_F(InteracterAdjustTest, TheHostCannotMakeARequestSpaceAndReleases) {
    plan.Fail(Kind::CreateMapping);
    EXPECT_EQ(pair.sender.AdjustInSMMSpaceSize(kLarger), -1);
    EXPECT_THAT(Failures(), ElementsAre(L"AdjustInSMMSpaceSize failed! Can't create file mapping."));
    EXPECT_EQ(SpacesOf(pair.sender).request, nullptr);
    EXPECT_EQ(SpacesOf(pair.sender).requestSize, kLarger);
    EXPECT_EQ(plan.Handles(), 2);
    ExpectNothingLeft();
}

TEST_F(InteracterAdjustTest, ARequestSpaceOfNoBytesCannotBeMade) {
    EXPECT_EQ(pair.sender.AdjustInSMMSpaceSize(0), -1);
    EXPECT_THAT(Failures(), ElementsAre(L"AdjustInSMMSpaceSize failed! Can't create file mapping."));
}

TEST_F(InteracterAdjustTest, WithTheNameFreeTheHostGetsAnotherRequestSpaceBesideTheOldView) {
    const Told before = SpacesOf(pair.sender);
    before.request[0] = 0x5A;
    plan.FreeTakenNames();
    EXPECT_EQ(pair.sender.AdjustInSMMSpaceSize(kLarger), 0);
    ExpectHandleGiven(SenderRequest);
    const Told after = SpacesOf(pair.sender);
    EXPECT_NE(after.request, before.request);
    EXPECT_EQ(after.requestSize, kLarger);
    EXPECT_EQ(UsableSpaces(pair.sender).requestBytes, kLarger);
    after.request[kLarger - 1] = 1;
    EXPECT_EQ(before.request[0], 0x5A);
    EXPECT_EQ(plan.Views(), views + 1);
    EXPECT_THAT(Failures(), IsEmpty());
    ExpectNothingLeft();
}

TEST_F(InteracterAdjustTest, AnotherRequestSpaceThatCannotBeMappedIsASuccessWithoutAView) {
    plan.FreeTakenNames();
    plan.Fail(Kind::MapView);
    EXPECT_EQ(pair.sender.AdjustInSMMSpaceSize(kLarger), 0);
    EXPECT_EQ(SpacesOf(pair.sender).request, nullptr);
    EXPECT_EQ(SpacesOf(pair.sender).requestSize, kLarger);
    EXPECT_EQ(UsableSpaces(pair.sender).requestBytes, 0u);
    EXPECT_EQ(plan.Views(), views); // the old one is there
    ExpectNothingLeft();
}

// ---- The request space at the server ----------------------------------------------------------------------

TEST_F(InteracterAdjustTest, TheServerOpensTheRequestSpaceAgainAndKeepsItsSize) {
    const Told before = SpacesOf(pair.receiver);
    EXPECT_EQ(pair.receiver.AdjustInSMMSpaceSize(kLarger), 0);
    ExpectHandleGiven(ReceiverRequest);
    EXPECT_EQ(plan.Opened().back(), pair.id + L"_InMap");
    const Told after = SpacesOf(pair.receiver);
    EXPECT_NE(after.request, before.request);
    EXPECT_EQ(after.requestSize, before.requestSize);
    EXPECT_EQ(UsableSpaces(pair.receiver).requestBytes, kIn);
    after.request[5] = 0x77;
    EXPECT_EQ(before.request[5], 0x77); // one section
    EXPECT_EQ(plan.Views(), views + 1);
    ExpectNothingLeft();
}

TEST_F(InteracterAdjustTest, ARequestSpaceThatCannotBeOpenedAgainLeavesTheServerTheOldView) {
    const Told before = SpacesOf(pair.receiver);
    plan.Fail(Kind::OpenMapping);
    EXPECT_EQ(pair.receiver.AdjustInSMMSpaceSize(kLarger), -1);
    ASSERT_THAT(Failures(), SizeIs(1));
    EXPECT_TRUE(log.Contains(L"AdjustInSMMSpaceSize Failed: OpenFileMapping m_hInMapFile failed ("));
    ExpectHandleGiven(ReceiverRequest);
    const Told after = SpacesOf(pair.receiver);
    EXPECT_EQ(after.request, before.request);
    EXPECT_EQ(after.reply, before.reply);
    EXPECT_EQ(UsableSpaces(pair.receiver).requestBytes, kIn);
    EXPECT_EQ(pair.sender.RemoteCall(30000), 0); // nothing was released
    ExpectNothingLeft();
}

TEST_F(InteracterAdjustTest, ARequestSpaceThatHasGoneIsErrorTwo) {
    pair.sender.Release();
    pair.receiver.Release();
    log.Clear();
    EXPECT_EQ(pair.receiver.AdjustInSMMSpaceSize(kLarger), -1);
    EXPECT_TRUE(log.Contains(L"AdjustInSMMSpaceSize Failed: OpenFileMapping m_hInMapFile failed (2).\n"));
}

// ---- The reply space at the server
// --------------------------------------------------------------------------

TEST_F(InteracterAdjustTest, TheServerFindsTheNameOfItsReplySpaceTakenAndKeepsTheOldView) {
    const Told before = SpacesOf(pair.receiver);
    before.reply[7] = 0x33;
    EXPECT_EQ(pair.receiver.AdjustOutSMMSpaceSize(kLarger), -1);
    EXPECT_THAT(Failures(),
                ElementsAre(L"AdjustOutSMMSpaceSize failed: Mapping already exists - not created."));
    ExpectHandleGiven(ReceiverReply);
    const Told after = SpacesOf(pair.receiver);
    EXPECT_EQ(after.reply, before.reply);
    EXPECT_EQ(after.replySize, kLarger);
    EXPECT_EQ(UsableSpaces(pair.receiver).replyBytes, kOut); // no more than is there
    EXPECT_EQ(after.reply[7], 0x33);
    EXPECT_EQ(pair.sender.RemoteCall(30000), 0);
    ExpectNothingLeft();
}

TEST_F(InteracterAdjustTest, TheServerCannotMakeAReplySpace) {
    plan.Fail(Kind::CreateMapping);
    EXPECT_EQ(pair.receiver.AdjustOutSMMSpaceSize(kLarger), -1);
    EXPECT_THAT(Failures(), ElementsAre(L"AdjustOutSMMSpaceSize failed: Can't create file mapping."));
    EXPECT_EQ(SpacesOf(pair.receiver).replySize, kLarger);
    EXPECT_EQ(UsableSpaces(pair.receiver).replyBytes, kOut);
    EXPECT_EQ(pair.sender.RemoteCall(30000), 0);
    ExpectNothingLeft();
}

TEST_F(InteracterAdjustTest, AnotherReplySpaceThatCannotBeMappedIsAFailureWithoutRelease) {
    plan.FreeTakenNames();
    plan.Fail(Kind::MapView);
    EXPECT_EQ(pair.receiver.AdjustOutSMMSpaceSize(kLarger), -1);
    EXPECT_THAT(Failures(), ElementsAre(L"AdjustOutSMMSpaceSize failed: Can't map view. m_pOutMapSMM"));
    EXPECT_EQ(SpacesOf(pair.receiver).reply, nullptr);
    EXPECT_NE(SpacesOf(pair.receiver).request, nullptr);
    EXPECT_EQ(UsableSpaces(pair.receiver).replyBytes, 0u);
    ExpectNothingLeft();
}

TEST_F(InteracterAdjustTest, WithTheNameFreeTheServerGetsAnotherReplySpaceBesideTheOldView) {
    const Told before = SpacesOf(pair.receiver);
    before.reply[0] = 0x21;
    plan.FreeTakenNames();
    EXPECT_EQ(pair.receiver.AdjustOutSMMSpaceSize(100), 0);
    const Told after = SpacesOf(pair.receiver);
    EXPECT_NE(after.reply, before.reply);
    EXPECT_EQ(after.replySize, 100u);
    EXPECT_EQ(UsableSpaces(pair.receiver).replyBytes, 100u);
    EXPECT_EQ(before.reply[0], 0x21);
    EXPECT_THAT(Failures(), IsEmpty());
    ExpectNothingLeft();
}

// ---- The reply space at the host
// ------------------------------------------------------------------------------

TEST_F(InteracterAdjustTest, TheHostSeesTheRequestSpaceAsRepliesAndKeepsItsSize) {
    const Told before = SpacesOf(pair.sender);
    EXPECT_EQ(pair.sender.AdjustOutSMMSpaceSize(kLarger), 0);
    ExpectHandleGiven(SenderReply);
    EXPECT_EQ(plan.Opened().back(), pair.id + L"_InMap");
    const Told after = SpacesOf(pair.sender);
    EXPECT_NE(after.reply, before.reply);
    EXPECT_EQ(after.replySize, kOut);
    EXPECT_EQ(UsableSpaces(pair.sender).replyBytes, kIn); // the request space is smaller
    after.request[9] = 0x44;
    EXPECT_EQ(after.reply[9], 0x44);
    before.reply[0] = 1; // still mapped
    ExpectNothingLeft();
}

TEST_F(InteracterAdjustTest, ASpaceThatCannotBeOpenedLeavesTheHostTheOldReplies) {
    const Told before = SpacesOf(pair.sender);
    plan.Fail(Kind::OpenMapping);
    EXPECT_EQ(pair.sender.AdjustOutSMMSpaceSize(kLarger), -1);
    ASSERT_THAT(Failures(), SizeIs(1));
    EXPECT_TRUE(log.Contains(L"AdjustInSMMSpaceSize Failed: OpenFileMapping m_hOutMapFile failed ("));
    EXPECT_EQ(SpacesOf(pair.sender).reply, before.reply);
    EXPECT_EQ(UsableSpaces(pair.sender).replyBytes, kOut);
    EXPECT_EQ(pair.sender.RemoteCall(30000), 0);
    ExpectNothingLeft();
}

TEST_F(InteracterAdjustTest, AChannelThatIsNotUpIsAdjustedWithoutHarm) {
    CVXCInteracterImpl host(VXC_INTERACTER_SENDER);
    const std::wstring id = UniqueId();
    host.Assign(0, id.c_str(), 10, 10);
    EXPECT_EQ(host.AdjustOutSMMSpaceSize(20), -1);
    EXPECT_EQ(host.AdjustInSMMSpaceSize(20), 0);
    EXPECT_EQ(UsableSpaces(host).requestBytes, 20u);
    EXPECT_THAT(plan.Unmappings(), Contains(Unmapping{nullptr, 0}));
    host.Release();
    EXPECT_THAT(NamesOf(id), IsEmpty());
}

TEST(AdjustWithServerTest, ARefusedReleaseLeavesTheHostTheOldViewOfTheOldLength) {
    PlayedServer server;
    LogCapture log;
    const std::wstring id = UniqueId();
    CVXCInteracterImpl host(VXC_INTERACTER_SENDER);
    ASSERT_EQ(host.Initialize(1, id.c_str(), kIn, kOut), 0);
    const Told before = SpacesOf(host);
    server.AnswerBy(PlayedServer::LeaderOnly(1));
    EXPECT_EQ(host.AdjustInSMMSpaceSize(kLarger), -1);
    EXPECT_EQ(SpacesOf(host).request, before.request);
    EXPECT_EQ(SpacesOf(host).requestSize, kLarger);
    EXPECT_EQ(UsableSpaces(host).requestBytes, kIn);
    server.AnswerBy({});
    host.Release();
    EXPECT_THAT(NamesOf(id), IsEmpty());
}
