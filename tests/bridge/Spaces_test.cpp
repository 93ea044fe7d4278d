// How much of its spaces an end may use, whatever the far end has made.
#include "bridge/ChannelSpaces.h"

#include "bridge/InteracterTesting.h"
#include "support/MemoryLack.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace {

int Nothing(void*) {
    return 0;
}

// Both ends with sizes that may contradict each other.
struct Ends {
    Ends(uint32 hostIn, uint32 hostOut, uint32 serverIn, uint32 serverOut) {
        host.Assign(0, id.c_str(), hostIn, hostOut);
        EXPECT_EQ(host.InitSenderFirst(), 0);
        server.SetReceiverCallback(Nothing, nullptr);
        EXPECT_EQ(server.Initialize(0, id.c_str(), serverIn, serverOut), 0);
        EXPECT_EQ(host.InitSenderEnd(), 0);
    }
    const std::wstring id = UniqueId();
    CVXCInteracterImpl host{VXC_INTERACTER_SENDER};
    CVXCInteracterImpl server{VXC_INTERACTER_RECEIVER};
};

// Somebody else's channel.
class ForeignChannel : public CVXCInteracter {
public:
    int Initialize(unsigned long long, const wchar_t*, unsigned int, unsigned int) noexcept override {
        return 0;
    }
    void Release() noexcept override {}
    int GetInteractorID(wchar_t*, unsigned int) noexcept override { return -1; }
    int SetReceiverCallback(PFN_RECEIVER_CALLBACK, void*) noexcept override { return 0; }
    int ObtainSMMSpaceAddress(void** inSpace, unsigned int* inSize, void** outSpace,
                              unsigned int* outSize) noexcept override {
        *inSpace = in;
        *inSize = sizeof in;
        *outSpace = out;
        *outSize = sizeof out;
        return 0;
    }
    int RemoteCall(unsigned int) noexcept override { return 0; }
    int AdjustInSMMSpaceSize(unsigned int) noexcept override { return -1; }
    int AdjustOutSMMSpaceSize(unsigned int) noexcept override { return -1; }
    void Lock() noexcept override {}
    void Unlock() noexcept override {}

    unsigned char in[3] = {};
    unsigned char out[5] = {};
};

} // namespace

TEST(ChannelSpacesTest, AReplySpaceSmallerThanTheHostBelievesIsUsedToItsEnd) {
    Ends ends(4096, 100000, 4096, 100);
    EXPECT_EQ(UsableSpaces(ends.host).replyBytes, 100u);
    EXPECT_EQ(UsableSpaces(ends.server).replyBytes, 100u);
    unsigned int told = 0;
    void* space = nullptr;
    ends.host.ObtainSMMSpaceAddress(nullptr, nullptr, &space, &told);
    EXPECT_EQ(told, 100000u);
    // Who believes what is told reads and writes zeros of its own behind the section.
    auto* const bytes = static_cast<unsigned char*>(space);
    EXPECT_EQ(bytes[told - 1], 0);
    bytes[told - 1] = 1;
}

TEST(ChannelSpacesTest, ALargerReplySpaceIsUsedAsFarAsIsTold) {
    Ends ends(4096, 100, 4096, 100000);
    EXPECT_EQ(UsableSpaces(ends.host).replyBytes, 100u);
    EXPECT_EQ(UsableSpaces(ends.server).replyBytes, 100000u);
}

TEST(ChannelSpacesTest, TheServerUsesTheRequestSpaceAsTheHostMadeIt) {
    for (const uint32 told : {0u, 10u, 524288u}) {
        Ends ends(5000, 4096, told, 4096);
        EXPECT_EQ(UsableSpaces(ends.server).requestBytes, 5000u);
        unsigned int size = 1;
        ends.server.ObtainSMMSpaceAddress(nullptr, &size, nullptr, nullptr);
        EXPECT_EQ(size, told);
    }
}

TEST(ChannelSpacesTest, WithoutSpacesThereIsNothingToUse) {
    CVXCInteracterImpl channel(VXC_INTERACTER_SENDER);
    const ChannelSpaces spaces = UsableSpaces(channel);
    EXPECT_EQ(spaces.request, nullptr);
    EXPECT_EQ(spaces.requestBytes, 0u);
    EXPECT_EQ(spaces.reply, nullptr);
    EXPECT_EQ(spaces.replyBytes, 0u);
}

TEST(ChannelSpacesTest, AForeignChannelIsTakenAtItsWord) {
    ForeignChannel channel;
    const ChannelSpaces spaces = UsableSpaces(channel);
    EXPECT_EQ(spaces.request, channel.in);
    EXPECT_EQ(spaces.requestBytes, 3u);
    EXPECT_EQ(spaces.reply, channel.out);
    EXPECT_EQ(spaces.replyBytes, 5u);
}

TEST(InteracterTest, BeginsWithHalfAMebibyteOfRequestsAndNoReplies) {
    for (const int role : {VXC_INTERACTER_SENDER, VXC_INTERACTER_RECEIVER, 7}) {
        CVXCInteracter* const channel = ConstructVXCInteratcter(role);
        ASSERT_NE(channel, nullptr);
        void* in = channel;
        void* out = channel;
        unsigned int inSize = 1;
        unsigned int outSize = 1;
        EXPECT_EQ(channel->ObtainSMMSpaceAddress(&in, &inSize, &out, &outSize), 0);
        EXPECT_EQ(in, nullptr);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(inSize, 524288u);
        EXPECT_EQ(outSize, 0u);
        EXPECT_EQ(channel->ObtainSMMSpaceAddress(nullptr, nullptr, nullptr, nullptr), 0);
        channel->Release();
        channel->Release();
        EXPECT_EQ(DeleteVXCInteratcter(channel), 0);
    }
}

TEST(InteracterTest, NullMayBeDeleted) {
    EXPECT_EQ(DeleteVXCInteratcter(nullptr), 0);
}

TEST(InteracterTest, WithoutMemoryThereIsNoChannel) {
    const MemoryLack lack(1);
    EXPECT_EQ(ConstructVXCInteratcter(VXC_INTERACTER_SENDER), nullptr);
    EXPECT_TRUE(lack.Came());
}

TEST(InteracterTest, TheIdIsGivenIntoABufferOfItsVerySize) {
    CVXCInteracterImpl channel(VXC_INTERACTER_SENDER);
    channel.Assign(0, L"abcde", 1, 1);
    std::vector<wchar_t> buffer(8, L'#');
    const auto enough = static_cast<unsigned int>(6 * sizeof(wchar_t));
    EXPECT_EQ(channel.GetInteractorID(buffer.data(), enough - 1), -1);
    EXPECT_EQ(channel.GetInteractorID(buffer.data(), 0), -1);
    EXPECT_EQ(channel.GetInteractorID(nullptr, 100), -1);
    EXPECT_EQ(buffer[0], L'#');
    EXPECT_EQ(channel.GetInteractorID(buffer.data(), enough), 0);
    EXPECT_STREQ(buffer.data(), L"abcde");
    EXPECT_EQ(buffer[6], L'#');
}

TEST(InteracterTest, WithoutAnIdThereIsAnEmptyOne) {
    CVXCInteracterImpl channel(VXC_INTERACTER_SENDER);
    wchar_t buffer[2] = {L'#', L'#'};
    EXPECT_EQ(channel.GetInteractorID(buffer, sizeof(wchar_t) - 1), -1);
    EXPECT_EQ(channel.GetInteractorID(buffer, sizeof(wchar_t)), 0);
    EXPECT_EQ(buffer[0], 0);
    EXPECT_EQ(buffer[1], L'#');
    channel.Assign(0, nullptr, 1, 1);
    EXPECT_EQ(channel.GetInteractorID(buffer, sizeof buffer), 0);
}
