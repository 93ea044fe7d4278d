// Both sides of a byte ring at random, and a third thread that ends the input at any time, in the middle of
// puts as well. For longer and with other seeds as StreamBufferStress_test.cpp tells.
#include "buffers/StreamDice.h"
#include "buffers/StreamSides.h"
#include "buffers/StreamTesting.h"
#include "support/NumberFrom.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kLargestPiece = 3 * kLeastRing + 2;

// One ring from Init to an end that the producer does not know of before it is refused.
//
// There are two ways out: the consumer gets all bytes of the puts that succeeded, and then the end; or the
// refused put keeps the lock, and the consumer is left behind. So that no thread is lost then, the consumer's
// waits fail from shortly before the end on: it asks again, and is left behind when it still gets nothing
// after the producer has come back.
class EndedSession {
public:
    enum class Outcome { EndSeen, LeftBehind };
    struct Consumed {
        Outcome outcome = Outcome::EndSeen;
        std::string wrong;
    };

    EndedSession(StreamRing& ring, StreamBytes& bytes, uint64 seed)
        : m_ring(ring), m_bytes(bytes), m_producer(seed * 4), m_consumer(seed * 4 + 1),
          m_third(seed * 4 + 3) {
        m_small = m_producer.OneIn(3);
        m_ring.buffer.Init(0);
    }

    std::string Produce() {
        for (;;) {
            const int size = m_small ? m_producer.Below(4000) : m_producer.Size(kLeastRing);
            const int result = m_ring.buffer.PutData(m_bytes.At(m_whole), size, PLUG_STREAMSTATE_DATA);
            if (result != 0) {
                m_refused = size;
                m_isOver.store(true);
                return result == kRefused && m_isEnding ? "" : "a put failed while the input was open";
            }
            m_whole += static_cast<uint32>(size);
            m_progress.fetch_add(1 + static_cast<uint32>(size));
        }
    }

    Consumed Consume() {
        PublishRule();
        for (;;) {
            const bool wasOver = m_isOver;
            const bool wasEnding = m_isEnding;
            const bool shows = m_consumer.OneIn(4) && !wasOver;
            const int size = m_small ? 1 + m_consumer.Below(6000) : 1 + m_consumer.Size(kLeastRing);
            const int shown = m_shown;
            const StreamGot got = shows ? m_ring.Show(size) : m_ring.Get(size);
            if (got.count < 0) {
                if (wasOver && shown == 0) {
                    return {Outcome::LeftBehind, ""};
                }
                const bool mayBeNotNow = m_isEnding || (shown > 0 && size > shown);
                if (shows || !mayBeNotNow) {
                    return {Outcome::EndSeen, "not now, though it could have slept"};
                }
                continue;
            }
            if (got.count > size || (got.count < size && !m_isEnding)) {
                return {Outcome::EndSeen, "a wrong count " + std::to_string(got.count)};
            }
            if (std::memcmp(got.data, m_bytes.At(m_taken), static_cast<std::size_t>(got.count)) != 0) {
                return {Outcome::EndSeen, "a wrong byte behind " + std::to_string(m_taken)};
            }
            if (shows) {
                m_shown = std::max(shown, got.count);
                continue;
            }
            m_taken += static_cast<uint32>(got.count);
            m_shown = std::max(0, shown - size);
            if (got.state == PLUG_STREAMSTATE_END) {
                return {Outcome::EndSeen, wasEnding || m_isEnding ? "" : "an end that nobody made"};
            }
        }
    }

    // The third thread's part: ends the input once so much was put, and a little later.
    void End(FaultPlan& plan) {
        const FaultRule rule = WaitForRule();
        const auto until =
            static_cast<uint32>(m_small ? m_third.Below(100000) : m_third.Below(6 * kLeastRing));
        while (m_progress < until) {
            std::this_thread::yield();
        }
        for (int i = m_third.Below(3000); i > 0; --i) { // anywhere in a put
            std::atomic_signal_fence(std::memory_order_seq_cst);
        }
        m_isEnding.store(true);
        plan.Add(rule);
        m_ring.buffer.SetEndOfInput();
    }

    // What is wrong when both sides have come back, or nothing. Bytes of the refused put may have passed:
    // those that had gone in when it was refused, and it keeps the lock then.
    std::string CheckTotals(Outcome outcome) {
        const uint64 most = m_whole + static_cast<uint32>(m_refused);
        if (m_taken > most || (outcome == Outcome::EndSeen && m_taken < m_whole)) {
            return "taken " + std::to_string(m_taken) + " of " + std::to_string(m_whole) + " and at most " +
                   std::to_string(m_refused);
        }
        const bool mustBeKept = outcome == Outcome::LeftBehind || m_taken > m_whole;
        return mustBeKept && !IsLockKept() ? "held up or cut by nothing: the lock is free" : "";
    }

private:
    // Whether the refused put keeps the lock. Both sides have come back, and waits of this thread fail.
    bool IsLockKept() {
        m_ring.buffer.ReSetEndOfInput();
        return m_ring.buffer.PutData(m_bytes.At(0), 0, PLUG_STREAMSTATE_DATA) == kRefused;
    }
    // Made on the consumer's thread, as it is about that thread.
    void PublishRule() {
        const std::lock_guard lock(m_mutex);
        m_rule = Fail(Op::VXC_WaitForSingleObject).FromThenOn().OnThisThread();
        m_changed.notify_all();
    }
    FaultRule WaitForRule() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_rule.has_value(); });
        return *m_rule;
    }

    StreamRing& m_ring;
    StreamBytes& m_bytes;
    Dice m_producer;
    Dice m_consumer;
    Dice m_third;
    bool m_small = false;
    uint64 m_whole = 0; // the producer's, until it has come back
    int m_refused = 0;
    uint64 m_taken = 0; // the consumer's
    int m_shown = 0;
    std::atomic<uint64> m_progress{0};
    std::atomic<bool> m_isEnding{false};
    std::atomic<bool> m_isOver{false};

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::optional<FaultRule> m_rule; // guarded by m_mutex
};

} // namespace

TEST(StreamBufferStressEndsTest, AllThatWasPutComesBeforeTheEndOrTheLockIsKept) {
    const std::chrono::seconds length(NumberFrom("VXC_STREAM_STRESS_SECONDS", 3));
    uint64 seed = NumberFrom("VXC_STREAM_STRESS_SEED", 1);
    // Left where a side never comes back.
    auto& bytes = *new StreamBytes(kLargestPiece);
    auto& ring = *new StreamRing(1);
    int seen = 0;
    int left = 0;
    const auto end = std::chrono::steady_clock::now() + length;
    for (; std::chrono::steady_clock::now() < end; ++seed) {
        SCOPED_TRACE(::testing::Message() << "seed " << seed);
        auto& session = *new EndedSession(ring, bytes, seed);
        FaultPlan plan;
        const Side producer([&session] { return session.Produce(); });
        const Side consumer([&session] { return session.Consume(); });
        const Side third([&session, &plan] {
            session.End(plan);
            return true;
        });
        ASSERT_TRUE(third.Wait().has_value());
        const auto produced = producer.Wait();
        ASSERT_TRUE(produced.has_value()) << "the producer sleeps on";
        ASSERT_EQ(*produced, "");
        const auto consumed = consumer.Wait();
        ASSERT_TRUE(consumed.has_value()) << "the consumer sleeps on";
        ASSERT_EQ(consumed->wrong, "");
        plan.Add(Fail(Op::VXC_WaitForSingleObject).FromThenOn().OnThisThread());
        ASSERT_EQ(session.CheckTotals(consumed->outcome), "");
        ++(consumed->outcome == EndedSession::Outcome::EndSeen ? seen : left);
        delete &session;
    }
    // What the last session left: a new Init makes it good again, as it did for each of them.
    ring.buffer.Init(0);
    ring.put = 0;
    ASSERT_EQ(ring.Put(bytes, 1000, PLUG_STREAMSTATE_END), 0);
    const StreamGot got = ring.Get(2000);
    ASSERT_EQ(got.count, 1000);
    EXPECT_EQ(got.state, PLUG_STREAMSTATE_END);
    EXPECT_EQ(std::memcmp(got.data, bytes.At(0), 1000), 0);
    RecordProperty("ends_seen", seen);
    RecordProperty("left_behind", left);
    delete &ring;
    delete &bytes;
}
