// Which copy a read goes to, how long it waits for it, and what it does when a copy is slow.
#include "sources/TwoCopiesFixture.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Inspector = FileSourceInspector;

namespace {

class TwoHandleReadingTest : public TwoCopiesClockFixture {
protected:
    std::wstring ChangeTo(int file) const {
        return Line(L":ReadFileWithTwoHandle--Change to File" + std::to_wstring(file) + L" Read\n");
    }
    std::wstring TimeOut(int file, const std::wstring& name, uint32 wait) const {
        return Line(L":ReadFileWithTwoHandle()--Read File" + std::to_wstring(file) + L"(" + name +
                    L") time out(wait " + std::to_wstring(wait) + L"ms)\n");
    }
    std::wstring BeginChange(const std::wstring& name) const {
        return Line(L":ReadFileWithTwoHandle()--Begin Change to File2(" + name + L") Read\n");
    }
    std::wstring ChangeTimeOut(const std::wstring& name) const {
        return Line(L":ReadFileWithTwoHandle()--Change to File2(" + name + L") Time out!!!\n");
    }
    std::wstring EndChange(const std::wstring& name) const {
        return Line(L":ReadFileWithTwoHandle()--End Change to File2(" + name + L") Read\n");
    }
    // A meter that tells so many bytes per second.
    void MeasureRate(uint64 rate) {
        _VXC_LARGE_INTEGER frequency = {};
        VXC_QueryPerformanceFrequency(&frequency);
        Inspector::ReadRate(source) = SReadRate();
        Inspector::ReadRate(source).SetFrequency(static_cast<uint64>(frequency.QuadPart));
        Inspector::ReadRate(source).Add(rate, static_cast<uint64>(frequency.QuadPart));
        ASSERT_EQ(Inspector::ReadRate(source).Rate(), rate);
    }
    // How long a read of so many bytes waits for File1 before it gives it up.
    uint32 WaitOfRead(uint32 bytes) {
        std::future<std::vector<uint8>> read;
        uint32 wait = 0;
        {
            Gate gate;
            const auto rule = HoldReads(gate, L"copy1");
            source.Seek(0, 1);
            read = ReadLater(bytes);
            EXPECT_TRUE(clock.WaitForSleepers(1));
            wait = static_cast<uint32>(clock.NextDeadline().value_or(0) - clock.Now());
            plan.Remove(rule);
        }
        read.wait();
        return wait;
    }
};

} // namespace

TEST_F(TwoHandleReadingTest, BothIdleTheFirstCopyServes) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    LogCapture log;
    EXPECT_EQ(Read(4000), Bytes(0, 4000));
    EXPECT_EQ(Read(4000), Bytes(4000, 4000));
    EXPECT_EQ(Read(4000), Bytes(8000, 2000));
    EXPECT_TRUE(Read(4000).empty());
    EXPECT_EQ(plan.CallsOn(Op::VXC_ReadFile, L"copy2"), 0);
    // Told at the first read, and no more.
    EXPECT_THAT(OwnLines(log), ElementsAre(ChangeTo(1)));
    EXPECT_EQ(LastFile(), 0);
}

TEST_F(TwoHandleReadingTest, EachOpenTellsItsFirstCopyAnew) {
    LogCapture log;
    for (std::size_t i = 1; i <= 3; ++i) {
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        EXPECT_EQ(LastFile(), -1);
        Read(10);
        EXPECT_EQ(log.Count(ChangeTo(1)), i);
    }
}

TEST_F(TwoHandleReadingTest, ASlowFirstCopyLosesTheReadToTheSecond) {
    Gate gate;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    source.Seek(500, 1);
    LogCapture log;
    EXPECT_EQ(MakeFirstBusy(gate, 300), Bytes(500, 300));
    EXPECT_THAT(OwnLines(log), ElementsAre(ChangeTo(1), TimeOut(1, Copy1(), kThreshold), BeginChange(Copy2()),
                                           EndChange(Copy2())));
    EXPECT_EQ(Inspector::FilePos(source), 800);
    EXPECT_EQ(LastFile(), 1);
}

TEST_F(TwoHandleReadingTest, JustBeforeItsLimitACopyIsNotGivenUp) {
    std::future<std::vector<uint8>> read;
    Gate gate;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    HoldReads(gate, L"copy1");
    LogCapture log;
    read = ReadLater(300);
    ASSERT_TRUE(gate.WaitUntilReached());
    ASSERT_TRUE(clock.WaitForSleepers(1));
    clock.Advance(kThreshold - 1);
    gate.Open();
    EXPECT_EQ(read.get(), Bytes(0, 300));
    EXPECT_THAT(OwnLines(log), ElementsAre(ChangeTo(1)));
    EXPECT_EQ(plan.CallsOn(Op::VXC_ReadFile, L"copy2"), 0);
}

TEST_F(TwoHandleReadingTest, WhileACopyIsBusyTheOtherServesWithoutALimit) {
    std::future<std::vector<uint8>> read;
    Gate slow;
    Gate second;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(MakeFirstBusy(slow, 300), Bytes(0, 300));

    LogCapture log;
    EXPECT_EQ(Read(300), Bytes(300, 300));
    HoldReads(second, L"copy2");
    read = ReadLater(300);
    ASSERT_TRUE(second.WaitUntilReached());
    EXPECT_EQ(clock.Sleepers(), 0); // no limit, as nothing could take over
    clock.Advance(10'000'000);
    EXPECT_FALSE(IsReady(read));
    second.Open();
    EXPECT_EQ(read.get(), Bytes(600, 300));
    EXPECT_THAT(OwnLines(log), IsEmpty()); // the same copy as before
}

TEST_F(TwoHandleReadingTest, TheFirstCopyServesAgainOnceItIsBack) {
    Gate gate;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(MakeFirstBusy(gate, 300), Bytes(0, 300));
    LogCapture log;
    EXPECT_EQ(Read(300), Bytes(300, 300));
    gate.Open();
    ASSERT_TRUE(BecomesIdle(0));
    EXPECT_EQ(Read(300), Bytes(600, 300));
    EXPECT_THAT(OwnLines(log), ElementsAre(ChangeTo(1)));
    EXPECT_EQ(LastFile(), 0);
    EXPECT_EQ(plan.CallsOn(Op::VXC_CreateFileW, L"copy1"), 1); // slowness is no error
}

TEST_F(TwoHandleReadingTest, BothSlowGiveNothingAndStayBusyUntilTheyComeBack) {
    std::future<std::vector<uint8>> read;
    Gate first;
    Gate second;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    HoldReads(first, L"copy1");
    HoldReads(second, L"copy2");
    source.Seek(100, 1);
    LogCapture log;
    read = ReadLater(300);
    ASSERT_TRUE(first.WaitUntilReached());
    ASSERT_TRUE(PassWait(kThreshold));
    ASSERT_TRUE(second.WaitUntilReached());
    ASSERT_TRUE(PassWait(10000));
    EXPECT_TRUE(read.get().empty());
    EXPECT_THAT(OwnLines(log), ElementsAre(ChangeTo(1), TimeOut(1, Copy1(), kThreshold), BeginChange(Copy2()),
                                           ChangeTimeOut(Copy2()), EndChange(Copy2())));
    EXPECT_EQ(Inspector::FilePos(source), 100);
    EXPECT_EQ(LastFile(), 1);

    log.Clear();
    const int begun = clock.Begun();
    EXPECT_TRUE(Read(300).empty()); // at once
    EXPECT_EQ(clock.Begun(), begun);
    EXPECT_THAT(OwnLines(log), IsEmpty());
    EXPECT_EQ(LastFile(), 1);

    second.Open();
    ASSERT_TRUE(BecomesIdle(1));
    EXPECT_EQ(Read(300), Bytes(100, 300));
    EXPECT_THAT(OwnLines(log), IsEmpty());
    first.Open();
    ASSERT_TRUE(BecomesIdle(0));
    EXPECT_EQ(Read(300), Bytes(400, 300));
    EXPECT_THAT(OwnLines(log), ElementsAre(ChangeTo(1)));
}

TEST_F(TwoHandleReadingTest, ALateReaderWritesOnlyIntoItsOwnMemory) {
    std::future<int> read;
    Gate gate;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    // Held after its effect, so that the late copy has bytes to deliver.
    plan.Add(Hold(Op::VXC_ReadFile, gate).OnFile(L"copy1"));
    auto buffer = std::make_unique<uint8[]>(300);
    read = std::async(std::launch::async, [&] { return source.Read(buffer.get(), 300); });
    ASSERT_TRUE(gate.WaitUntilReached());
    ASSERT_TRUE(PassWait(kThreshold));
    EXPECT_EQ(read.get(), 300);
    std::memset(buffer.get(), kUntouched, 300);
    const uint8* const travelling = Two::TravellingMemory(source);
    gate.Open();
    ASSERT_TRUE(BecomesIdle(0));
    EXPECT_THAT(std::vector<uint8>(buffer.get(), buffer.get() + 300), Each(kUntouched));
    EXPECT_EQ(std::vector<uint8>(travelling, travelling + 300), Bytes(0, 300)); // of the second copy
    buffer.reset();
    EXPECT_EQ(Read(300), Bytes(300, 300));
}

TEST_F(TwoHandleReadingTest, MemoryIsKeptFromReadToRead) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Read(300);
    const uint8* const memory = Two::TravellingMemory(source);
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0x100000U);
    for (int i = 0; i < 10; ++i) {
        Read(300);
        EXPECT_EQ(Two::TravellingMemory(source), memory);
    }
    Read(0x100001);
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0x200000U);
    source.CloseFile();
    EXPECT_FALSE(Inspector::HasBounceBuffer(source));
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Read(0x100000);
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0x100000U);
}

TEST_F(TwoHandleReadingTest, TheWaitIsASecondRaisedToTheThreshold) {
    SettingsScope settings;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(WaitOfRead(300), 2000U);
    for (const auto& [threshold, wait] :
         {std::pair{L"1", 1000U}, std::pair{L"1000", 1000U}, std::pair{L"1001", 1001U}}) {
        settings.Set(L"DoubleRdThreshold", threshold);
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        Inspector::ReadRate(source) = SReadRate(); // as in a source that has not read yet
        EXPECT_EQ(WaitOfRead(300), wait);
    }
}

TEST_F(TwoHandleReadingTest, TheWaitIsTwiceTheTimeThatTheSpeedLetsExpect) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    MeasureRate(1000);
    EXPECT_EQ(WaitOfRead(4000), 8000U);
    MeasureRate(1000);
    EXPECT_EQ(WaitOfRead(999), 2000U); // 1998 raised to the threshold
    MeasureRate(1000);
    EXPECT_EQ(WaitOfRead(1001), 2002U);
    MeasureRate(3);
    EXPECT_EQ(WaitOfRead(101), 67332U); // divided, then doubled: not 67333
}

TEST_F(TwoHandleReadingTest, TheWaitCountsWhatTheCallerAskedForBeforeItWasWidened) {
    ASSERT_EQ(Open(VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    MeasureRate(10);
    EXPECT_EQ(WaitOfRead(100), 20000U);
}

TEST_F(TwoHandleReadingTest, TheProductOfTheWaitWrapsAt32Bits) {
    const SettingsScope settings({{L"DoubleRdThreshold", L"1"}});
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    // 4294968 * 1000 is 704 above 4 GiB.
    MeasureRate(1);
    EXPECT_EQ(WaitOfRead(4294968), 1408U);
    MeasureRate(1);
    EXPECT_EQ(WaitOfRead(4294967), 4294966704U); // 4294967000 * 2, wrapped
}

TEST_F(TwoHandleReadingTest, ARateOf4GiBPerSecondIsNoZero) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    MeasureRate(uint64{1} << 32);
    EXPECT_EQ(WaitOfRead(300), kThreshold);
    MeasureRate((uint64{1} << 32) + 1);
    EXPECT_EQ(WaitOfRead(300), kThreshold);
}

TEST_F(TwoHandleReadingTest, OnlyTheFirstCopyIsMeasured) {
    std::future<std::vector<uint8>> read;
    Gate slow;
    Gate first;
    Gate second;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::ReadRate(source).Rate(), 0U);
    HoldReads(first, L"copy1");
    read = ReadLater(300);
    ASSERT_TRUE(first.WaitUntilReached());
    clock.Advance(500);
    first.Open();
    read.wait();
    EXPECT_EQ(Inspector::ReadRate(source).Rate(), 600U);

    // A copy that was given up is not measured, nor the one that took over, whatever time they take.
    HoldReads(slow, L"copy1");
    HoldReads(second, L"copy2");
    read = ReadLater(300);
    ASSERT_TRUE(slow.WaitUntilReached());
    ASSERT_TRUE(PassWait(kThreshold));
    ASSERT_TRUE(second.WaitUntilReached());
    clock.Advance(700);
    second.Open();
    EXPECT_EQ(read.get(), Bytes(300, 300));
    EXPECT_EQ(Inspector::ReadRate(source).Rate(), 600U);
    Gate alone;
    HoldReads(alone, L"copy2");
    read = ReadLater(300);
    ASSERT_TRUE(alone.WaitUntilReached());
    clock.Advance(700);
    alone.Open();
    EXPECT_EQ(read.get(), Bytes(600, 300));
    EXPECT_EQ(Inspector::ReadRate(source).Rate(), 600U);
}

TEST_F(TwoHandleReadingTest, AReadOfNothingTouchesNoFile) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_TRUE(Read(0).empty());
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), 0);
    EXPECT_EQ(Read(10), Bytes(0, 10));
}

TEST_F(TwoHandleReadingTest, PositionsOutsideTheFileGiveNothing) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    for (const int64 outside : {int64{kSize}, int64{kSize} + 1, int64{1} << 40}) {
        source.Seek(outside, 1);
        EXPECT_TRUE(Read(100).empty()) << outside;
    }
    source.Seek(kSize - 10, 1);
    EXPECT_EQ(Read(100), Bytes(kSize - 10, 10));
}

TEST_F(TwoHandleReadingTest, ALostSignalIsGivenAgain) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    for (int copy = 0; copy < 2; ++copy) {
        plan.Add(Fail(Op::VXC_SetEvent).OnHandle(CopyReaderInspector::RequestEvent(Reader(copy))));
        plan.Add(Fail(Op::VXC_SetEvent).OnHandle(CopyReaderInspector::DoneEvent(Reader(copy))));
    }
    EXPECT_EQ(Read(100), Bytes(0, 100));
    EXPECT_EQ(Read(100), Bytes(100, 100));
    EXPECT_EQ(plan.Fired(), 2);
}

TEST_F(TwoHandleReadingTest, ARequestThatCannotBeHandedOverGivesNothing) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    const auto reset = plan.Add(Fail(Op::VXC_ResetEvent).OnHandle(CopyReaderInspector::DoneEvent(Reader(0))));
    EXPECT_TRUE(Read(100).empty());
    EXPECT_EQ(plan.Fired(reset), 1);
    EXPECT_EQ(Read(100), Bytes(0, 100));
    const auto signal =
        plan.Add(Fail(Op::VXC_SetEvent).OnHandle(CopyReaderInspector::RequestEvent(Reader(0))).FromThenOn());
    const uint8* const memory = Two::TravellingMemory(source);
    EXPECT_TRUE(Read(100).empty());
    EXPECT_EQ(Two::TravellingMemory(source), memory); // it came back
    EXPECT_GT(plan.Fired(signal), 1);
    plan.Remove(signal);
    EXPECT_EQ(Read(100), Bytes(100, 100)); // the copy is idle still
    EXPECT_EQ(LastFile(), 0);
}

TEST_F(TwoHandleReadingTest, CloseWaitsForACopyThatHangs) {
    std::future<std::vector<uint8>> read;
    std::future<uint32> close;
    Gate gate;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    HoldReads(gate, L"copy1");
    read = ReadLater(300);
    ASSERT_TRUE(gate.WaitUntilReached());
    ASSERT_TRUE(PassWait(kThreshold));
    read.wait();
    LogCapture log;
    close = std::async(std::launch::async, [&] { return source.CloseFile(); });
    ASSERT_TRUE(log.WaitFor(L"-- Begin"));
    EXPECT_FALSE(log.Contains(L"ByThread() Quit")); // neither, as the first is waited for first
    gate.Open();
    EXPECT_EQ(close.get(), VXC_STATUS_OK);
    EXPECT_EQ(log.Count(L"ByThread() Quit"), 2U);
}
