// The two blocks of the read-ahead and what is read out of them.
#include "ftp/FtpPreRead.h"
#include "support/Bounded.h"
#include "support/FaultPlan.h"
#include "support/LeakChecks.h"
#include "support/LogCapture.h"
#include "support/MemoryLack.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

constexpr int kBlock = 100;
constexpr int kJoin = 40;

// A stream of known bytes that ends somewhere. Every fetch may be held up.
class FakeFeed final : public FtpPreReadFeed {
public:
    explicit FakeFeed(std::size_t bytes) : content(Pattern(bytes, 3)) {}

    int FetchAhead(uint8* target, int bytes) noexcept override {
        std::unique_lock lock(m_mutex);
        ++m_begun;
        m_changed.notify_all();
        EXPECT_TRUE(WaitBounded(m_changed, lock, [&] { return m_allowed > 0; }));
        --m_allowed;
        fetched.push_back(bytes);
        if (target == nullptr || bytes <= 0) {
            return 0;
        }
        const std::size_t count = std::min(static_cast<std::size_t>(bytes), content.size() - m_at);
        std::copy_n(content.begin() + static_cast<std::ptrdiff_t>(m_at), count, target);
        m_at += count;
        return static_cast<int>(count);
    }
    uint64 StreamPosition() const noexcept override { return m_at; }

    // Lets so many fetches go on.
    void Allow(int fetches) {
        const std::lock_guard lock(m_mutex);
        m_allowed = fetches;
        m_changed.notify_all();
    }
    bool WaitForFetches(int n) {
        std::unique_lock lock(m_mutex);
        return WaitBounded(m_changed, lock, [&] { return m_begun >= n; });
    }
    void MoveTo(std::size_t position) { m_at = position; }

    const std::vector<uint8> content;
    std::vector<int> fetched; // what was asked for; with the thread at rest

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::size_t m_at = 0;
    int m_begun = 0;
    int m_allowed = INT_MAX;
};

class FtpPreReadTest : public ::testing::Test {
protected:
    void Start(int block = kBlock, int join = kJoin) {
        ahead = FtpPreRead::Start(feed, block, join);
        ASSERT_NE(ahead, nullptr);
    }
    // What a read gives, as the position of its first byte in the content and its length.
    struct Piece {
        int64 from;
        int length;
        bool operator==(const Piece&) const = default;
    };
    Piece ReadAt(uint64 position, int bytes) {
        data = nullptr;
        const int got = ahead->ReadAt(position, &data, bytes);
        if (got == 0) {
            return {-1, 0};
        }
        const auto found = std::search(feed.content.begin(), feed.content.end(), data, data + got);
        return {found == feed.content.end() ? -2 : found - feed.content.begin(), got};
    }

    const NoLeakScope leaks;
    FakeFeed feed{1000};
    std::unique_ptr<FtpPreRead> ahead;
    uint8* data = nullptr;
};

} // namespace

// ---- Sizes --------------------------------------------------------------------------------------------

TEST(FtpPreReadSizesTest, ABlockIsTheBufferWhereTwoOfThemHoldTheMinimum) {
    EXPECT_EQ(FtpPreRead::BlockFor(65536, 32768), 65536);
    EXPECT_EQ(FtpPreRead::BlockFor(1000, 2000), 1000);
    EXPECT_EQ(FtpPreRead::BlockFor(5, 0), 5);
    EXPECT_EQ(FtpPreRead::BlockFor(5, -7), 5);
    EXPECT_EQ(FtpPreRead::BlockFor(INT_MAX, INT_MAX), INT_MAX);
}

TEST(FtpPreReadSizesTest, ElseItIsTwiceTheMinimumAndMoreInWholeSectors) {
    EXPECT_EQ(FtpPreRead::BlockFor(1000, 2001), 4096);
    EXPECT_EQ(FtpPreRead::BlockFor(0, 1), 512);
    EXPECT_EQ(FtpPreRead::BlockFor(0, 256), 1024);
    EXPECT_EQ(FtpPreRead::BlockFor(1000, 32768), 66048);
    EXPECT_EQ(FtpPreRead::BlockFor(-9, -7), 512); // a division with a sign gives 0
    EXPECT_EQ(FtpPreRead::BlockFor(-5000, -1000), -1024);
}

TEST(FtpPreReadSizesTest, WhatDoesNotFit32BitsIsCutToThem) {
    EXPECT_EQ(FtpPreRead::BlockFor(0, INT_MAX), 0);
    EXPECT_EQ(FtpPreRead::BlockFor(0, 0x40000000), INT_MIN + 512);
    EXPECT_EQ(FtpPreRead::BlockFor(INT_MIN, 0), 512);
}

TEST_F(FtpPreReadTest, SizesBelow1MakeNoMemoryAndReadNothing) {
    for (const int block : {0, -1, INT_MIN}) {
        Start(block, -5);
        EXPECT_EQ(ReadAt(0, 10), (Piece{-1, 0}));
        EXPECT_EQ(ReadAt(0, 0), (Piece{-1, 0}));
        EXPECT_EQ(data, nullptr);
        ahead.reset();
    }
    EXPECT_EQ(feed.StreamPosition(), 0U);
}

TEST_F(FtpPreReadTest, WithoutMemoryEventOrThreadThereIsNone) {
    for (int n = 1; n <= 4; ++n) { // itself, two blocks, the room for ranges across them
        const MemoryLack lack(n);
        EXPECT_EQ(FtpPreRead::Start(feed, kBlock, kJoin), nullptr);
        EXPECT_TRUE(lack.Came());
    }
    for (const Op op : {Op::VXC_CreateEventW, Op::VXC_CreateThread, Op::VXC_ResumeThread}) {
        for (int n = 1; n <= (op == Op::VXC_CreateEventW ? 3 : 1); ++n) {
            FaultPlan plan;
            auto rule = Fail(op).Nth(n);
            // To let a thread run is tried again.
            plan.Add(op == Op::VXC_ResumeThread ? rule.FromThenOn() : rule);
            EXPECT_EQ(FtpPreRead::Start(feed, kBlock, kJoin), nullptr) << OpName(op);
            EXPECT_GE(plan.Fired(), 1);
        }
    }
    EXPECT_TRUE(feed.fetched.empty());
}

// ---- The thread ---------------------------------------------------------------------------------------

TEST_F(FtpPreReadTest, BothBlocksAreFilledAtOnceAndNoMore) {
    Start();
    ahead->Rest();
    EXPECT_THAT(feed.fetched, ElementsAre(kBlock, kBlock));
    EXPECT_EQ(feed.StreamPosition(), 200U);
}

TEST_F(FtpPreReadTest, TheFirstReadWaitsForBoth) {
    feed.Allow(0);
    Start();
    ASSERT_TRUE(feed.WaitForFetches(1));
    feed.Allow(2);
    EXPECT_EQ(ReadAt(0, 10), (Piece{0, 10}));
    EXPECT_THAT(feed.fetched, ElementsAre(kBlock, kBlock));
}

TEST_F(FtpPreReadTest, ABlockThatIsLeftIsFilledWhileTheOtherServes) {
    Start();
    EXPECT_EQ(ReadAt(90, 10), (Piece{90, 10}));
    feed.Allow(0);
    EXPECT_EQ(ReadAt(100, 10), (Piece{100, 10}));
    ASSERT_TRUE(feed.WaitForFetches(3)); // stands, and nobody waits for it
    EXPECT_EQ(ReadAt(110, 90), (Piece{110, 90}));
    feed.Allow(2);
    EXPECT_EQ(ReadAt(200, 5), (Piece{200, 5}));
    ahead->Rest();
    EXPECT_THAT(feed.fetched, ElementsAre(kBlock, kBlock, kBlock, kBlock));
}

TEST_F(FtpPreReadTest, FillingsOfNothingAreLogged) {
    LogCapture log;
    Start();
    ahead->Rest();
    EXPECT_TRUE(log.Lines().empty());
    feed.MoveTo(1000);
    EXPECT_EQ(ReadAt(150, 10), (Piece{150, 10})); // out of the second block, so the first is filled
    ahead->Rest();
    EXPECT_THAT(log.Texts(), ElementsAre(L"FtpReadThread : seq1 size = 0, qwPos = 1000"));
    log.Clear();
    EXPECT_EQ(ReadAt(1000, 10), (Piece{-1, 0})); // out of the first, so the second is
    ahead->Rest();
    EXPECT_THAT(log.Texts(), ElementsAre(L"FtpReadThread : seq2 size = 0, qwPos = 1000"));
}

TEST_F(FtpPreReadTest, AFirstFillingThatEndsEarlyIsLoggedForBothBlocks) {
    LogCapture log;
    feed.MoveTo(930);
    Start();
    ahead->Rest();
    EXPECT_THAT(log.Lines(), ElementsAre(LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO",
                                                 L"FtpReadThread : seq2 size = 0, qwPos = 1000"},
                                         LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO",
                                                 L"FtpReadThread : seq1 size = 70, qwPos = 930"}));
}

TEST_F(FtpPreReadTest, ItsEndWaitsForTheJobUnderWay) {
    feed.Allow(0);
    Start();
    ASSERT_TRUE(feed.WaitForFetches(1));
    feed.Allow(2);
    ahead.reset();
    EXPECT_THAT(feed.fetched, ElementsAre(kBlock, kBlock));
}

TEST_F(FtpPreReadTest, TrialsOfTheSystemThatFailOnceChangeNothing) {
    for (int n = 1;; ++n) {
        FakeFeed fresh(300);
        FaultPlan plan;
        plan.Add(Fail({Op::VXC_SetEvent, Op::VXC_ResetEvent, Op::VXC_WaitForSingleObject}).Nth(n));
        auto other = FtpPreRead::Start(fresh, kBlock, kJoin);
        ASSERT_NE(other, nullptr);
        int all = 0;
        for (uint64 at = 0; at < 300; at += 50) {
            uint8* bytes = nullptr;
            const int got = other->ReadAt(at, &bytes, 50);
            all += got;
            ASSERT_EQ(std::memcmp(bytes, fresh.content.data() + at, static_cast<std::size_t>(got)), 0);
        }
        other.reset();
        ASSERT_EQ(all, 300);
        if (plan.Fired() == 0) {
            ASSERT_GT(n, 5);
            return;
        }
    }
}

// ---- Reading ------------------------------------------------------------------------------------------

TEST_F(FtpPreReadTest, WhatLiesInOneBlockIsGivenOutWhereItIs) {
    Start();
    EXPECT_EQ(ReadAt(0, 30), (Piece{0, 30}));
    uint8* const first = data;
    EXPECT_EQ(ReadAt(30, 70), (Piece{30, 70}));
    EXPECT_EQ(data, first + 30);
    EXPECT_EQ(ReadAt(10, 20), (Piece{10, 20}));
    EXPECT_EQ(data, first + 10);
    EXPECT_EQ(ReadAt(99, 1), (Piece{99, 1}));
    EXPECT_THAT(feed.fetched, ElementsAre(kBlock, kBlock));
}

TEST_F(FtpPreReadTest, ARangeAcrossTheBlocksIsPutTogether) {
    Start();
    EXPECT_EQ(ReadAt(80, 40), (Piece{80, 40}));
    ahead->Rest();
    EXPECT_EQ(feed.StreamPosition(), 300U);
    // The second block serves now, and the first has what follows it.
    EXPECT_EQ(ReadAt(190, 20), (Piece{190, 20}));
    EXPECT_EQ(ReadAt(210, 20), (Piece{210, 20}));
}

TEST_F(FtpPreReadTest, ARangeLargerThanTheMinimumIsPutTogetherToo) {
    Start();
    EXPECT_EQ(ReadAt(10, 190), (Piece{10, 190}));
    EXPECT_EQ(ReadAt(210, 5), (Piece{210, 5}));
}

TEST_F(FtpPreReadTest, ARangeLargerThanBothBlocksIsCut) {
    Start();
    EXPECT_EQ(ReadAt(10, 500), (Piece{10, 190}));
    EXPECT_TRUE(ahead->HasSizes(kBlock, kJoin)); // whatever the room has become
}

TEST_F(FtpPreReadTest, WithoutRoomForARangeNothingMoves) {
    Start();
    EXPECT_EQ(ReadAt(0, 10), (Piece{0, 10}));
    {
        const MemoryLack lack(1);
        EXPECT_EQ(ReadAt(10, 150), (Piece{-1, 0}));
        EXPECT_TRUE(lack.Came());
    }
    EXPECT_EQ(ReadAt(10, 150), (Piece{10, 150}));
}

TEST_F(FtpPreReadTest, TheEndOfTheDataIsReachedOnce) {
    feed.MoveTo(870);
    Start(); // 870..969 and 970..999
    EXPECT_EQ(ReadAt(870, 100), (Piece{870, 100}));
    EXPECT_EQ(ReadAt(970, 100), (Piece{970, 30}));
    EXPECT_EQ(ReadAt(1000, 100), (Piece{-1, 0}));
    ahead->Rest();
    const auto fetches = feed.fetched.size();
    EXPECT_EQ(ReadAt(1000, 100), (Piece{-1, 0}));
    EXPECT_EQ(ReadAt(870, 1), (Piece{-1, 0})); // there is no going back from there
    EXPECT_EQ(feed.fetched.size(), fetches);
}

TEST_F(FtpPreReadTest, ARangeAcrossTheEndOfTheDataGivesWhatIsThere) {
    feed.MoveTo(890);
    Start();
    EXPECT_EQ(ReadAt(980, 100), (Piece{980, 20}));
}

TEST_F(FtpPreReadTest, BehindAShortBlockThereIsNothing) {
    feed.MoveTo(950);
    Start(); // 50 bytes
    EXPECT_EQ(ReadAt(960, 10), (Piece{960, 10}));
    EXPECT_EQ(ReadAt(1000, 10), (Piece{-1, 0}));
    EXPECT_EQ(ReadAt(1020, 10), (Piece{-1, 0})); // inside the block's span
    EXPECT_EQ(ReadAt(1045, 10), (Piece{-1, 0})); // across its end
}

TEST_F(FtpPreReadTest, ThePlaceRightBehindTheOtherBlockIsItsEnd) {
    Start();
    EXPECT_EQ(ReadAt(0, 10), (Piece{0, 10}));
    EXPECT_EQ(ReadAt(200, 10), (Piece{-1, 0}));
    // All the same the other block serves now, and the first was filled.
    EXPECT_EQ(ReadAt(200, 10), (Piece{200, 10}));
}

TEST_F(FtpPreReadTest, InNeitherBlockIsWhatTheStreamDeliversNext) {
    Start();
    EXPECT_EQ(ReadAt(0, 10), (Piece{0, 10}));
    feed.MoveTo(500);
    EXPECT_EQ(ReadAt(500, 30), (Piece{500, 30}));
    EXPECT_EQ(ReadAt(530, 70), (Piece{530, 70}));
    EXPECT_EQ(ReadAt(600, 30), (Piece{600, 30}));
    // Whatever that is.
    EXPECT_EQ(ReadAt(50, 30), (Piece{800, 30}));
    EXPECT_EQ(ReadAt(80, 20), (Piece{830, 20}));
}

TEST_F(FtpPreReadTest, PositionsAtTheEndOfAllNumbersAreInNeitherBlock) {
    Start();
    EXPECT_EQ(ReadAt(~uint64{0}, 30), (Piece{200, 30}));
    EXPECT_EQ(ReadAt(~uint64{0}, 30), (Piece{200, 30}));
    EXPECT_EQ(ReadAt(5, 30), (Piece{400, 30}));
}

TEST_F(FtpPreReadTest, ARangeOfNothingIsThere) {
    Start();
    EXPECT_EQ(ahead->ReadAt(40, &data, 0), 0);
    EXPECT_NE(data, nullptr);
    EXPECT_THAT(feed.fetched, ElementsAre(kBlock, kBlock));
}
