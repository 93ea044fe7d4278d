// Heads of requests, and replies that are whole whatever happens.
#include "server/Message.h"

#include "server/MessageSpaces.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace vxcserver;
using vxcio::test::MessageSpaces;

namespace {

constexpr uint32 kLeaderBytes = 15;

void Put32(unsigned char* place, uint32 value) {
    for (int i = 0; i < 4; ++i) {
        place[i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

bool IsTaken(const MessageSpaces& spaces) {
    Request request;
    return TakeRequest(spaces.Spaces(), request);
}

void ExpectRefusal(const MessageSpaces& spaces, uint32 result) {
    const SOutParamLeader leader = spaces.Leader();
    EXPECT_EQ(leader.size, kLeaderBytes);
    EXPECT_EQ(leader.result, result);
    EXPECT_EQ(leader.value2, 0u);
    EXPECT_TRUE(spaces.IsClearedBehind());
}

} // namespace

TEST(RequestTest, AWholeHeadIsTakenAndTheArgumentsEndWithTheMessage) {
    const MessageSpaces spaces;
    const uint32 size = spaces.Put(5, L"Name", [](CVXCSerialize& stream) { stream << 7u << 8u; });
    Request request;
    ASSERT_TRUE(TakeRequest(spaces.Spaces(), request));
    EXPECT_EQ(request.leader.size, size);
    EXPECT_EQ(request.leader.command, 5u);
    EXPECT_STREQ(request.leader.commandString.c_str(), L"Name");
    uint32 a = 0;
    uint32 b = 0;
    uint32 beyond = 99;
    request.arguments >> a >> b;
    EXPECT_EQ(request.arguments.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(a, 7u);
    EXPECT_EQ(b, 8u);
    request.arguments >> beyond;
    EXPECT_EQ(request.arguments.m_nError, VXC_SERIALIZE_NO_SPACE);
    EXPECT_EQ(beyond, 99u);
}

TEST(RequestTest, AHeadWithoutANameHasSixteenBytes) {
    const MessageSpaces spaces;
    EXPECT_EQ(spaces.Put(7, L""), 16u);
    EXPECT_TRUE(IsTaken(spaces));
}

TEST(RequestTest, EverySizeBelowTheHeadIsRefused) {
    const MessageSpaces spaces;
    spaces.Put(7, L"");
    for (uint32 size = 0; size < 16; ++size) {
        Put32(spaces.Request() + 1, size);
        EXPECT_FALSE(IsTaken(spaces)) << size;
    }
    // The head alone is longer than what the size says.
    const uint32 whole = spaces.Put(0, L"Name");
    for (uint32 size = 16; size < whole; ++size) {
        Put32(spaces.Request() + 1, size);
        EXPECT_FALSE(IsTaken(spaces)) << size;
    }
    Put32(spaces.Request() + 1, whole);
    EXPECT_TRUE(IsTaken(spaces));
}

TEST(RequestTest, ASizeBeyondTheSpaceIsRefused) {
    const MessageSpaces spaces(64);
    spaces.Put(7, L"");
    Put32(spaces.Request() + 1, 64);
    EXPECT_TRUE(IsTaken(spaces));
    for (const uint32 size : {65u, 4096u, 0x80000000u, 0xFFFFFFFFu}) {
        Put32(spaces.Request() + 1, size);
        EXPECT_FALSE(IsTaken(spaces)) << size;
    }
}

TEST(RequestTest, EachWrongTagIsRefused) {
    const MessageSpaces spaces;
    spaces.Put(0, L"Name");
    for (const int place : {0, 5, 10, 11, 16, 17}) {
        const unsigned char right = spaces.Request()[place];
        for (const int wrong : {0, 0x63, 0x77, 0x71, 0x66, 0x64, 0xFF, right ^ 0x20}) {
            spaces.Request()[place] = static_cast<unsigned char>(wrong);
            EXPECT_FALSE(IsTaken(spaces)) << place << " " << wrong;
        }
        spaces.Request()[place] = right;
    }
    EXPECT_TRUE(IsTaken(spaces));
}

TEST(RequestTest, ANameLongerThanTheMessageIsRefused) {
    const MessageSpaces spaces(256);
    const uint32 size = spaces.Put(0, L"Name", [](CVXCSerialize& stream) { stream << 1ull << 2ull; });
    // Both counts say that the name goes on over the arguments, and beyond.
    for (const uint32 count : {size - 21, 200u, 235u, 1000u, 0xFFFFFFF0u, 0xFFFFFFFFu}) {
        Put32(spaces.Request() + 12, count);
        Put32(spaces.Request() + 18, count);
        EXPECT_FALSE(IsTaken(spaces)) << count;
    }
}

TEST(RequestTest, CountsThatDisagreeNeverReadBeyondTheSpace) {
    const MessageSpaces spaces(64);
    for (const uint32 outer : {0u, 1u, 8u, 40u, 0xFFFFFFFFu}) {
        for (const uint32 inner : {0u, 1u, 3u, 8u, 42u, 43u, 0x7FFFFFFFu, 0xFFFFFFFAu}) {
            spaces.Put(0, L"Name");
            Put32(spaces.Request() + 12, outer);
            Put32(spaces.Request() + 18, inner);
            Put32(spaces.Request() + 1, 64);
            Request request;
            if (TakeRequest(spaces.Spaces(), request)) {
                EXPECT_LE(request.arguments.m_dwPosition, 64u);
                EXPECT_LE(static_cast<uint32>(request.leader.commandString.GetLength()), 21u);
            }
        }
    }
}

TEST(RequestTest, ASpaceTooSmallForAHeadIsRefused) {
    for (uint32 bytes = 1; bytes < 16; ++bytes) {
        const MessageSpaces spaces(bytes);
        std::memset(spaces.Request(), 'l', bytes);
        EXPECT_FALSE(IsTaken(spaces)) << bytes;
    }
    Request request;
    EXPECT_FALSE(TakeRequest({nullptr, 0, nullptr, 0}, request));
}

TEST(ReplyTest, TheLeaderIsCompletedAndTheBytesBehindAreCleared) {
    const MessageSpaces spaces;
    Reply reply(spaces.Spaces());
    reply.Results() << 11u << 12ull;
    reply.Finish(0x1234);
    SOutParamLeader leader = {};
    CVXCSerialize stream = spaces.ReadReply(leader);
    EXPECT_EQ(leader.size, kLeaderBytes + 5 + 9);
    EXPECT_EQ(leader.result, 0x1234u);
    EXPECT_EQ(leader.value2, 0u);
    uint32 a = 0;
    unsigned long long b = 0;
    stream >> a >> b;
    EXPECT_EQ(a, 11u);
    EXPECT_EQ(b, 12u);
    EXPECT_TRUE(spaces.IsClearedBehind(16));
    EXPECT_FALSE(spaces.IsClearedBehind(17)); // not more than that: large replies cost nothing
}

TEST(ReplyTest, AHostThatAsksForMoreThanWasAnsweredFindsNothing) {
    const MessageSpaces spaces;
    {
        Reply old(spaces.Spaces());
        old.Results() << 0x7171717171717171ull;
        old.Finish(0);
    }
    Reply reply(spaces.Spaces());
    reply.Finish(0);
    SOutParamLeader leader = {};
    CVXCSerialize stream = spaces.ReadReply(leader);
    unsigned long long handle = 0;
    stream >> handle;
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(leader.size, kLeaderBytes);
}

TEST(ReplyTest, AReplyUpToTheLastByteIsWholeAndNothingBehindIsTouched) {
    for (uint32 room = 0; room < 20; ++room) {
        const MessageSpaces spaces(64, kLeaderBytes + 5 + room);
        Reply reply(spaces.Spaces());
        reply.Results() << 11u;
        reply.Finish(3);
        EXPECT_EQ(spaces.Leader().size, kLeaderBytes + 5);
        EXPECT_EQ(spaces.Leader().result, 3u);
        EXPECT_TRUE(spaces.IsClearedBehind());
    }
}

TEST(ReplyTest, ResultsThatDoNotFitAreLeftOutAndTheResultTellsIt) {
    const MessageSpaces spaces(64, 64);
    Reply reply(spaces.Spaces());
    reply.Results() << 1ull;
    for (int i = 0; i < 20; ++i) {
        reply.Results() << 0x7171717171717171ull;
    }
    reply.Finish(0);
    ExpectRefusal(spaces, kResultNoRoom);
    EXPECT_EQ(kResultNoRoom, 8u);
}

TEST(ReplyTest, ARefusalTakesBackWhatWasStored) {
    const MessageSpaces spaces;
    Reply reply(spaces.Spaces());
    reply.Results() << 1ull << 2ull;
    reply.Refuse(kResultThrown);
    ExpectRefusal(spaces, 0x80000107u);
}

TEST(ReplyTest, AStreamLeftInAnOddStateBecomesARefusal) {
    unsigned char elsewhere[256] = {};
    const std::vector<void (*)(CVXCSerialize&)> harms = {
        [](CVXCSerialize& stream) { stream.m_nDirection = VXC_SERIALIZE_LOAD; },
        [](CVXCSerialize& stream) { stream.m_nDirection = 77; },
        [](CVXCSerialize& stream) { stream.m_nError = VXC_SERIALIZE_WRONG_TAG; },
        [](CVXCSerialize& stream) { stream.m_nError = -1; },
        [](CVXCSerialize& stream) { stream.m_dwPosition = 0; },
        [](CVXCSerialize& stream) { stream.m_dwPosition = 14; },
        [](CVXCSerialize& stream) { stream.m_dwPosition = 65; },
        [](CVXCSerialize& stream) { stream.m_dwPosition = 0xFFFFFFFFu; },
        [](CVXCSerialize& stream) { stream.m_pBuffer = nullptr; },
        [](CVXCSerialize& stream) { stream.m_pBuffer += 1; },
        [](CVXCSerialize& stream) { stream.m_dwPosition = stream.m_dwCapacity = 4096; },
    };
    for (std::size_t i = 0; i < harms.size(); ++i) {
        const MessageSpaces spaces(64, 64);
        Reply reply(spaces.Spaces());
        reply.Results() << 5u;
        harms[i](reply.Results());
        reply.Finish(0);
        SCOPED_TRACE(i);
        ExpectRefusal(spaces, kResultNoRoom);
    }
    const MessageSpaces spaces(64, 64);
    Reply reply(spaces.Spaces());
    reply.Results().m_pBuffer = elsewhere;
    reply.Finish(0);
    ExpectRefusal(spaces, kResultNoRoom);
    EXPECT_EQ(elsewhere[0], 0);
}

TEST(ReplyTest, ALoweredCapacityIsNotTheRepliesEnd) {
    const MessageSpaces spaces(64, 64);
    Reply reply(spaces.Spaces());
    reply.Results() << 5u;
    reply.Results().m_dwCapacity = 0;
    reply.Finish(9);
    EXPECT_EQ(spaces.Leader().size, kLeaderBytes + 5);
    EXPECT_EQ(spaces.Leader().result, 9u);
    EXPECT_TRUE(spaces.IsClearedBehind());
}

TEST(ReplyTest, ASpaceWithoutRoomForALeaderIsLeftAloneBehindIt) {
    for (uint32 bytes = 1; bytes < kLeaderBytes; ++bytes) {
        const MessageSpaces spaces(64, bytes);
        Reply reply(spaces.Spaces());
        reply.Results() << 5u;
        reply.Finish(0);
        reply.Refuse(8); // the sanitizer sees what goes beyond
    }
    Reply nowhere({nullptr, 4096, nullptr, 4096});
    nowhere.Results() << 5u;
    nowhere.Finish(0);
    EXPECT_NE(nowhere.Results().m_nError, VXC_SERIALIZE_OK);
}
