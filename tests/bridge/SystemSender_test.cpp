// The sender and the text of the process's number, to the unloading of the library.
#include "bridge/ChannelSpaces.h"
#include "bridge/InteractorID.h"
#include "bridge/RemoteCall.h"
#include "bridge/ServerProcessTest.h"
#include "support/LeakChecks.h"
#include "support/TestClock.h"

#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class SystemSenderTest : public ServerProcessTest {};

} // namespace

TEST_F(SystemSenderTest, UnloadingReleasesItAndTellsTheServerNothing) {
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    EXPECT_EQ(std::wstring(ProcessIdText()), Id());
    TestClock clock;
    log.Clear();
    Unload();
    EXPECT_EQ(ObtainSysSender(), nullptr);
    EXPECT_TRUE(ProcessIdText().IsEmpty());
    EXPECT_THAT(log.Texts(), IsEmpty());
    EXPECT_THAT(clock.Waits(), IsEmpty());
    server.End();
    EXPECT_THAT(server.Names(), IsEmpty());
    EXPECT_EQ(NamesThere(), 0);
}

TEST_F(SystemSenderTest, UnloadingLeavesNothingOfAnOrphanAndMayBeRepeated) {
    const NoLeakScope leaks;
    BecomeOrphan();
    EXPECT_EQ(NamesThere(), 3);
    Unload();
    EXPECT_EQ(NamesThere(), 0);
    Unload();
    EXPECT_EQ(ObtainSysSender(), nullptr);
}

TEST_F(SystemSenderTest, LivesAndDeathsOfServersLeaveNothingOpen) {
    const NoLeakScope leaks;
    for (int i = 0; i < 10; ++i) {
        ASSERT_EQ(CreateVXC32ServProcess(), 0);
        ASSERT_EQ(DestoryVXC32ServProcess(), 0);
        server.End();
        ASSERT_EQ(NamesThere(), 0);
    }
}

TEST_F(SystemSenderTest, ARetiredOneStillAnswersWhoHoldsIt) {
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    CVXCInteracter* const sender = ObtainSysSender();
    ASSERT_EQ(DestoryVXC32ServProcess(), 0);
    sender->Lock();
    void* space = &space;
    unsigned int bytes = 1;
    EXPECT_EQ(sender->ObtainSMMSpaceAddress(&space, &bytes, nullptr, nullptr), 0);
    EXPECT_EQ(space, nullptr);
    sender->Unlock();
}

TEST_F(SystemSenderTest, TheTextOfTheProcessIsMadeByWhoeverNeedsItFirst) {
    EXPECT_TRUE(ProcessIdText().IsEmpty());
    TestClock clock;
    clock.AutoAdvance(true);
    wchar_t id[80] = {};
    EXPECT_EQ(CreateVXCInteractorID(static_cast<ENUM_PLUG_TYPE>(1), 0, id, sizeof id), 0);
    EXPECT_EQ(std::wstring(ProcessIdText()), Id());
    EXPECT_EQ(std::wstring(id).substr(0, 8), Id());
}

TEST_F(SystemSenderTest, TheTextHasEightDigitsAtLeast) {
    Process().processId = [] { return uint32{42}; };
    MakeProcessIdText();
    EXPECT_STREQ(ProcessIdText().c_str(), L"00000042");
    Process().processId = [] { return uint32{123456789}; };
    MakeProcessIdText();
    EXPECT_STREQ(ProcessIdText().c_str(), L"123456789");
}

TEST_F(SystemSenderTest, ReleasingAPlugChannelAfterTheServerHasGoneIsAFailureThatIsLogged) {
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    // The answer also brings up the far end, as far as the set-up looks.
    CVXCInteracter* far = ConstructVXCInteratcter(VXC_INTERACTER_RECEIVER);
    const std::wstring id = Id() + L"_plug";
    server.On(L"Call_InitInteractor", [&](const FakeRequest&) -> std::optional<Bytes> {
        far->SetReceiverCallback([](void*) { return 0; }, nullptr);
        EXPECT_EQ(far->Initialize(1, id.c_str(), 0, 4096), 0);
        return Message({ReplyHead(0), Q64(11)});
    });
    CVXCInteracter* const plug = ConstructVXCInteratcter(VXC_INTERACTER_SENDER);
    ASSERT_EQ(plug->Initialize(1, id.c_str(), 4096, 4096), 0);
    ASSERT_EQ(DestoryVXC32ServProcess(), 0);
    log.Clear();
    plug->Release();
    EXPECT_THAT(Failures(), ElementsAre(L"Release() failed : can't ObtainSMMSpaceAddress 0x00000000"));
    EXPECT_TRUE(SectionIsThere(id + L"_InMap"));
    // With a server again it goes through.
    server.End();
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    plug->Release();
    EXPECT_EQ(server.Names().back(), L"Call_UnInitInteractor");
    DeleteVXCInteratcter(plug);
    DeleteVXCInteratcter(far);
    EXPECT_FALSE(SectionIsThere(id + L"_InMap"));
}

TEST_F(SystemSenderTest, NothingIsFreedWhileSomebodyIsWithinACall) {
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    CVXCInteracter* const sender = ObtainSysSender();
    sender->Lock();
    Unload();
    EXPECT_EQ(ObtainSysSender(), sender);
    EXPECT_NE(UsableSpaces(*sender).request, nullptr);
    sender->Unlock();
    Unload();
    EXPECT_EQ(ObtainSysSender(), nullptr);
}

TEST_F(SystemSenderTest, NothingIsFreedWhileAServerIsBeingStarted) {
    server.WithinStart([] {
        CVXCInteracter* const sender = ObtainSysSender();
        std::thread([] { Unload(); }).join();
        EXPECT_EQ(ObtainSysSender(), sender);
        EXPECT_FALSE(ProcessIdText().IsEmpty());
    });
    EXPECT_EQ(CreateVXC32ServProcess(), 0);
}

TEST_F(SystemSenderTest, EveryCallOfTheLibrarysOwnHoldsTheSendersLock) {
    for (const wchar_t* name : {L"Call_LoadPlug", L"Call_FreePlug", L"Call_InitInteractor",
                                L"Call_UnInitInteractor", L"Call_QuitVXC32Serv"}) {
        server.On(name, [](const FakeRequest&) -> std::optional<Bytes> {
            EXPECT_FALSE(SystemSender()->IsIdle());
            return Message({ReplyHead(0), Q64(77)});
        });
    }
    // Refused with a handle behind, so that there is something to be released and nobody to be waited for.
    server.On(L"Call_InitInteractor", [](const FakeRequest&) -> std::optional<Bytes> {
        EXPECT_FALSE(SystemSender()->IsIdle());
        return Message({ReplyHead(5), Q64(78)});
    });
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    EXPECT_EQ(RemoteLoadVXC32Plug(L"x"), 77u);
    EXPECT_EQ(RemoteFreeVXC32Plug(77), 0);
    CVXCInteracterImpl channel(VXC_INTERACTER_SENDER);
    EXPECT_EQ(channel.Initialize(77, (Id() + L"_locked").c_str(), 64, 64), 5);
    channel.Release();
    EXPECT_EQ(DestoryVXC32ServProcess(), 0);
    std::vector<std::wstring> names;
    for (const FakeRequest& request : server.Requests()) {
        names.push_back(request.name);
    }
    EXPECT_THAT(names, ElementsAre(L"Call_LoadPlug", L"Call_FreePlug", L"Call_InitInteractor",
                                   L"Call_UnInitInteractor", L"Call_QuitVXC32Serv"));
}
