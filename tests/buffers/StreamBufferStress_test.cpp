// Both sides of a byte ring at random on two threads, and a third that ends the input: every byte at its
// place, every end at the end. A few seconds here; for longer, with seeds of one's own:
//
//   VXC_STREAM_STRESS_SECONDS=600 VXC_STREAM_STRESS_SEED=1000000 buffers_tests
//   --gtest_filter='*StreamBufferStress*'
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
#include <string>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kLargestRing = kLeastRing + 300000;

// One ring from Init on. The producer ends its input and opens it again a few times; at the last end it
// either waits until all was taken, or the consumer walks away in the middle.
//
//   producer: puts ... end n --(waits for the consumer to see it, or not at all)--> opens again, puts ...
//   consumer: gets ... sees an end --> waits until the input is open again
class Session {
public:
    Session(StreamRing& ring, StreamBytes& bytes, uint64 seed)
        : m_ring(ring), m_bytes(bytes), m_producer(seed * 4), m_consumer(seed * 4 + 1) {
        Dice dice(seed * 4 + 2);
        m_size = kLeastRing + (dice.OneIn(2) ? 0 : dice.Below(kLargestRing - kLeastRing));
        m_ends = 1 + dice.Below(5);
        m_opensAtOnce = dice.OneIn(3);
        m_walksAway = dice.OneIn(4);
        m_ring.buffer.Init(m_size);
    }

    // Both give what went wrong, or nothing.
    std::string Produce() {
        for (int end = 1; end <= m_ends; ++end) {
            const bool isLast = end == m_ends;
            if (isLast && m_walksAway) {
                return PutUntilRefused();
            }
            const uint64 until = m_put + static_cast<uint32>(m_producer.Below(5 * m_size));
            while (m_put < until) {
                if (Put(PLUG_STREAMSTATE_DATA) != 0) {
                    return "a put was refused while the input was open";
                }
            }
            {
                const std::lock_guard lock(m_mutex);
                m_ended = end;
                m_lastBegun = isLast;
            }
            if (std::string wrong = End(); !wrong.empty()) {
                return wrong;
            }
            if (isLast) {
                const std::lock_guard lock(m_mutex);
                m_allPut = true;
                return {};
            }
            if (!m_opensAtOnce && !WaitForConsumer(end)) {
                return "the consumer did not see an end";
            }
            m_ring.buffer.ReSetEndOfInput();
            const std::lock_guard lock(m_mutex);
            m_opened = end;
            m_changed.notify_all();
        }
        return {};
    }

    std::string Consume() {
        int patience = m_walksAway ? 50 + m_consumer.Below(1000) : 0;
        for (;;) {
            if (m_walksAway && LastEndIsNext() && patience-- == 0) {
                return {};
            }
            const bool shows = m_consumer.OneIn(3);
            const int size = shows && m_consumer.OneIn(2) ? m_consumer.Below(300) : m_consumer.Size(m_size);
            const int shown = m_shown;
            const StreamGot got = shows ? m_ring.Show(size) : m_ring.Get(size);
            if (std::string wrong = Check(got, shows, size, shown); !wrong.empty()) {
                return wrong + ", size " + std::to_string(size) + ", shown " + std::to_string(shown) +
                       ", got " + std::to_string(got.count);
            }
            if (!shows && got.state == PLUG_STREAMSTATE_END) {
                const uint64 put = m_put;
                if (!m_opensAtOnce && m_taken != put) {
                    return "an end before the last byte";
                }
                if (SeeEnd() && m_taken == m_put) {
                    return {};
                }
            }
        }
    }

    // The third thread: ends the input when the producer asks for it, or when the consumer is gone.
    void EndWhenAsked() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_asked || m_isOver; });
        if (m_asked) {
            m_asked = false;
            lock.unlock();
            m_ring.buffer.SetEndOfInput();
            lock.lock();
            m_answered = true;
            m_changed.notify_all();
        }
    }
    bool IsOver() {
        const std::lock_guard lock(m_mutex);
        return m_isOver;
    }
    void Over() {
        const std::lock_guard lock(m_mutex);
        m_isOver = true;
        m_changed.notify_all();
    }
    bool WalksAway() const { return m_walksAway; }
    // For a failure.
    std::string Describe() {
        const std::lock_guard lock(m_mutex);
        return "ring " + std::to_string(m_size) + ", ends " + std::to_string(m_ended) + " of " +
               std::to_string(m_ends) + ", seen " + std::to_string(m_seen) + ", opened " +
               std::to_string(m_opened) + (m_opensAtOnce ? " at once" : "") + ", put " +
               std::to_string(m_put) + ", taken " + std::to_string(m_taken) + ", shown " +
               std::to_string(m_shown) + (m_walksAway ? ", walks away" : "") + (m_allPut ? ", all put" : "");
    }

private:
    int Put(PLUG_STREAMSTATE_ state) {
        const int size = m_producer.Size(m_size);
        uint8* const data = m_bytes.At(m_put);
        m_put += static_cast<uint32>(size); // before: the consumer may be told of the end within
        return m_ring.buffer.PutData(data, size, state);
    }
    std::string PutUntilRefused() {
        {
            const std::lock_guard lock(m_mutex);
            m_lastBegun = true;
        }
        for (;;) {
            if (const int result = Put(PLUG_STREAMSTATE_DATA); result != 0) {
                return result == kRefused ? "" : "a put failed";
            }
        }
    }
    // By the last piece, by this thread, by the third, or by two of them. The consumer may miss the first.
    std::string End() {
        if (m_producer.OneIn(2) && Put(PLUG_STREAMSTATE_END) != 0) {
            return "the last piece was refused";
        }
        if (m_producer.OneIn(2)) {
            m_ring.buffer.SetEndOfInput();
        } else {
            std::unique_lock lock(m_mutex);
            m_asked = true;
            m_changed.notify_all();
            if (!WaitBounded(m_changed, lock, [this] { return m_answered; })) {
                return "nobody ended the input";
            }
            m_answered = false;
        }
        return m_ring.buffer.PutData(m_bytes.At(0), 1, PLUG_STREAMSTATE_DATA) == kRefused
                   ? ""
                   : "a put after the end was taken";
    }
    bool WaitForConsumer(int end) {
        std::unique_lock lock(m_mutex);
        return WaitBounded(m_changed, lock, [this, end] { return m_seen >= end; });
    }

    // Waits until the input is open again where the producer waits too, but at the last end. True when the
    // producer is through with that.
    bool SeeEnd() {
        std::unique_lock lock(m_mutex);
        m_seen = m_ended;
        m_changed.notify_all();
        if (!m_opensAtOnce) {
            m_changed.wait(lock, [this, end = m_ended] { return m_opened >= end || m_lastBegun; });
        }
        return m_allPut;
    }
    bool LastEndIsNext() {
        const std::lock_guard lock(m_mutex);
        return m_lastBegun;
    }

    std::string Check(const StreamGot& got, bool shows, int size, int shown) {
        if (got.count == -1) {
            return !shows && shown > 0 && size > shown ? "" : "not now, though it could have slept";
        }
        const bool isServedByPeek = shown >= size;
        if (got.count > size || (got.count < size && (isServedByPeek || !MayBeShort(got)))) {
            return "a wrong count";
        }
        if (got.count > 0 &&
            std::memcmp(got.data, m_bytes.At(m_taken), static_cast<std::size_t>(got.count)) != 0) {
            return "a wrong byte behind " + std::to_string(m_taken);
        }
        if (shows) {
            m_shown = std::max(shown, got.count);
        } else {
            m_taken += static_cast<uint32>(got.count);
            m_shown = isServedByPeek ? shown - size : 0;
        }
        return {};
    }
    // Less than asked for comes with the end alone. Where the input is opened at once, the end may be over
    // before it is reported.
    bool MayBeShort(const StreamGot& got) const { return got.state == PLUG_STREAMSTATE_END || m_opensAtOnce; }

    StreamRing& m_ring;
    StreamBytes& m_bytes;
    Dice m_producer;
    Dice m_consumer;
    int m_size = 0;
    int m_ends = 0;
    bool m_opensAtOnce = false;
    bool m_walksAway = false;
    std::atomic<uint64> m_put{0};
    uint64 m_taken = 0; // the consumer's
    int m_shown = 0;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    // Guarded by m_mutex.
    int m_ended = 0;
    int m_seen = 0;
    int m_opened = 0;
    bool m_lastBegun = false;
    bool m_allPut = false;
    bool m_asked = false;
    bool m_answered = false;
    bool m_isOver = false;
};

} // namespace

TEST(StreamBufferStressTest, EveryByteComesOnceAndInOrderWhateverBothSidesDo) {
    const std::chrono::seconds length(NumberFrom("VXC_STREAM_STRESS_SECONDS", 3));
    uint64 seed = NumberFrom("VXC_STREAM_STRESS_SEED", 1);
    // Left where a side never comes back.
    auto& bytes = *new StreamBytes(3 * kLargestRing + 2);
    auto& ring = *new StreamRing(1);
    const auto end = std::chrono::steady_clock::now() + length;
    for (; std::chrono::steady_clock::now() < end; ++seed) {
        SCOPED_TRACE(::testing::Message() << "seed " << seed);
        auto& session = *new Session(ring, bytes, seed);
        Side producer([&session] { return session.Produce(); });
        Side consumer([&session] { return session.Consume(); });
        Side third([&session] {
            while (!session.IsOver()) {
                session.EndWhenAsked();
            }
            return true;
        });
        const auto consumed = consumer.Wait();
        ASSERT_TRUE(consumed.has_value()) << "the consumer sleeps on: " << session.Describe();
        ASSERT_EQ(*consumed, "");
        if (session.WalksAway()) {
            ring.buffer.SetEndOfInput();
        }
        const auto produced = producer.Wait();
        ASSERT_TRUE(produced.has_value()) << "the producer sleeps on: " << session.Describe();
        ASSERT_EQ(*produced, "");
        session.Over();
        ASSERT_TRUE(third.Wait().has_value());
        delete &session;
    }
    delete &ring;
    delete &bytes;
}
