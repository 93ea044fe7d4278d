// Starting the server.
#include "bridge/ServerProcessTest.h"
#include "support/FaultPlan.h"
#include "support/MemoryLack.h"
#include "support/TestClock.h"

#include <atomic>
#include <optional>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

class ServerProcessStartTest : public ServerProcessTest {};

LogLine Trace(const std::wstring& text) {
    return {INFOTYPE_TRACE, L"VXCSoftCodecIO", text};
}

LogLine Error(const std::wstring& text) {
    return {INFOTYPE_ERROR, L"VXCSoftCodecIO", text};
}

constexpr const wchar_t* kEndFailed =
    L"CreateVXC32ServProcess(): CreateVXC32ServProcess failed : InitSenderEnd return 0xffffffff";

} // namespace

TEST_F(ServerProcessStartTest, AStartLogsItsStepsInOrderAtTheTraceLevel) {
    EXPECT_EQ(CreateVXC32ServProcess(), 0);
    std::vector<LogLine> lines = HostLines();
    ASSERT_EQ(lines.size(), 5U);
    // The address is any.
    EXPECT_EQ(lines[1].level, INFOTYPE_TRACE);
    EXPECT_THAT(lines[1].text, StartsWith(L"CVXCInteracterImpl::InitSenderFirst():ptr=[0x"));
    EXPECT_TRUE(lines[1].text.ends_with(L"]MapViewOfFile(" + Id() + L"_InMap)"));
    lines.erase(lines.begin() + 1);
    EXPECT_THAT(
        lines,
        ElementsAre(Trace(L"CreateVXC32ServProcess(): SysSender ID: " + Id()),
                    Trace(L"vxc32.exe path name: " + ProgramPath()),
                    Trace(L"CreateVXC32ServProcess(): Begin CreateProcess() = " + ProgramPath() + Id()),
                    Trace(L"CreateVXC32ServProcess(): End CreateProcess() = " + ProgramPath() + Id())));
}

TEST_F(ServerProcessStartTest, TheProgramIsAskedForWithItsTrailingBlankAndStartedWithTheId) {
    FaultPlan plan;
    EXPECT_EQ(CreateVXC32ServProcess(), 0);
    EXPECT_EQ(plan.Calls(Op::VXC_DoesFileExistsW), 1);
    EXPECT_EQ(plan.CallsOn(Op::VXC_DoesFileExistsW, ProgramPath()), 1);
    EXPECT_THAT(server.CommandLines(), ElementsAre(ProgramPath() + Id()));
    EXPECT_EQ(server.Closed(), 1);
}

TEST_F(ServerProcessStartTest, AProgramWithABlankAtTheEndOfItsNameIsFoundToo) {
    std::filesystem::rename(folder.Path() / "VXC32/VXC32ServU.exe", folder.Path() / "VXC32/VXC32ServU.exe ");
    EXPECT_EQ(CreateVXC32ServProcess(), 0);
}

TEST_F(ServerProcessStartTest, TheSenderHasAMebibyteEachWayUnderTheProcessNumber) {
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    CVXCInteracter* const sender = ObtainSysSender();
    ASSERT_NE(sender, nullptr);
    void* request = nullptr;
    void* reply = nullptr;
    unsigned int requestBytes = 0;
    unsigned int replyBytes = 0;
    EXPECT_EQ(sender->ObtainSMMSpaceAddress(&request, &requestBytes, &reply, &replyBytes), 0);
    EXPECT_NE(request, nullptr);
    EXPECT_NE(reply, nullptr);
    EXPECT_EQ(requestBytes, 1048576U);
    EXPECT_EQ(replyBytes, 1048576U);
    wchar_t id[16] = {};
    EXPECT_EQ(sender->GetInteractorID(id, sizeof id), 0);
    EXPECT_EQ(id, Id());
    EXPECT_EQ(NamesThere(), 4);
}

TEST_F(ServerProcessStartTest, AFurtherStartOnlyCountsWhateverBecameOfTheServer) {
    ASSERT_EQ(CreateVXC32ServProcess(), 0);
    CVXCInteracter* const sender = ObtainSysSender();
    server.End();
    log.Clear();
    EXPECT_EQ(CreateVXC32ServProcess(), 0);
    EXPECT_EQ(ObtainSysSender(), sender);
    EXPECT_EQ(server.CommandLines().size(), 1U);
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(ServerProcessStartTest, AMissingProgramLeavesASenderWithoutAServer) {
    std::filesystem::remove(folder.Path() / "VXC32/VXC32ServU.exe");
    TestClock clock;
    EXPECT_EQ(CreateVXC32ServProcess(), -1);
    EXPECT_EQ(HostLines().back(), Error(L"Program " + ProgramPath() + L" doesn't exist!"));
    EXPECT_EQ(HostLines().size(), 3U);
    EXPECT_THAT(server.CommandLines(), IsEmpty());
    EXPECT_NE(ObtainSysSender(), nullptr);
    EXPECT_EQ(NamesThere(), 3); // all but the server's own
    log.Clear();
    EXPECT_EQ(CreateVXC32ServProcess(), 0);
    EXPECT_THAT(log.Texts(), IsEmpty());

    // Nobody waits for a server that cannot answer.
    EXPECT_EQ(RemoteLoadVXC32Plug(L"plug.dll"), 0U);
    EXPECT_EQ(RemoteFreeVXC32Plug(5), 0);
    EXPECT_THAT(Failures(),
                ElementsAre(L"RemoteLoadVXC32Plug failed : can't ObtainSMMSpaceAddress 0x00000000",
                            L"RemoteFreeVXC32Plug failed : can't ObtainSMMSpaceAddress 0x00000000"));
    log.Clear();
    EXPECT_EQ(DestoryVXC32ServProcess(), 0);
    EXPECT_THAT(Failures(),
                ElementsAre(L"DestoryVXC32ServProcess failed : can't ObtainSMMSpaceAddress 0x00000000"));
    EXPECT_NE(ObtainSysSender(), nullptr);
    EXPECT_THAT(clock.Waits(), IsEmpty());
    EXPECT_THAT(clock.Sleeps(), IsEmpty());
}

TEST_F(ServerProcessStartTest, AProgramThatDoesNotStartEndsTheSender) {
    server.FailToStart();
    EXPECT_EQ(CreateVXC32ServProcess(), -1);
    EXPECT_EQ(HostLines().back(), Error(L"CreateVXC32ServProcess(): CreateProcess failed (3).\n"));
    EXPECT_EQ(HostLines().size(), 5U);
    EXPECT_EQ(ObtainSysSender(), nullptr);
    EXPECT_EQ(NamesThere(), 0);
    EXPECT_EQ(server.Closed(), 0);
}

TEST_F(ServerProcessStartTest, AFileThatIsNoProgramTellsTheSystemsError) {
    server.StartForReal();
    EXPECT_EQ(CreateVXC32ServProcess(), -1);
    EXPECT_EQ(HostLines().back(), Error(L"CreateVXC32ServProcess(): CreateProcess failed (5).\n"));
    EXPECT_EQ(ObtainSysSender(), nullptr);
}

TEST_F(ServerProcessStartTest, ANameThatIsTakenEndsTheStartBeforeTheProgram) {
    int existed = 0;
    void* const taken = SharedObjects().createMapping((Id() + L"_InMap").c_str(), 100, &existed);
    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(CreateVXC32ServProcess(), -1);
    EXPECT_THAT(HostLines(), ElementsAre(Trace(L"CreateVXC32ServProcess(): SysSender ID: " + Id()),
                                         Error(L"Mapping already exists - not created.")));
    EXPECT_EQ(ObtainSysSender(), nullptr);
    EXPECT_THAT(server.CommandLines(), IsEmpty());
    SharedObjects().closeMapping(taken);
    EXPECT_EQ(NamesThere(), 0);
    EXPECT_EQ(CreateVXC32ServProcess(), 0);
}

TEST_F(ServerProcessStartTest, AServerThatNeverComesUpCostsThirtySeconds) {
    server.ComeUpDead();
    TestClock clock;
    clock.AutoAdvance(true);
    EXPECT_EQ(CreateVXC32ServProcess(), -1);
    EXPECT_THAT(clock.Waits(), ElementsAre(30000U));
    EXPECT_THAT(Failures(), ElementsAre(L"OpenFileMapping hOutMapFile failed (2).\n", kEndFailed));
    EXPECT_EQ(server.Closed(), 1);
    EXPECT_EQ(ObtainSysSender(), nullptr);
    EXPECT_EQ(NamesThere(), 0);
}

TEST_F(ServerProcessStartTest, AServerThatComesUpAtTheLastMomentIsTaken) {
    // Its signal comes after the wait has begun.
    server.ComeUpDead();
    TestClock clock;
    int result = -5;
    std::thread host([&] { result = CreateVXC32ServProcess(); });
    ASSERT_TRUE(clock.WaitForSleepers(1));
    clock.Advance(29'999);
    EXPECT_EQ(clock.Sleepers(), 1);
    server.ComeUpNow(Id());
    host.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(server.Closed(), 1);
    EXPECT_EQ(RemoteFreeVXC32Plug(1), 0);
    EXPECT_THAT(server.Names(), ElementsAre(L"Call_FreePlug"));
}

TEST_F(ServerProcessStartTest, AServerThatComesUpASecondTooLateFindsNoChannel) {
    server.ComeUpDead();
    const std::wstring id = Id();
    TestClock clock;
    int result = 5;
    std::thread host([&] { result = CreateVXC32ServProcess(); });
    ASSERT_TRUE(clock.WaitForSleepers(1));
    clock.Advance(31'000);
    host.join();
    EXPECT_EQ(result, -1);
    log.Clear();
    CVXCInteracterImpl late(VXC_INTERACTER_RECEIVER);
    late.SetReceiverCallback([](void*) { return 0; }, nullptr);
    EXPECT_EQ(late.Initialize(0, id.c_str(), 1048576, 1048576), -1);
    EXPECT_THAT(Failures(),
                ElementsAre(L"Initialize receiver Failed: OpenFileMapping m_hInMapFile failed (2).\n"));
    EXPECT_EQ(NamesThere(), 0);
}

TEST_F(ServerProcessStartTest, AWrongMarkerEndsTheSender) {
    const std::string likeTheRequests("C\0R\0E\0A\0T\0E\0S\0M\0M\0\0", 20);
    for (const std::string& marker : {likeTheRequests, std::string(24, '\0'), std::string("CREATESMMOK")}) {
        server.ComeUpWithMarker(marker);
        log.Clear();
        EXPECT_EQ(CreateVXC32ServProcess(), -1);
        EXPECT_THAT(Failures(), ElementsAre(L"Child Create SMM Failed!", kEndFailed));
        EXPECT_EQ(ObtainSysSender(), nullptr);
        EXPECT_EQ(NamesThere(), 4); // the fake server still holds them
        server.End();
        EXPECT_EQ(NamesThere(), 0);
    }
    EXPECT_EQ(server.Closed(), 3);
}

TEST_F(ServerProcessStartTest, AReplySpaceWithoutRoomForTheMarkerEndsTheSender) {
    server.SetReplyBytes(23);
    EXPECT_EQ(CreateVXC32ServProcess(), -1);
    EXPECT_THAT(Failures(), ElementsAre(L"Child Create SMM Failed!", kEndFailed));
    EXPECT_EQ(ObtainSysSender(), nullptr);
}

TEST_F(ServerProcessStartTest, AFailedStartIsNotCountedAndANewOneMayFollow) {
    server.FailToStart();
    EXPECT_EQ(CreateVXC32ServProcess(), -1);
    EXPECT_EQ(CreateVXC32ServProcess(), -1);
    EXPECT_EQ(server.CommandLines().size(), 2U);
    server.ComeUp();
    EXPECT_EQ(CreateVXC32ServProcess(), 0);
    EXPECT_EQ(DestoryVXC32ServProcess(), 0);
    EXPECT_THAT(server.Names(), ElementsAre(L"Call_QuitVXC32Serv"));
}

TEST_F(ServerProcessStartTest, MemoryThatLacksEndsTheStart) {
    TestClock clock;
    clock.AutoAdvance(true);
    bool came = true;
    int failed = 0;
    for (int n = 1; came; ++n) {
        ASSERT_LT(n, 1000);
        std::optional<MemoryLack> lack(n);
        const auto endOfLack = [&] {
            came = lack.has_value() ? lack->Came() : came;
            lack.reset();
        };
        server.WithinStart(endOfLack); // the server has all it wants
        const int result = CreateVXC32ServProcess();
        endOfLack();
        EXPECT_TRUE(result == 0 || result == -1);
        failed += result == 0 ? 0 : 1;
        EXPECT_FALSE(SectionIsThere(L"_InMap")) << n; // a name without the process's number
        server.End();
        Unload();
        EXPECT_EQ(NamesThere(), 0);
    }
    EXPECT_GT(failed, 0);
}

TEST_F(ServerProcessStartTest, TwoThreadsThatStartAtOnceStartOneServer) {
    for (int round = 0; round < 20; ++round) {
        Gate gate;
        int results[2] = {-5, -5};
        std::vector<std::thread> threads;
        for (int& result : results) {
            threads.emplace_back([&gate, &result] {
                gate.Pass();
                result = CreateVXC32ServProcess();
            });
        }
        EXPECT_TRUE(gate.WaitUntilReached(2));
        gate.Open();
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_THAT(results, ElementsAre(0, 0));
        EXPECT_EQ(server.CommandLines().size(), static_cast<std::size_t>(round + 1));
        server.End();
        Unload();
    }
}

TEST_F(ServerProcessStartTest, OthersMayUseTheSenderWhileItComesUp) {
    unsigned long long loaded = 7;
    server.WithinStart([&] {
        EXPECT_NE(ObtainSysSender(), nullptr);
        std::thread([&] { loaded = RemoteLoadVXC32Plug(L"plug.dll"); }).join();
    });
    TestClock clock;
    EXPECT_EQ(CreateVXC32ServProcess(), 0);
    EXPECT_EQ(loaded, 0U);
    EXPECT_THAT(Failures(),
                ElementsAre(L"RemoteLoadVXC32Plug failed : can't ObtainSMMSpaceAddress 0x00000000"));
}

TEST_F(ServerProcessStartTest, OthersMayUseTheSenderWhileAStartFails) {
    server.ComeUpWithMarker("no marker");
    std::atomic<bool> ends{false};
    std::atomic<int> calls{0};
    std::thread other([&] {
        while (!ends.load()) {
            EXPECT_EQ(RemoteLoadVXC32Plug(L"plug.dll"), 0U);
            ++calls;
        }
    });
    server.WithinStart([&] {
        // Not before the other one is at it.
        for (const int before = calls.load(); calls.load() == before;) {
            std::this_thread::yield();
        }
    });
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(CreateVXC32ServProcess(), -1);
        server.End();
    }
    ends.store(true);
    other.join();
    EXPECT_THAT(server.Names(), IsEmpty());
}
