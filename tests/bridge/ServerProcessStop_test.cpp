// Stopping the server, and when a stop is one.
#include "bridge/RemoteCall.h"
#include "bridge/ServerProcessTest.h"
#include "bridge/StartCount.h"
#include "support/TestClock.h"

#include <climits>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class ServerProcessStopTest : public ServerProcessTest {
protected:
    // Starts and stops by the letter of their rules, one field for each thing that can be seen.
    struct Model {
        int count = 0;
        bool sender = false;
        int quits = 0;

        void Start() {
            if (sender) {
                count += 1;
            } else {
                sender = true;
            }
        }
        void Stop() {
            if (!sender) {
                return;
            }
            count -= 1;
            if (count > 0) {
                return;
            }
            quits += 1;
            sender = false;
        }
    };
};

} // namespace

TEST_F(ServerProcessStopTest, AStopAsksTheServerToQuitAndTakesTheSenderAway) {
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    log.Clear();
    EXPECT_EQ(DestoryVXC32ServProcess(), 0);
    ASSERT_EQ(server.Requests().size(), 1U);
    // 22 bytes ahead of the name's 36.
    EXPECT_EQ(server.Requests()[0].bytes, RequestHead(58, 0, u"Call_QuitVXC32Serv"));
    EXPECT_EQ(ObtainSysSender(), nullptr);
    EXPECT_THAT(log.Texts(), IsEmpty());
    server.End();
    EXPECT_EQ(NamesThere(), 0);
}

TEST_F(ServerProcessStopTest, WithoutASenderAStopDoesNothingAndCountsNothing) {
    EXPECT_EQ(DestoryVXC32ServProcess(), 0);
    EXPECT_EQ(DestoryVXC32ServProcess(), 0);
    EXPECT_THAT(log.Texts(), IsEmpty());
    // Had they counted, these three starts would end with the first stop.
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(CreateVXC32ServProcess(), 0);
    }
    EXPECT_EQ(DestoryVXC32ServProcess(), 0);
    EXPECT_THAT(server.Names(), IsEmpty());
    EXPECT_EQ(DestoryVXC32ServProcess(), 0);
    EXPECT_THAT(server.Names(), ElementsAre(L"Call_QuitVXC32Serv"));
    EXPECT_EQ(ObtainSysSender(), nullptr);
}

TEST_F(ServerProcessStopTest, WithTwoStartsTheFirstStopEndsTheServer) {
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    EXPECT_EQ(DestoryVXC32ServProcess(), 0);
    EXPECT_THAT(server.Names(), ElementsAre(L"Call_QuitVXC32Serv"));
    EXPECT_EQ(ObtainSysSender(), nullptr);
    EXPECT_EQ(DestoryVXC32ServProcess(), 0);
    EXPECT_EQ(server.Names().size(), 1U);
}

TEST_F(ServerProcessStopTest, InASecondLifeTheCountStandsOneLower) {
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    EXPECT_EQ(DestoryVXC32ServProcess(), 0); // leaves it at -1
    server.End();
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(CreateVXC32ServProcess(), 0);
    }
    EXPECT_EQ(DestoryVXC32ServProcess(), 0); // 1 becomes 0, where a first life would have had 2
    EXPECT_EQ(ObtainSysSender(), nullptr);
}

TEST_F(ServerProcessStopTest, AllSequencesOfEightStartsAndStopsGoAsTheRulesSay) {
    for (unsigned int sequence = 0; sequence < 256; ++sequence) {
        BringCountToZero();
        Model model;
        const std::size_t before = server.Requests().size();
        for (unsigned int step = 0; step < 8; ++step) {
            if ((sequence >> step & 1) != 0) {
                model.Start();
                ASSERT_EQ(CreateVXC32ServProcess(), 0);
            } else {
                model.Stop();
                ASSERT_EQ(DestoryVXC32ServProcess(), 0);
            }
            ASSERT_EQ(ObtainSysSender() != nullptr, model.sender) << sequence << " at " << step;
            ASSERT_EQ(server.Requests().size() - before, static_cast<std::size_t>(model.quits));
            if (!model.sender) {
                server.End();
            }
        }
        server.End();
        Unload();
    }
}

TEST(StartCountTest, WrapsAtTheEndsOfItsRange) {
    StartCount low(INT_MIN + 1);
    EXPECT_EQ(low.Take(), INT_MIN);
    EXPECT_EQ(low.Take(), INT_MAX);
    StartCount high(INT_MAX - 1);
    EXPECT_EQ(high.Add(), INT_MAX);
    EXPECT_EQ(high.Add(), INT_MIN);
}

TEST_F(ServerProcessStopTest, AServerThatStaysSilentCostsTenSecondsAndKeepsTheSender) {
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(CreateVXC32ServProcess(), 0);
    }
    ASSERT_EQ(DestoryVXC32ServProcess(), 0); // the count is at 1
    CVXCInteracter* const sender = ObtainSysSender();
    TestClock clock;
    clock.AutoAdvance(true);
    server.Hold();
    log.Clear();
    EXPECT_EQ(DestoryVXC32ServProcess(), static_cast<int>(0x8000000Du));
    EXPECT_THAT(clock.Waits(), ElementsAre(10000U));
    EXPECT_THAT(log.Texts(),
                ElementsAre(L"Wait for Child Process function's return, but time is out!",
                            L"DestoryVXC32ServProcess failed : RemoteCall return error 0x8000000d"));
    EXPECT_THAT(Failures(),
                ElementsAre(L"DestoryVXC32ServProcess failed : RemoteCall return error 0x8000000d"));
    EXPECT_EQ(ObtainSysSender(), sender);
    // The count is at 0 already: another start makes it 1, and the stop after that goes through to the
    // server.
    EXPECT_EQ(CreateVXC32ServProcess(), 0);
    EXPECT_EQ(DestoryVXC32ServProcess(), static_cast<int>(0x8000000Du));
    EXPECT_THAT(clock.Waits(), ElementsAre(10000U, 10000U));
}

TEST_F(ServerProcessStopTest, ARefusalIsThePassedResultAndKeepsTheSenderWithTheCountLowered) {
    server.On(L"Call_QuitVXC32Serv", Message({ReplyHead(0x80000002u), Q64(1)}));
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    log.Clear();
    EXPECT_EQ(DestoryVXC32ServProcess(), static_cast<int>(0x80000002u));
    EXPECT_THAT(log.Texts(), ElementsAre(L"DestoryVXC32ServProcess failed : RemoteCall result 0x80000002"));
    EXPECT_NE(ObtainSysSender(), nullptr);
    EXPECT_EQ(NamesThere(), 4);
    // At -1 now; with two more starts at 1, and so a stop ends the server where nothing is refused any more.
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    server.On(L"Call_QuitVXC32Serv", Cleared(ReplyHead(0)));
    EXPECT_EQ(DestoryVXC32ServProcess(), 0);
    EXPECT_EQ(server.Requests().size(), 2U);
    EXPECT_EQ(ObtainSysSender(), nullptr);
}

TEST_F(ServerProcessStopTest, AStopWithoutAServerLowersTheCountAndWaitsForNothing) {
    BecomeOrphan();
    CVXCInteracter* const sender = ObtainSysSender();
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(CreateVXC32ServProcess(), 0);
    }
    TestClock clock;
    log.Clear();
    EXPECT_EQ(DestoryVXC32ServProcess(), 0); // 1
    EXPECT_THAT(log.Texts(), IsEmpty());
    for (int i = 0; i < 3; ++i) {
        log.Clear();
        EXPECT_EQ(DestoryVXC32ServProcess(), 0);
        EXPECT_THAT(Failures(),
                    ElementsAre(L"DestoryVXC32ServProcess failed : can't ObtainSMMSpaceAddress 0x00000000"));
        EXPECT_EQ(ObtainSysSender(), sender);
    }
    EXPECT_THAT(clock.Waits(), IsEmpty());
}

TEST_F(ServerProcessStopTest, AReplyOfNothingButItsHeadIsEnough) {
    server.On(L"Call_QuitVXC32Serv", ReplyHead(0));
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    EXPECT_EQ(DestoryVXC32ServProcess(), 0);
    EXPECT_EQ(ObtainSysSender(), nullptr);
}

TEST_F(ServerProcessStopTest, AServerThatStillHasItsEndIsInTheWayOfANewStart) {
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    ASSERT_EQ(DestoryVXC32ServProcess(), 0);
    log.Clear();
    EXPECT_EQ(CreateVXC32ServProcess(), -1);
    EXPECT_THAT(Failures(), ElementsAre(L"Mapping already exists - not created."));
    EXPECT_EQ(ObtainSysSender(), nullptr);
    server.End();
    EXPECT_EQ(CreateVXC32ServProcess(), 0);
}

TEST_F(ServerProcessStopTest, WhoStillHoldsTheSenderFindsNoSpacesInIt) {
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    CVXCInteracter* const sender = ObtainSysSender();
    server.Hold();
    int result = -5;
    CVXCSerialize request;
    std::thread stop([] { EXPECT_EQ(DestoryVXC32ServProcess(), 0); });
    ASSERT_TRUE(server.WaitUntilHeld()); // the stop has the lock
    log.Clear();
    std::thread late([&] {
        sender->Lock();
        result = RemoteCall_In(sender, VXC32_RCALL_NAMED, L"Late", nullptr, request);
        sender->Unlock();
    });
    server.LetGo();
    stop.join();
    late.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(request.m_pBuffer, nullptr);
    EXPECT_THAT(Failures(), ElementsAre(L"RemoteCall_In failed : can't ObtainSMMSpaceAddress 0x00000000"));
}

TEST_F(ServerProcessStopTest, AnUnknownSpeakerInTheReplySpaceCountsAsSuccess) {
    // The marker of the set-up still stands there: no head, so no result but 0.
    server.On(L"Call_QuitVXC32Serv", [](const FakeRequest&) { return std::nullopt; });
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    EXPECT_EQ(DestoryVXC32ServProcess(), 0);
    EXPECT_EQ(ObtainSysSender(), nullptr);
}
