// The server's end: its set-up step by step.
#include "bridge/InteracterTesting.h"
#include "platform/Process.h"
#include "support/FaultPlan.h"
#include "support/LogCapture.h"
#include "support/MemoryLack.h"
#include "support/TestClock.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cwchar>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Kind = SharedObjectsPlan::Kind;

namespace {

constexpr unsigned char kReplyMarkerBytes[33] = {'C', 0,   'R', 0,   'E', 0,   'A', 0,   'T', 0,   'E',
                                                 0,   'S', 0,   'M', 0,   'M', 0,   'O', 0,   'K', 0};

int Nothing(void*) {
    return 0;
}

class InteracterReceiverTest : public ::testing::Test {
protected:
    InteracterReceiverTest() {
        host.Assign(0, id.c_str(), 4096, 8192);
        EXPECT_EQ(host.InitSenderFirst(), 0);
        receiver.SetReceiverCallback(Nothing, nullptr);
        log.Clear();
    }
    int Initialize(unsigned int outSize = 8192) { return receiver.Initialize(0, id.c_str(), 100, outSize); }
    // It fails with this text; these handles and views of the receiver are left, and Release ends them.
    void ExpectFails(const wchar_t* text, int handles, int views) {
        EXPECT_EQ(Initialize(), -1);
        EXPECT_EQ(log.Texts(INFOTYPE_ERROR).size(), 1u);
        EXPECT_TRUE(log.Contains(text));
        EXPECT_EQ(plan.Handles(), 1 + handles);
        EXPECT_EQ(plan.Views(), 1 + views);
        ExpectReleases();
    }
    void ExpectReleases() {
        receiver.Release();
        EXPECT_EQ(plan.Handles(), 1);
        EXPECT_EQ(plan.Views(), 1);
        host.Release();
        EXPECT_THAT(NamesOf(id), IsEmpty());
    }
    // Whether the host was told.
    bool IsSignalled() {
        void* const end = SharedObjects().openEvent((id + L"_EvtEnd").c_str());
        const bool signalled = VXC_WaitForSingleObject(end, 0) == VXC_WAIT_OBJECT_0;
        VXC_CloseHandle(end);
        return signalled;
    }
    unsigned char* View(bool ofReplies, CVXCInteracterImpl& of) {
        void* in = nullptr;
        void* out = nullptr;
        of.ObtainSMMSpaceAddress(&in, nullptr, &out, nullptr);
        return static_cast<unsigned char*>(ofReplies ? out : in);
    }

    const std::wstring id = UniqueId();
    const SharedObjectsPlan plan;
    LogCapture log;
    CVXCInteracterImpl host{VXC_INTERACTER_SENDER};
    CVXCInteracterImpl receiver{VXC_INTERACTER_RECEIVER};
};

} // namespace

TEST_F(InteracterReceiverTest, OpensTheRequestSpaceMakesTheReplySpaceAndTellsTheHost) {
    EXPECT_EQ(Initialize(), 0);
    EXPECT_THAT(NamesOf(id), ElementsAre("_EvtBegin.e", "_EvtEnd.e", "_InMap.m", "_OutMap.m"));
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), IsEmpty());
    EXPECT_TRUE(IsSignalled());
    const unsigned char* const reply = View(true, receiver);
    EXPECT_TRUE(std::equal(kReplyMarkerBytes, kReplyMarkerBytes + 33, reply));
    EXPECT_TRUE(std::all_of(reply + 33, reply + 8192, [](unsigned char c) { return c == 0; }));
    ExpectReleases();
}

TEST_F(InteracterReceiverTest, LogsItsRoleItsIdAndTheHalvesOfTheAddress) {
    ASSERT_EQ(Initialize(), 0);
    const uint64 address = reinterpret_cast<std::uintptr_t>(View(false, receiver));
    wchar_t first[200] = {};
    std::swprintf(first, 200, L"Receiver ID: %ls [thread:%d]", id.c_str(), Process().threadId());
    wchar_t second[200] = {};
    std::swprintf(second, 200,
                  L"CVXCInteracterImpl::Initialize()-Receive:ptr=[0x%x][0x%x]MapViewOfFile(%ls_InMap)",
                  static_cast<unsigned int>(address >> 32), static_cast<unsigned int>(address & 0xFFFFFFFFu),
                  id.c_str());
    EXPECT_THAT(log.Texts(INFOTYPE_TRACE), ElementsAre(first, second));
}

TEST_F(InteracterReceiverTest, WithoutACallbackNothingIsTouched) {
    receiver.SetReceiverCallback(nullptr, nullptr);
    const int created = plan.Handles();
    EXPECT_EQ(Initialize(), -1);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR),
                ElementsAre(L"Initialize receiver Failed: receivercallback is null"));
    EXPECT_THAT(plan.Opened(), IsEmpty());
    EXPECT_EQ(plan.Handles(), created);
    EXPECT_THAT(NamesOf(id), ElementsAre("_EvtBegin.e", "_EvtEnd.e", "_InMap.m"));
}

TEST_F(InteracterReceiverTest, AHostThatIsNotThereEndsTheSetUp) {
    host.Release();
    EXPECT_EQ(Initialize(), -1);
    EXPECT_TRUE(log.Contains(L"Initialize receiver Failed: OpenFileMapping m_hInMapFile failed (2).\n"));
    EXPECT_EQ(plan.Handles(), 0);
    EXPECT_THAT(NamesOf(id), IsEmpty());
}

TEST_F(InteracterReceiverTest, ARequestSpaceThatCannotBeOpenedEndsTheSetUp) {
    plan.Fail(Kind::OpenMapping);
    ExpectFails(L"Initialize receiver Failed: OpenFileMapping m_hInMapFile failed (", 0, 0);
}

TEST_F(InteracterReceiverTest, ARequestSpaceThatCannotBeMappedEndsTheSetUp) {
    plan.Fail(Kind::MapView);
    ExpectFails(L"Initialize receiver Failed: Can't MapViewOfFile In", 1, 0);
    EXPECT_TRUE(log.Contains(L"Initialize()-Receive:ptr=[0x0][0x0]MapViewOfFile("));
}

TEST_F(InteracterReceiverTest, AnotherMarkerEndsTheSetUp) {
    View(false, host)[2] = 'r';
    ExpectFails(L"Initialize receiver Failed: Child Create SMM Failed!", 1, 1);
}

TEST_F(InteracterReceiverTest, TheMarkerOfAReplySpaceIsAnotherOne) {
    std::copy(std::begin(kReplyMarkerBytes), std::end(kReplyMarkerBytes), View(false, host));
    ExpectFails(L"Initialize receiver Failed: Child Create SMM Failed!", 1, 1);
}

TEST_F(InteracterReceiverTest, ARequestSpaceOfOneByteHasNoMarker) {
    host.Release();
    host.Assign(0, id.c_str(), 1, 8192);
    ASSERT_EQ(host.InitSenderFirst(), 0);
    log.Clear();
    ExpectFails(L"Initialize receiver Failed: Child Create SMM Failed!", 1, 1);
}

TEST_F(InteracterReceiverTest, ABeginEventThatIsNotThereEndsTheSetUp) {
    plan.Fail(Kind::OpenEvent);
    ExpectFails(L"Can't OpenEvent begin.", 1, 1);
}

TEST_F(InteracterReceiverTest, AnEndEventThatIsNotThereEndsTheSetUp) {
    plan.Fail(Kind::OpenEvent, 2);
    ExpectFails(L"Can't OpenEvent end.", 1, 1);
}

TEST_F(InteracterReceiverTest, AReplySpaceThatCannotBeMadeEndsTheSetUp) {
    plan.Fail(Kind::CreateMapping);
    ExpectFails(L"Can't create file mapping.", 1, 1);
}

TEST_F(InteracterReceiverTest, AReplySpaceOfNoBytesCannotBeMade) {
    EXPECT_EQ(Initialize(0), -1);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), ElementsAre(L"Can't create file mapping."));
    ExpectReleases();
}

TEST_F(InteracterReceiverTest, ANameThatIsTakenEndsTheSetUp) {
    int existed = 0;
    void* const other = SharedObjects().createMapping((id + L"_OutMap").c_str(), 10, &existed);
    EXPECT_EQ(Initialize(), -1);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), ElementsAre(L"Mapping already exists - not created."));
    EXPECT_EQ(plan.Handles(), 4);
    EXPECT_FALSE(IsSignalled());
    SharedObjects().closeMapping(other);
    ExpectReleases();
}

TEST_F(InteracterReceiverTest, AReplySpaceThatCannotBeMappedEndsTheSetUp) {
    plan.Fail(Kind::MapView, 2);
    ExpectFails(L"Can't map view. m_pOutMapSMM", 2, 1);
}

TEST_F(InteracterReceiverTest, WithoutAThreadItSucceedsAndDoesNotTellTheHost) {
    for (const Op op : {Op::VXC_CreateThread, Op::VXC_CreateEventW}) {
        FaultPlan faults;
        const auto rule = faults.Add(Fail(op));
        log.Clear();
        EXPECT_EQ(Initialize(), 0);
        EXPECT_EQ(faults.Fired(rule), 1);
        EXPECT_THAT(log.Texts(INFOTYPE_ERROR), ElementsAre(L"Can't Create ReceivDataThread."));
        EXPECT_FALSE(IsSignalled());
        receiver.Release();
    }
    ExpectReleases();
}

TEST_F(InteracterReceiverTest, TheHostOfAReceiverWithoutAThreadFindsTheSpaceBehindItsWait) {
    TestClock clock;
    clock.AutoAdvance(true);
    FaultPlan faults;
    faults.Add(Fail(Op::VXC_CreateThread));
    ASSERT_EQ(Initialize(), 0);
    EXPECT_EQ(host.InitSenderEnd(), 0);
    EXPECT_THAT(clock.Waits(), ElementsAre(30000u));
    EXPECT_EQ(host.RemoteCall(50), static_cast<int>(0x8000000Du));
}

TEST_F(InteracterReceiverTest, WithoutMemoryItFailsAndNothingIsLeftBehindItsRelease) {
    int n = 1;
    for (bool came = true; came; ++n) {
        {
            const MemoryLack lack(n);
            const int result = Initialize();
            came = lack.Came();
            const bool noThread = log.Contains(L"Can't Create ReceivDataThread.");
            EXPECT_EQ(result, came && !noThread ? -1 : 0) << n;
            EXPECT_EQ(IsSignalled(), !came) << n;
        }
        receiver.Release();
        log.Clear();
        EXPECT_EQ(plan.Handles(), 1) << n;
        EXPECT_EQ(plan.Views(), 1) << n;
    }
    EXPECT_GT(n, 8);
    ExpectReleases();
}

TEST_F(InteracterReceiverTest, ReleaseTwiceIsHarmlessAndInitializeMayFollow) {
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(Initialize(), 0);
        receiver.Release();
        receiver.Release();
        EXPECT_EQ(plan.Handles(), 1);
    }
    ExpectReleases();
}

TEST_F(InteracterReceiverTest, ReleaseUnmapsRepliesThenRequests) {
    ASSERT_EQ(Initialize(), 0);
    void* const reply = View(true, receiver);
    void* const request = View(false, receiver);
    receiver.Release();
    EXPECT_THAT(plan.Unmappings(), ElementsAre(SharedObjectsPlan::Unmapping{reply, 1},
                                               SharedObjectsPlan::Unmapping{request, 1}));
}

TEST_F(InteracterReceiverTest, ASecondSetUpFindsItsOwnReplySpaceAndItsThreadServesOn) {
    std::atomic<int> calls{0};
    receiver.SetReceiverCallback([](void* count) { return ++*static_cast<std::atomic<int>*>(count); },
                                 &calls);
    ASSERT_EQ(Initialize(), 0);
    ASSERT_EQ(host.InitSenderEnd(), 0);
    log.Clear();
    EXPECT_EQ(Initialize(), -1);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), ElementsAre(L"Mapping already exists - not created."));
    for (int i = 1; i <= 3; ++i) {
        EXPECT_EQ(host.RemoteCall(30000), 0);
        EXPECT_EQ(calls.load(), i);
    }
    receiver.Release();
    EXPECT_EQ(plan.Views(), 2); // the host's
    host.Release();
    EXPECT_EQ(plan.Views(), 0);
    EXPECT_THAT(NamesOf(id), IsEmpty());
}

TEST_F(InteracterReceiverTest, ASecondSetUpWithAnotherIdLeavesNothingOfTheFirst) {
    ASSERT_EQ(Initialize(), 0);
    CVXCInteracterImpl other(VXC_INTERACTER_SENDER);
    const std::wstring otherId = UniqueId();
    other.Assign(0, otherId.c_str(), 4096, 8192);
    ASSERT_EQ(other.InitSenderFirst(), 0);
    ASSERT_EQ(receiver.Initialize(0, otherId.c_str(), 100, 4096), 0);
    ASSERT_EQ(other.InitSenderEnd(), 0);
    EXPECT_EQ(other.RemoteCall(30000), 0);
    other.Release();
    ExpectReleases();
    EXPECT_THAT(NamesOf(otherId), IsEmpty());
}
