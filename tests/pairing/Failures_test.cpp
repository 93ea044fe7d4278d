// Plug-ins that throw, answer too much, or do not come back in time; the server serves on.
#include "pairing/Bridge.h"

#include "frame/SystemLayer.h"
#include "platform/SharedObjects.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>

#include <thread>
#include <utility>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::AnyOf;
using ::testing::Eq;

namespace {

constexpr uint32 kThrown = 0x80000107u;
constexpr uint32 kNoRoom = 8;

// An event that both ends know by its name.
class Named {
public:
    explicit Named(const std::wstring& name) : m_event(SharedObjects().createEvent(name.c_str())) {}
    ~Named() { Close(); }
    Named(const Named&) = delete;
    Named& operator=(const Named&) = delete;

    void Close() {
        if (m_event != nullptr) {
            VXC_CloseHandle(std::exchange(m_event, nullptr));
        }
    }
    void Signal() const { VXC_SetEvent(m_event); }
    bool Take(unsigned int limit = kPatience) const {
        return VXC_WaitForSingleObject(m_event, limit) == VXC_WAIT_OBJECT_0;
    }
    // Signalled, and left so.
    bool Stands() const {
        const bool taken = Take(0);
        if (taken) {
            Signal();
        }
        return taken;
    }

private:
    void* m_event;
};

class FailuresTest : public BridgeTest {
protected:
    void SetUp() override {
        BridgeTest::SetUp();
        Start();
        m_plug = Load();
    }

    unsigned long long m_plug = 0;
};

// A call that hangs until it is told; its late answer is 4711.
class LateCallTest : public FailuresTest {
protected:
    void TearDown() override {
        for (Named* const event : {&come, &go, &begin, &end}) {
            event->Close();
        }
        FailuresTest::TearDown();
    }
    void TimeOut(Channel& channel, unsigned int limit) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(channel.Call(
                      L"Hang",
                      [this](CVXCSerialize& request) {
                          request << (m_id + L"_come").c_str() << (m_id + L"_go").c_str() << 4711u;
                      },
                      [](CVXCSerialize&) {}, limit),
                  kTimeOut);
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(limit));
        EXPECT_TRUE(come.Take());
    }

    const std::wstring m_id = UniqueId();
    Named come{m_id + L"_come"};
    Named go{m_id + L"_go"};
    Named begin{m_id + L"_EvtBegin"};
    Named end{m_id + L"_EvtEnd"};
};

} // namespace

TEST_F(FailuresTest, AThrowIsAResultWithoutValues) {
    Channel channel(m_plug);
    EXPECT_EQ(channel.Call(L"Throw"), kThrown);
    EXPECT_EQ(channel.Call(L"ThrowNumber"), kThrown);
    EXPECT_TRUE(channel.Works());
}

TEST_F(FailuresTest, AThrowWhileOpeningIsTheResultOfEachCall) {
    const LogCapture log;
    Channel channel(m_plug, UniqueId(L"OpenThrows"));
    EXPECT_EQ(channel.Result(), 0); // nothing was opened yet
    EXPECT_EQ(channel.Call(L"Empty"), kThrown);
    EXPECT_EQ(channel.Call(L"Empty"), kThrown);
    channel.Release();
    EXPECT_FALSE(log.Contains(L"Release() failed"));
    Channel other(m_plug);
    EXPECT_TRUE(other.Works());
}

TEST_F(FailuresTest, AThrowWhileClosingDoesNotKeepTheChannel) {
    const LogCapture log;
    Channel channel(m_plug, UniqueId(L"CloseThrows"));
    EXPECT_TRUE(channel.Works());
    channel.Release();
    EXPECT_FALSE(log.Contains(L"Release() failed"));
    Channel other(m_plug);
    EXPECT_TRUE(other.Works());
}

TEST_F(FailuresTest, AReplyThatDoesNotFitIsAResultWithoutValues) {
    Channel channel(m_plug, UniqueId(), 4096, 256);
    EXPECT_EQ(channel.Call(L"Overflow"), kNoRoom);
    EXPECT_EQ(channel.Call(L"OddStream"), kNoRoom);
    EXPECT_TRUE(channel.Works());
}

TEST_F(FailuresTest, AResultOfThePlugInsOwnComesAsItStands) {
    Channel channel(m_plug);
    EXPECT_EQ(channel.Call(L"there is no such name"), 1001u);
    EXPECT_EQ(channel.Call(L"EchoBlock"), 1002u);
}

TEST_F(FailuresTest, ABadRequestIsRefusedByAPlugInsChannelToo) {
    Channel channel(m_plug);
    void* request = nullptr;
    void* reply = nullptr;
    channel.End().ObtainSMMSpaceAddress(&request, nullptr, &reply, nullptr);
    std::fill_n(static_cast<unsigned char*>(request), 64, static_cast<unsigned char>(0xFF));
    EXPECT_EQ(channel.End().RemoteCall(kPatience), 0);
    const auto* const bytes = static_cast<unsigned char*>(reply);
    EXPECT_EQ(bytes[6] | bytes[7] << 8 | bytes[8] << 16, 2);
    EXPECT_EQ(bytes[9], 0x80);
    EXPECT_TRUE(channel.Works());
}

TEST_F(LateCallTest, ALateSignalAheadOfTheNextCallIsDiscarded) {
    Channel channel(m_plug, m_id);
    TimeOut(channel, 100);
    go.Signal();
    ASSERT_TRUE(Eventually([this] { return end.Stands(); }));
    EXPECT_TRUE(channel.Works());
}

TEST_F(LateCallTest, ALateSignalWithinTheNextCallMayBeTakenForItsOwn) {
    Channel channel(m_plug, m_id);
    TimeOut(channel, 20);
    uint32 first = 0;
    std::thread next([&] {
        EXPECT_EQ(channel.Call(
                      L"Add", [](CVXCSerialize& request) { request << 40u << 2u; },
                      [&first](CVXCSerialize& reply) { reply >> first; }),
                  0u);
    });
    // The next call has begun while the plug-in is still at the last one.
    EXPECT_TRUE(Eventually([this] { return begin.Stands(); }, std::chrono::seconds(30)));
    go.Signal();
    next.join();
    EXPECT_THAT(first, AnyOf(Eq(4711u), Eq(42u)));
    // Which of both it was, the channel finds its step again.
    EXPECT_TRUE(Eventually([&] { return channel.Works(); }));
}

TEST_F(LateCallTest, AHangingPlugInLeavesTheOthersAtWork) {
    Channel hanging(m_plug, m_id);
    TimeOut(hanging, 5);
    Channel other(m_plug);
    EXPECT_TRUE(other.Works());
    EXPECT_NE(RemoteLoadVXC32Plug(PlugPath(L"TestPlug").c_str()), 0u);
    go.Signal();
}

TEST_F(FailuresTest, AnEndThatTakesTooLongIsToldAndMayBeAskedForAgain) {
    const std::wstring id = UniqueId(L"CloseHangs");
    const Named go(id + L"_go");
    const LogCapture log;
    Channel channel(m_plug, id);
    EXPECT_TRUE(channel.Works());
    channel.Release(); // the server gives up waiting ahead of the host
    EXPECT_EQ(log.Count(L"Release() failed : RemoteCall result 0x00000102"), 1u);
    unsigned int replySize = 0;
    void* reply = nullptr;
    channel.End().ObtainSMMSpaceAddress(nullptr, nullptr, &reply, &replySize);
    EXPECT_NE(reply, nullptr); // everything is as it was
    go.Signal();
    channel.Release();
    channel.End().ObtainSMMSpaceAddress(nullptr, nullptr, &reply, &replySize);
    EXPECT_EQ(reply, nullptr);
    Channel another(m_plug);
    EXPECT_TRUE(another.Works());
}
