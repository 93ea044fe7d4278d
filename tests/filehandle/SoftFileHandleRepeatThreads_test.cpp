// Repeat of reads in thread mode: a read that hangs is waited for again, never made twice.
#include "filehandle/ThreadFixture.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

using Inspector = SoftFileHandleInspector;

// A caller on a thread of its own that reads 100 bytes with repeat on, while the worker hangs.
class RepeatThreadsTest : public HungTest {
protected:
    void BeginRead() {
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        handle.SetRepeat(1);
        host.Hold(HostFunction::Read, gate);
        caller = std::thread([this] { status = Read(100, &count); });
        ASSERT_TRUE(gate.WaitUntilReached());
        waitsBefore = clock.Waits().size();
        ASSERT_TRUE(clock.WaitForSleepers(1));
    }
    // Ends the wait that stands, and then the pause behind it.
    void PassOneRound() {
        EXPECT_EQ(clock.Advance(kLimit), 1);
        EXPECT_TRUE(clock.WaitForSleepers(1));
        EXPECT_EQ(clock.Advance(1000), 1);
        EXPECT_TRUE(clock.WaitForSleepers(1));
    }
    // Ends the pause that is the nth of the test, once it stands.
    void EndPause(std::size_t nth) {
        EXPECT_TRUE(clock.WaitForSleeps(nth));
        EXPECT_TRUE(clock.WaitForSleepers(1));
        EXPECT_EQ(clock.Advance(1000), 1);
    }
    // The first answer is short; what the repeat calls second then hangs.
    void BeginReadThatHangsInItsRepeat(HostFunction function) {
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        handle.SetRepeat(1);
        host.ShortenReads(30);
        host.Hold(function, gate, 2);
        caller = std::thread([this] { status = Read(100, &count); });
        EndPause(1);
        ASSERT_TRUE(gate.WaitUntilReached());
        ASSERT_TRUE(clock.WaitForSleepers(1));
    }

    std::thread caller;
    uint32 status = 1;
    uint32 count = 9;
    std::size_t waitsBefore = 0;
};

} // namespace

TEST_F(RepeatThreadsTest, AReadThatNeverComesIsWaitedForElevenTimes) {
    LogCapture log;
    BeginRead();
    for (int i = 0; i < 10; ++i) {
        PassOneRound();
    }
    clock.Advance(kLimit);
    caller.join();
    EXPECT_EQ(status, VXC_STATUS_TIME_OUT);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(host.Calls(HostFunction::Read), 1);
    EXPECT_EQ(clock.Sleeps(), std::vector<uint32>(10, 1000));
    EXPECT_EQ(log.Count(L"CQLSoftFileHandle::ReadFile(D:\\clip.mxf) Time out, WaitTime is 5000 ms !!!"), 11U);
    EXPECT_EQ(log.Count(L"SetDiskError(D)"), 11U);
    EXPECT_EQ(log.Count(L"CQLSoftFileHandle::ReadFile() Repeat!\n"), 10U);
    EXPECT_EQ(host.Calls(HostFunction::SetFilePointer), 1) << "stopped by the status";
    gate.Open();
    handle.CloseFileHandle();
    EXPECT_EQ(buffer, std::vector<uint8>(kSize, 0xEE));
}

TEST_F(RepeatThreadsTest, AReadThatComesLateIsTaken) {
    LogCapture log;
    BeginRead();
    PassOneRound();
    PassOneRound();
    gate.Open();
    caller.join();
    EXPECT_EQ(status, VXC_STATUS_OK);
    EXPECT_EQ(count, 100U);
    EXPECT_EQ(host.Calls(HostFunction::Read), 1);
    const std::vector<uint8> content = host.Content();
    EXPECT_EQ(std::vector<uint8>(buffer.begin(), buffer.begin() + 100),
              std::vector<uint8>(content.begin(), content.begin() + 100));
    EXPECT_EQ(Inspector::Record(handle)->qwPosition, 100U);
    EXPECT_EQ(log.Count(L"Time out"), 2U);
    // The handle goes on as before; nothing of the late answer is left in its way.
    EXPECT_EQ(Read(100, &count), VXC_STATUS_OK);
    EXPECT_EQ(std::vector<uint8>(buffer.begin(), buffer.begin() + 100),
              std::vector<uint8>(content.begin() + 100, content.begin() + 200));
}

TEST_F(RepeatThreadsTest, AnAnswerThatComesDuringThePauseIsTakenAtItsEnd) {
    Gate signal;
    FaultPlan plan;
    BeginRead();
    clock.Advance(kLimit);
    ASSERT_TRUE(clock.WaitForSleepers(1)); // in the pause
    plan.Add(Hold(Op::VXC_SetEvent, signal));
    gate.Open();
    ASSERT_TRUE(signal.WaitUntilReached()); // the answer is there, and about to be told
    clock.Advance(1000);
    signal.Open();
    caller.join();
    EXPECT_EQ(status, VXC_STATUS_OK);
    EXPECT_EQ(count, 100U);
    EXPECT_EQ(host.Calls(HostFunction::Read), 1);
}

TEST_F(RepeatThreadsTest, AnAnswerThatIsThereButNotYetToldWhenTheLimitPassesNeedsNoRepeat) {
    Gate signal;
    FaultPlan plan;
    BeginRead();
    plan.Add(Hold(Op::VXC_SetEvent, signal));
    gate.Open();
    ASSERT_TRUE(signal.WaitUntilReached());
    clock.Advance(kLimit);
    caller.join();
    EXPECT_EQ(status, VXC_STATUS_OK);
    EXPECT_EQ(count, 100U);
    EXPECT_TRUE(clock.Sleeps().empty());
    EXPECT_FALSE(drive.IsMarked());
}

TEST_F(RepeatThreadsTest, AReadThatItsWorkerHasNotTakenYetIsWaitedForToo) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    handle.SetRepeat(1);
    FaultPlan plan;
    plan.Add(Hold(Op::VXC_WaitForSingleObject, gate).OnOtherThreads()); // before it hears of the request
    std::thread driver([this] {
        EXPECT_TRUE(gate.WaitUntilReached());
        EXPECT_TRUE(clock.WaitForSleepers(1));
        PassOneRound();
        gate.Open();
    });
    EXPECT_EQ(Read(100, &count), VXC_STATUS_OK);
    driver.join();
    EXPECT_EQ(count, 100U);
    EXPECT_EQ(host.Calls(HostFunction::Read), 1);
}

TEST_F(RepeatThreadsTest, ALateAnswerThatIsShortIsRepeatedFromItsPlace) {
    host.ShortenReads(30);
    BeginRead();
    PassOneRound();
    gate.Open();
    for (int i = 0; i < 9; ++i) { // each short again
        EndPause(static_cast<std::size_t>(i) + 2);
    }
    caller.join();
    EXPECT_EQ(status, VXC_STATUS_OK);
    EXPECT_EQ(count, 30U);
    EXPECT_EQ(host.Calls(HostFunction::Read), 10);
    for (const HostCall& call : host.Log()) {
        if (call.function == HostFunction::Read) {
            EXPECT_EQ(call.position, 0U);
        }
    }
}

TEST_F(RepeatThreadsTest, ARepeatThatIsTurnedOffGivesTheReadUp) {
    BeginRead();
    handle.SetRepeat(0);
    clock.Advance(kLimit);
    caller.join();
    EXPECT_EQ(status, VXC_STATUS_TIME_OUT);
    EXPECT_EQ(count, 0U);
    EXPECT_TRUE(clock.Sleeps().empty());
    gate.Open();
    EXPECT_EQ(Read(100, &count), VXC_STATUS_TIME_OUT) << "its late answer is nobody's";
}

TEST_F(RepeatThreadsTest, AReadThatWasGivenUpSoShowsItsLateErrorInTheClose) {
    host.Fail(HostFunction::Read, 5);
    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    handle.SetRepeat(1);
    host.Hold(HostFunction::Read, gate);
    caller = std::thread([this] { status = Read(100, &count); });
    ASSERT_TRUE(gate.WaitUntilReached());
    ASSERT_TRUE(clock.WaitForSleepers(1));
    handle.SetRepeat(0);
    clock.Advance(kLimit);
    caller.join();
    EXPECT_EQ(status, VXC_STATUS_TIME_OUT);
    gate.Open();
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_READ);
}

TEST_F(RepeatThreadsTest, ARepeatThatHangsLeavesNoCountOfTheReadBefore) {
    BeginReadThatHangsInItsRepeat(HostFunction::Read);
    handle.SetRepeat(0);
    clock.Advance(kLimit);
    caller.join();
    EXPECT_EQ(status, VXC_STATUS_TIME_OUT);
    EXPECT_EQ(count, 0U);
}

TEST_F(RepeatThreadsTest, NoReadIsSentBehindAHungPositionQuery) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    handle.SetRepeat(1);
    host.Hold(HostFunction::SetFilePointer, gate);
    LetTimeOut([&] { EXPECT_EQ(Read(100, &count), VXC_STATUS_TIME_OUT); });
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(host.Calls(HostFunction::Read), 0);
    EXPECT_TRUE(clock.Sleeps().empty());
}

TEST_F(RepeatThreadsTest, NoReadIsSentBehindASeekThatHangsInTheLoop) {
    BeginReadThatHangsInItsRepeat(HostFunction::SetFilePointer);
    clock.Advance(kLimit);
    caller.join();
    EXPECT_EQ(status, VXC_STATUS_TIME_OUT);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(host.Calls(HostFunction::Read), 1);
}

TEST_F(RepeatThreadsTest, ABlockIsRepeatedInItsOwnMemory) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    handle.SetRepeat(1);
    host.ShortenReads(30);
    clock.AutoAdvance(false);
    AlignedBuffer block(4096, 4096);
    const uint8* const memory = block.Data();
    caller = std::thread([&] { status = handle.ReadBlock(block, 100, &count); });
    for (std::size_t i = 1; i <= 10; ++i) {
        EndPause(i);
    }
    caller.join();
    EXPECT_EQ(count, 30U);
    EXPECT_EQ(block.Data(), memory);
    EXPECT_EQ(host.Calls(HostFunction::Read), 11);
}
