// The host's end: what it makes, what it finds, and what is left where that fails.
#include "bridge/InteracterTesting.h"
#include "support/FaultPlan.h"
#include "support/LogCapture.h"
#include "support/MemoryLack.h"
#include "support/TestClock.h"

#include <algorithm>
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

constexpr const char* kInMap = "_InMap.m";
constexpr const char* kOutMap = "_OutMap.m";
constexpr const char* kBegin = "_EvtBegin.e";
constexpr const char* kEnd = "_EvtEnd.e";

constexpr unsigned char kRequestMarkerBytes[27] = {'C', 0, 'R', 0, 'E', 0, 'A', 0, 'T', 0, 'E', 0, 'S', 0,
                                                   'M', 0, 'M', 0, 0,   0, 0,   0, 0,   0, 0,   0, 0};
constexpr unsigned char kReplyMarkerBytes[33] = {'C', 0,   'R', 0,   'E', 0,   'A', 0,   'T', 0,   'E',
                                                 0,   'S', 0,   'M', 0,   'M', 0,   'O', 0,   'K', 0};

class InteracterSenderTest : public ::testing::Test {
protected:
    InteracterSenderTest() { sender.Assign(0, id.c_str(), 4096, 8192); }
    ~InteracterSenderTest() override {
        if (reply != nullptr) {
            SharedObjects().closeMapping(reply);
        }
        if (view != nullptr) {
            SharedObjects().unmapView(view);
        }
    }

    // A reply space as a server makes it, with this at its head.
    void MakeReply(uint32 bytes, const unsigned char* head, std::size_t headBytes) {
        int existed = 0;
        uint64 length = 0;
        reply = SharedObjects().createMapping((id + L"_OutMap").c_str(), bytes, &existed);
        view = static_cast<unsigned char*>(SharedObjects().mapView(reply, bytes, &length));
        std::copy_n(head, std::min<std::size_t>(headBytes, bytes), view);
    }
    void MakeReply(uint32 bytes = 8192) { MakeReply(bytes, kReplyMarkerBytes, sizeof kReplyMarkerBytes); }

    unsigned char* Request() {
        void* address = nullptr;
        sender.ObtainSMMSpaceAddress(&address, nullptr, nullptr, nullptr);
        return static_cast<unsigned char*>(address);
    }
    void ExpectReleased(int handles = 0, int views = 0) {
        EXPECT_EQ(plan.Handles(), handles);
        EXPECT_EQ(plan.Views(), views);
        const ChannelSpaces spaces = UsableSpaces(sender);
        EXPECT_EQ(spaces.request, nullptr);
        EXPECT_EQ(spaces.requestBytes, 0u);
        EXPECT_EQ(spaces.reply, nullptr);
        EXPECT_EQ(spaces.replyBytes, 0u);
    }
    // InitSenderFirst fails with this text, and nothing is left.
    void ExpectFirstFails(const wchar_t* text) {
        EXPECT_EQ(sender.InitSenderFirst(), -1);
        EXPECT_THAT(log.Texts(INFOTYPE_ERROR), ElementsAre(text));
        ExpectReleased();
        EXPECT_THAT(NamesOf(id), IsEmpty());
    }

    const std::wstring id = UniqueId();
    const SharedObjectsPlan plan;
    LogCapture log;
    CVXCInteracterImpl sender{VXC_INTERACTER_SENDER};
    void* reply = nullptr;
    unsigned char* view = nullptr;
};

class InteracterSenderEndTest : public InteracterSenderTest {
protected:
    InteracterSenderEndTest() {
        clock.AutoAdvance(true);
        EXPECT_EQ(sender.InitSenderFirst(), 0);
    }
    // The second half fails with this text and releases what the first one has made.
    void ExpectEndFails(const wchar_t* text) {
        const int ownHandles = reply != nullptr ? 1 : 0;
        log.Clear();
        EXPECT_EQ(sender.InitSenderEnd(), -1);
        EXPECT_EQ(log.Texts(INFOTYPE_ERROR).size(), 1u);
        EXPECT_TRUE(log.Contains(text));
        ExpectReleased(ownHandles, ownHandles);
    }

    TestClock clock;
};

} // namespace

// ---- What is made first ---------------------------------------------------------------------------------

TEST_F(InteracterSenderTest, MakesTheRequestSpaceAndTheEvents) {
    EXPECT_EQ(sender.InitSenderFirst(), 0);
    EXPECT_THAT(NamesOf(id), ElementsAre(kBegin, kEnd, kInMap));
    void* in = nullptr;
    void* out = &in;
    unsigned int inSize = 0;
    unsigned int outSize = 0;
    EXPECT_EQ(sender.ObtainSMMSpaceAddress(&in, &inSize, &out, &outSize), 0);
    EXPECT_NE(in, nullptr);
    EXPECT_EQ(inSize, 4096u);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(outSize, 8192u);
    sender.Release();
    ExpectReleased();
    EXPECT_THAT(NamesOf(id), IsEmpty());
}

TEST_F(InteracterSenderTest, MarksTheRequestSpaceWithTwentySevenBytes) {
    ASSERT_EQ(sender.InitSenderFirst(), 0);
    const unsigned char* const space = Request();
    EXPECT_TRUE(std::equal(kRequestMarkerBytes, kRequestMarkerBytes + 27, space));
    EXPECT_TRUE(std::all_of(space + 27, space + 4096, [](unsigned char c) { return c == 0; }));
}

TEST_F(InteracterSenderTest, LogsTheHalvesOfTheAddress) {
    ASSERT_EQ(sender.InitSenderFirst(), 0);
    const uint64 address = reinterpret_cast<std::uintptr_t>(Request());
    wchar_t text[200] = {};
    std::swprintf(text, 200,
                  L"CVXCInteracterImpl::InitSenderFirst():ptr=[0x%x][0x%x]MapViewOfFile(%ls_InMap)",
                  static_cast<unsigned int>(address >> 32), static_cast<unsigned int>(address & 0xFFFFFFFFu),
                  id.c_str());
    EXPECT_THAT(log.Texts(INFOTYPE_TRACE), ElementsAre(text));
}

TEST_F(InteracterSenderTest, ASpaceSmallerThanTheMarkerIsNotOverrun) {
    sender.Assign(0, id.c_str(), 1, 1);
    ASSERT_EQ(sender.InitSenderFirst(), 0);
    EXPECT_EQ(Request()[0], 'C');
    EXPECT_EQ(Request()[1], 0);
    EXPECT_EQ(Request()[2], 0); // behind the space
    EXPECT_EQ(UsableSpaces(sender).requestBytes, 1u);
}

TEST_F(InteracterSenderTest, ASpaceThatCannotBeMadeEndsTheSetUp) {
    plan.Fail(Kind::CreateMapping);
    ExpectFirstFails(L"Can't create file mapping.");
}

TEST_F(InteracterSenderTest, ASpaceOfNoBytesCannotBeMade) {
    sender.Assign(0, id.c_str(), 0, 8192);
    ExpectFirstFails(L"Can't create file mapping.");
}

TEST_F(InteracterSenderTest, AViewThatIsNotThereEndsTheSetUp) {
    plan.Fail(Kind::MapView);
    ExpectFirstFails(L"Can't create file mapping.");
    EXPECT_THAT(
        log.Texts(INFOTYPE_TRACE),
        ElementsAre(L"CVXCInteracterImpl::InitSenderFirst():ptr=[0x0][0x0]MapViewOfFile(" + id + L"_InMap)"));
}

TEST_F(InteracterSenderTest, ABeginEventThatCannotBeMadeEndsTheSetUp) {
    plan.Fail(Kind::CreateEvent);
    ExpectFirstFails(L"Can't create begin event.");
}

TEST_F(InteracterSenderTest, AnEndEventThatCannotBeMadeEndsTheSetUp) {
    plan.Fail(Kind::CreateEvent, 2);
    ExpectFirstFails(L"Can't create end event.");
}

TEST_F(InteracterSenderTest, ANameThatIsTakenEndsTheSetUpAndStaysItsOwners) {
    CVXCInteracterImpl owner(VXC_INTERACTER_SENDER);
    owner.Assign(0, id.c_str(), 100, 100);
    ASSERT_EQ(owner.InitSenderFirst(), 0);
    log.Clear();
    EXPECT_EQ(sender.InitSenderFirst(), -1);
    EXPECT_THAT(log.Texts(), ElementsAre(L"Mapping already exists - not created."));
    ExpectReleased(1, 1); // the owner's
    EXPECT_THAT(NamesOf(id), ElementsAre(kBegin, kEnd, kInMap));
    owner.Release();
    EXPECT_THAT(NamesOf(id), IsEmpty());
    EXPECT_EQ(sender.InitSenderFirst(), 0);
}

TEST_F(InteracterSenderTest, WithoutMemoryForTheNamesNoObjectIsTouched) {
    int n = 1;
    for (bool came = true; came; ++n) {
        CVXCInteracterImpl other(VXC_INTERACTER_SENDER);
        log.Clear();
        {
            const MemoryLack lack(n);
            other.Assign(0, id.c_str(), 4096, 8192);
            came = lack.Came();
        }
        EXPECT_EQ(other.InitSenderFirst(), came ? -1 : 0) << n;
        EXPECT_EQ(log.Contains(L"Can't create file mapping."), came) << n;
        EXPECT_EQ(NamesOf(id).size(), came ? 0u : 3u) << n;
    }
    EXPECT_GT(n, 5);
    EXPECT_THAT(NamesOf(L""), IsEmpty());
}

TEST_F(InteracterSenderTest, WithoutMemoryForAnEventTheSetUpEndsAndNothingIsLeft) {
    int n = 1;
    for (bool came = true; came; ++n) {
        {
            const MemoryLack lack(n);
            const int result = sender.InitSenderFirst();
            came = lack.Came();
            EXPECT_EQ(result, came ? -1 : 0) << n;
        }
        sender.Release();
        ExpectReleased();
        EXPECT_THAT(NamesOf(id), IsEmpty()) << n;
    }
    EXPECT_GT(n, 3);
}

TEST_F(InteracterSenderTest, OddIdsMakeNamesOfTheirOwn) {
    for (const std::wstring& odd :
         {id + L"/../x", id + L"\\y", id + std::wstring(5000, L'z'), id + L"\x20AC"}) {
        CVXCInteracterImpl other(VXC_INTERACTER_SENDER);
        other.Assign(0, odd.c_str(), 100, 100);
        EXPECT_EQ(other.InitSenderFirst(), 0);
        EXPECT_THAT(NamesOf(id), IsEmpty());
        EXPECT_EQ(plan.Handles(), 1);
    }
    EXPECT_EQ(plan.Handles(), 0);
}

// ---- What the server is to have made ----------------------------------------------------------------------

TEST_F(InteracterSenderEndTest, AServersSignalEndsTheWaitAtOnce) {
    MakeReply();
    void* const end = SharedObjects().openEvent((id + L"_EvtEnd").c_str());
    ASSERT_NE(end, nullptr);
    VXC_SetEvent(end);
    VXC_CloseHandle(end);
    log.Clear();
    EXPECT_EQ(sender.InitSenderEnd(), 0);
    EXPECT_THAT(clock.Waits(), IsEmpty());
    EXPECT_THAT(log.Texts(), IsEmpty());
    EXPECT_EQ(UsableSpaces(sender).replyBytes, 8192u);
}

TEST_F(InteracterSenderEndTest, AServerThatIsSilentThoughThereIsFoundBehindThirtySeconds) {
    MakeReply();
    EXPECT_EQ(sender.InitSenderEnd(), 0);
    EXPECT_THAT(clock.Waits(), ElementsAre(30000u));
}

TEST_F(InteracterSenderEndTest, ASilentServerThatIsNotThereShowsBehindThirtySeconds) {
    ExpectEndFails(L"OpenFileMapping hOutMapFile failed (2).\n");
    EXPECT_THAT(clock.Waits(), ElementsAre(30000u));
    EXPECT_THAT(NamesOf(id), IsEmpty());
}

TEST_F(InteracterSenderEndTest, AFailedWaitLeavesItToTheMappingToo) {
    MakeReply();
    FaultPlan faults;
    const auto rule = faults.Add(Fail(Op::VXC_WaitForSingleObject));
    EXPECT_EQ(sender.InitSenderEnd(), 0);
    EXPECT_EQ(faults.Fired(rule), 1);
}

TEST_F(InteracterSenderEndTest, TheReplySpaceIsOpenedByItsName) {
    MakeReply();
    sender.InitSenderEnd();
    EXPECT_THAT(plan.Opened(), ElementsAre(id + L"_OutMap"));
}

TEST_F(InteracterSenderEndTest, AReplySpaceThatCannotBeMappedEndsTheSetUp) {
    MakeReply();
    plan.Fail(Kind::MapView);
    ExpectEndFails(L"Can't MapViewOfFile Out");
}

TEST_F(InteracterSenderEndTest, AnotherMarkerEndsTheSetUp) {
    MakeReply(8192, kRequestMarkerBytes, sizeof kRequestMarkerBytes);
    ExpectEndFails(L"Child Create SMM Failed!");
    EXPECT_THAT(NamesOf(id), ElementsAre(kOutMap)); // the server's
}

TEST_F(InteracterSenderEndTest, AMarkerThatGoesOnEndsTheSetUp) {
    unsigned char longer[sizeof kReplyMarkerBytes];
    std::copy(std::begin(kReplyMarkerBytes), std::end(kReplyMarkerBytes), longer);
    longer[23] = 1; // the terminating zero's high byte
    MakeReply(8192, longer, sizeof longer);
    ExpectEndFails(L"Child Create SMM Failed!");
}

TEST_F(InteracterSenderEndTest, WhatStandsBehindTheMarkersZeroDoesNotMatter) {
    unsigned char other[sizeof kReplyMarkerBytes];
    std::copy(std::begin(kReplyMarkerBytes), std::end(kReplyMarkerBytes), other);
    std::fill(other + 24, std::end(other), static_cast<unsigned char>(0xEE));
    MakeReply(8192, other, sizeof other);
    EXPECT_EQ(sender.InitSenderEnd(), 0);
}

TEST_F(InteracterSenderEndTest, ASpaceOfOneByteHasNoMarker) {
    MakeReply(1);
    ExpectEndFails(L"Child Create SMM Failed!");
}

TEST_F(InteracterSenderEndTest, ASpaceThatEndsWithinTheMarkerHasNone) {
    MakeReply(23);
    ExpectEndFails(L"Child Create SMM Failed!");
}

TEST_F(InteracterSenderEndTest, ASpaceThatHoldsJustTheMarkerHasIt) {
    MakeReply(24);
    EXPECT_EQ(sender.InitSenderEnd(), 0);
    EXPECT_EQ(UsableSpaces(sender).replyBytes, 24u);
}
