// Limits that pass at the moment at which a copy comes back, many times over.
#include "sources/TwoCopiesFixture.h"

#include <random>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using Inspector = FileSourceInspector;

namespace {

constexpr int kRounds = 1000;

void Spin(int turns) {
    std::atomic<int> turn{0};
    while (turn.fetch_add(1) < turns * 8) {
    }
}

// Starts two actions at nearly one moment, now this first and now that.
template <class First, class Second>
void Race(int round, First first, Second second) {
    std::atomic<int> ready{0};
    const auto start = [&ready] {
        ready.fetch_add(1);
        while (ready.load() < 2) {
        }
    };
    std::thread other([&] {
        start();
        Spin(round % 64);
        first();
    });
    start();
    Spin(round / 64);
    second();
    other.join();
}

class TwoHandleRacesTest : public TwoCopiesClockFixture {
protected:
    // Opens, and reads 300 bytes whose signal the reader of the first copy is about to give once more.
    void ReadWithASignalGivenTwice(Gate& again) {
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        void* const done = CopyReaderInspector::DoneEvent(Reader(0));
        plan.Add(Fail(Op::VXC_SetEvent).OnHandle(done).AfterEffect());
        plan.Add(Hold(Op::VXC_SetEvent, again).OnHandle(done).Nth(2));
        ASSERT_EQ(Read(300), Bytes(0, 300));
        ASSERT_TRUE(again.WaitUntilReached());
    }
};

} // namespace

TEST_F(TwoHandleRacesTest, ALimitPassesWhileTheCopyComesBack) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    int givenUp = 0;
    for (int round = 0; round < kRounds; ++round) {
        std::future<std::vector<uint8>> read;
        Gate gate;
        const auto rule = HoldReads(gate, L"copy1");
        const auto position = static_cast<std::size_t>(round) * 7 % 9000;
        source.Seek(static_cast<int64>(position), 1);
        Inspector::ReadRate(source) = SReadRate(); // so that the limit is the threshold each time
        read = ReadLater(900);
        ASSERT_TRUE(gate.WaitUntilReached());
        ASSERT_TRUE(clock.WaitForSleepers(1));
        Race(
            round, [&] { clock.Advance(kThreshold); }, [&] { gate.Open(); });
        ASSERT_EQ(read.get(), Bytes(position, 900)) << round;
        plan.Remove(rule);
        givenUp += LastFile();
        ASSERT_TRUE(BecomesIdle(0)); // not busy for ever
        ASSERT_TRUE(BecomesIdle(1));
    }
    EXPECT_GT(givenUp, 0);
}

TEST_F(TwoHandleRacesTest, BothLimitsPassWhileTheCopiesComeBack) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    for (int round = 0; round < kRounds; ++round) {
        std::future<std::vector<uint8>> read;
        Gate first;
        Gate second;
        const auto rule1 = HoldReads(first, L"copy1");
        const auto rule2 = HoldReads(second, L"copy2");
        const auto position = static_cast<std::size_t>(round) * 7 % 9000;
        source.Seek(static_cast<int64>(position), 1);
        Inspector::ReadRate(source) = SReadRate();
        read = ReadLater(900);
        ASSERT_TRUE(first.WaitUntilReached());
        ASSERT_TRUE(PassWait(kThreshold));
        ASSERT_TRUE(second.WaitUntilReached());
        ASSERT_TRUE(clock.WaitForSleepers(1));
        Race(
            round, [&] { clock.Advance(10000); },
            [&] {
                second.Open();
                first.Open();
            });
        const std::vector<uint8> got = read.get();
        ASSERT_TRUE(got.empty() || got == Bytes(position, 900)) << round;
        plan.Remove(rule1);
        plan.Remove(rule2);
        ASSERT_TRUE(BecomesIdle(0));
        ASSERT_TRUE(BecomesIdle(1));
    }
}

TEST_F(TwoHandleRacesTest, ReadsFollowEachOtherWithoutALoss) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    std::minstd_rand random(1);
    for (int round = 0; round < kRounds; ++round) {
        const std::size_t position = random() % kSize;
        const auto bytes = static_cast<uint32>(random() % 3000);
        source.Seek(static_cast<int64>(position), 1);
        ASSERT_EQ(Read(bytes), Bytes(position, std::min<std::size_t>(bytes, kSize - position))) << round;
    }
}

TEST_F(TwoHandleRacesTest, ACloseMeetsACopyThatComesBack) {
    for (int round = 0; round < kRounds / 10; ++round) {
        std::future<std::vector<uint8>> read;
        Gate gate;
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        Inspector::ReadRate(source) = SReadRate();
        const auto rule = HoldReads(gate, L"copy1");
        read = ReadLater(900);
        ASSERT_TRUE(gate.WaitUntilReached());
        ASSERT_TRUE(PassWait(kThreshold));
        ASSERT_EQ(read.get(), Bytes(0, 900));
        Race(
            round, [&] { gate.Open(); }, [&] { source.CloseFile(); });
        plan.Remove(rule);
    }
}

TEST_F(TwoHandleRacesTest, ARequestThatIsSignalledTwiceIsServedOnce) {
    std::future<std::vector<uint8>> read;
    Gate again;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    void* const request = CopyReaderInspector::RequestEvent(Reader(0));
    plan.Add(Fail(Op::VXC_SetEvent).OnHandle(request).AfterEffect());
    plan.Add(Hold(Op::VXC_SetEvent, again).OnHandle(request).Nth(2));
    read = ReadLater(300);
    ASSERT_TRUE(again.WaitUntilReached());
    // The copy has been read when the second signal comes.
    ASSERT_EQ(VXC_WaitForSingleObject(CopyReaderInspector::DoneEvent(Reader(0)), VXC_INFINITE),
              VXC_WAIT_OBJECT_0);
    again.Open();
    EXPECT_EQ(read.get(), Bytes(0, 300));
    for (std::size_t i = 1; i < 20; ++i) {
        ASSERT_EQ(Read(300), Bytes(i * 300, 300));
    }
    EXPECT_EQ(plan.CallsOn(Op::VXC_ReadFile, L"copy1"), 20);
    EXPECT_EQ(plan.CallsOn(Op::VXC_ReadFile, L"copy2"), 0);
    EXPECT_EQ(plan.CallsOn(Op::VXC_CreateFileW, L"copy1"), 1);
}

TEST_F(TwoHandleRacesTest, AnAnswerWhoseSignalMissesTheLimitIsTooLate) {
    std::future<std::vector<uint8>> read;
    Gate slow;
    Gate signal;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    HoldReads(slow, L"copy1");
    plan.Add(Hold(Op::VXC_SetEvent, signal).OnHandle(CopyReaderInspector::DoneEvent(Reader(1))));
    read = ReadLater(300);
    ASSERT_TRUE(slow.WaitUntilReached());
    ASSERT_TRUE(PassWait(kThreshold));
    ASSERT_TRUE(signal.WaitUntilReached()); // the second copy has its bytes
    ASSERT_TRUE(PassWait(10000));
    EXPECT_TRUE(read.get().empty());
    EXPECT_TRUE(Read(300).empty()); // both still count as busy
    signal.Open();
    ASSERT_TRUE(BecomesIdle(1));
    EXPECT_EQ(Read(300), Bytes(0, 300));
}

TEST_F(TwoHandleRacesTest, ACopyThatWasGivenUpIsBusyWhateverWasSignalledBefore) {
    std::future<std::vector<uint8>> read;
    Gate again;
    Gate gate;
    ASSERT_NO_FATAL_FAILURE(ReadWithASignalGivenTwice(again));
    HoldReads(gate, L"copy1");
    read = ReadLater(300);
    ASSERT_TRUE(PassWait(kThreshold));
    EXPECT_EQ(read.get(), Bytes(300, 300));
    again.Open(); // the former answer is signalled again
    ASSERT_TRUE(gate.WaitUntilReached());
    EXPECT_EQ(Read(300), Bytes(600, 300));
    EXPECT_EQ(LastFile(), 1);
    EXPECT_EQ(plan.CallsOn(Op::VXC_ReadFile, L"copy2"), 2);
}

TEST_F(TwoHandleRacesTest, AnAnswerThatIsSignalledTwiceDoesNotEndTheNextWait) {
    std::future<std::vector<uint8>> read;
    Gate again;
    Gate gate;
    ASSERT_NO_FATAL_FAILURE(ReadWithASignalGivenTwice(again));
    HoldReads(gate, L"copy1");
    read = ReadLater(300);
    ASSERT_TRUE(clock.WaitForSleepers(1)); // the next read waits for its answer
    const int begun = clock.Begun();
    again.Open();
    ASSERT_TRUE(gate.WaitUntilReached());
    ASSERT_TRUE(clock.WaitForBegun(begun + 1)); // and again, the former one's signal given a second time
    ASSERT_TRUE(PassWait(kThreshold));
    EXPECT_EQ(read.get(), Bytes(300, 300));
    EXPECT_EQ(LastFile(), 1);
    gate.Open();
    ASSERT_TRUE(BecomesIdle(0));
    EXPECT_EQ(Read(300), Bytes(600, 300));
    EXPECT_EQ(LastFile(), 0);
}
