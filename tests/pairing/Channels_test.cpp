// Channels to plug-ins, and requests for channels that cannot be.
#include "pairing/Bridge.h"
#include "pairing/Processes.h"

#include "bridge/ChannelSpaces.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::SizeIs;

namespace {

class ChannelsTest : public BridgeTest {
protected:
    void SetUp() override {
        BridgeTest::SetUp();
        Start();
        m_plug = Load();
    }

    struct Facts {
        std::wstring id;
        unsigned long long plug = 0;
        uint32 calls = 0;
        uint32 opened = 0;
        uint32 closed = 0;
    };
    static Facts Ask(Channel& channel) {
        Facts facts;
        EXPECT_EQ(channel.Call(
                      L"Who", [](CVXCSerialize&) {},
                      [&](CVXCSerialize& reply) {
                          CVXCString id;
                          reply >> id >> facts.plug >> facts.calls >> facts.opened >> facts.closed;
                          facts.id = id.c_str();
                      }),
                  0u);
        return facts;
    }

    unsigned long long m_plug = 0;
};

constexpr uint32 kNoRoom = 8;

} // namespace

TEST_F(ChannelsTest, TwoChannelsOfOnePlugInHaveInstancesOfTheirOwn) {
    const std::wstring firstId = UniqueId();
    const std::wstring secondId = UniqueId();
    Channel first(m_plug, firstId, 4096, 8192);
    Channel second(m_plug, secondId, 524288, 100000);
    ASSERT_EQ(first.Result(), 0);
    ASSERT_EQ(second.Result(), 0);
    EXPECT_EQ(Ask(first).id, firstId);
    const Facts facts = Ask(second);
    EXPECT_EQ(facts.id, secondId);
    EXPECT_EQ(facts.plug, m_plug);
    EXPECT_EQ(facts.calls, 1u);
    EXPECT_EQ(facts.opened, 2u);
    EXPECT_EQ(UsableSpaces(first.End()).replyBytes, 8192u);
    EXPECT_EQ(UsableSpaces(second.End()).replyBytes, 100000u);
}

TEST_F(ChannelsTest, OneReleasedChannelLeavesTheOtherAtWork) {
    Channel kept(m_plug);
    {
        Channel other(m_plug, UniqueId(), 4096, 4096);
        EXPECT_TRUE(other.Works());
    }
    EXPECT_TRUE(kept.Works());
    EXPECT_EQ(Ask(kept).closed, 1u);
    kept.Release();
    // Nothing but the system channel is left.
    EXPECT_TRUE(Eventually([] { return NamesOf(OwnProcess()).size() == 4; }));
    Channel last(m_plug);
    const Facts facts = Ask(last);
    EXPECT_EQ(facts.opened, 3u);
    EXPECT_EQ(facts.closed, 2u);
}

TEST_F(ChannelsTest, AReleasedIdMayBeUsedAgain) {
    const std::wstring id = UniqueId();
    for (int i = 0; i < 5; ++i) {
        Channel channel(m_plug, id);
        ASSERT_EQ(channel.Result(), 0);
        EXPECT_TRUE(channel.Works());
    }
}

TEST_F(ChannelsTest, OddSizesAreRefusedAndTheServerServesOn) {
    for (const unsigned int size : {0u, 0x10000001u, 0x80000000u, 0xFFFFFFFFu}) {
        Channel channel(m_plug, UniqueId(), 4096, size);
        EXPECT_EQ(static_cast<uint32>(channel.Result()), kNoRoom) << size;
    }
    Channel none(m_plug, UniqueId(), 0, 4096);
    EXPECT_EQ(none.Result(), -1);
    Channel channel(m_plug);
    EXPECT_TRUE(channel.Works());
}

TEST_F(ChannelsTest, IdsThatAreEmptyOrTooLongAreRefused) {
    for (const std::wstring& id : {std::wstring(), std::wstring(201, L'x'), std::wstring(5000, L'x')}) {
        Channel channel(m_plug, id, 4096, 4096);
        EXPECT_EQ(static_cast<uint32>(channel.Result()), kNoRoom) << id.size();
    }
    std::wstring longest = UniqueId();
    longest.resize(200, L'x');
    Channel channel(m_plug, longest, 4096, 4096);
    EXPECT_TRUE(channel.Works());
}

TEST_F(ChannelsTest, IdsWithOddCharactersStayInTheirPlace) {
    for (const wchar_t* odd :
         {L"/", L"..", L"../../tmp/x", L"a\\b", L"%2F", L" ", L"\x20AC \x1F3AC", L"*?\"<>|"}) {
        Channel channel(m_plug, UniqueId() + odd, 4096, 4096);
        EXPECT_EQ(channel.Result(), 0) << testing::PrintToString(odd);
        EXPECT_TRUE(channel.Works());
        EXPECT_THAT(NamesOf(OwnProcess()), SizeIs(8)); // its four beside the system's, all in the one folder
    }
}

TEST_F(ChannelsTest, AChannelOfNoPlugInIsRefused) {
    for (const unsigned long long plug : {1ull, 0x0002000100000001ull, ~0ull}) {
        Channel channel(plug);
        EXPECT_EQ(static_cast<uint32>(channel.Result()), kUnknown);
    }
    EXPECT_TRUE(Eventually([] { return NamesOf(OwnProcess()).size() == 4; }));
}
