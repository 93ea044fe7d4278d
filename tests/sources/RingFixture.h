// RingFixture.h - a ring over a file in memory that comes up short, jumps and hangs as a test tells it.
#pragma once

#include "frame/SystemLayer.h"
#include "sources/PreReadRing.h"
#include "support/Bounded.h"
#include "support/FaultPlan.h"
#include "support/Gate.h"
#include "support/LeakChecks.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace vxcio {

struct AlignedBufferInspector {
    static bool AreTogether(const AlignedBuffer& one, const AlignedBuffer& other) {
        return one.m_whole && one.m_whole == other.m_whole;
    }
};

struct PreReadRingInspector {
    static uint64 OldestPosition(const PreReadRing& ring) { return ring.m_pReadBlock->qwPosition; }
    static uint32 Blocks(const PreReadRing& ring) { return ring.m_nBlocks; }
    static const SReadBlock& Block(const PreReadRing& ring, uint32 index) { return ring.m_pBlocks[index]; }
};

namespace test {

// Its plain members are used by both threads in turn without a lock of their own: where the ring lets both
// in at once the thread sanitizer tells.
class MemoryFeed : public RingFeed {
public:
    struct Call {
        int64 position;
        uint32 got;
        std::thread::id thread;

        bool operator==(const Call&) const = default;
    };

    explicit MemoryFeed(std::vector<uint8> bytes) : content(std::move(bytes)) {}

    int64 FeedPosition() noexcept override { return m_position; }
    void SetFeedPosition(int64 position) noexcept override { m_position = position; }
    uint32 Fill(AlignedBuffer& block, uint32 bytes) noexcept override {
        if (gate != nullptr) {
            Gate::Pass(*gate);
        }
        const auto from = static_cast<uint64>(m_position);
        const uint64 size = content.size();
        uint32 got = static_cast<uint32>(from < size ? std::min<uint64>(bytes, size - from) : 0);
        got = std::min(got, mostPerFill);
        if (const auto cut = cuts.find(m_position); cut != cuts.end()) {
            got = std::min(got, cut->second);
        }
        if (got > 0) {
            std::memcpy(block.Data(), content.data() + from, got);
        }
        calls.push_back({m_position, got, std::this_thread::get_id()});
        const auto jump = jumps.find(m_position);
        m_position += got;
        if (jump != jumps.end()) {
            m_position += jump->second;
        }
        m_fills.fetch_add(1, std::memory_order_relaxed); // orders nothing, see above
        return got + claimMore;
    }

    // Waits until so many blocks were filled. False when they were not (Bounded.h).
    [[nodiscard]] bool WaitForFills(int n) const {
        const auto limit = std::chrono::steady_clock::now() + kHangLimit;
        while (Fills() < n) {
            if (std::chrono::steady_clock::now() > limit) {
                return false;
            }
            std::this_thread::yield();
        }
        return true;
    }
    int Fills() const { return m_fills.load(std::memory_order_relaxed); }

    // Fills by the thread that asks; with the other thread at a standstill or gone.
    int OwnFills() const {
        return static_cast<int>(std::count_if(calls.begin(), calls.end(), [](const Call& call) {
            return call.thread == std::this_thread::get_id();
        }));
    }

    std::vector<uint8> content;
    uint32 mostPerFill = 0xFFFFFFFFu;
    uint32 claimMore = 0;         // added to the count that is told
    std::map<int64, uint32> cuts; // a fill at this position gives no more than so much
    std::map<int64, int64> jumps; // after a fill at this position the file stands so much further
    std::vector<Call> calls;      // look at it at a standstill
    // Where each fill stops. Shared, as a fill may still come to it when the test's own gate has gone.
    std::shared_ptr<Gate::State> gate;

private:
    int64 m_position = 0;
    std::atomic<int> m_fills{0};
};

// Small blocks: 4 of 64 bytes, sectors of 16.
inline constexpr uint32 kBlock = 64;
inline constexpr uint32 kSector = 16;

class PreReadRingFixture : public ::testing::Test {
protected:
    static constexpr uint32 kSize = 1000;

    // A new ring, and a new count of what the feed was asked.
    void Start(bool keepWindow, uint32 blocks = 4) {
        ring.reset();
        feed.calls.clear();
        ring = PreReadRing::Start(feed, {blocks * kBlock, kBlock, kSector, keepWindow}, this);
        ASSERT_NE(ring, nullptr);
    }
    std::vector<uint8> Fetch(uint64 position, uint32 bytes) {
        std::vector<uint8> buffer(bytes + 1, 0xEE);
        const uint32 got = ring->Fetch(position, buffer.data(), bytes);
        EXPECT_LE(got, bytes);
        EXPECT_EQ(buffer[std::min(got, bytes)], 0xEE) << "wrote behind what it told";
        buffer.resize(std::min(got, bytes));
        return buffer;
    }
    // What the file holds there.
    std::vector<uint8> Bytes(uint64 position, uint64 bytes) const {
        const uint64 size = feed.content.size();
        const uint64 from = std::min(position, size);
        const uint64 count = std::min(bytes, size - from);
        const auto begin = feed.content.begin() + static_cast<std::ptrdiff_t>(from);
        return {begin, begin + static_cast<std::ptrdiff_t>(count)};
    }
    // Fills on the test's own thread so far: one for each time the ring was sent elsewhere.
    int Repositions() const {
        const PreReadRing::Standstill standstill(*ring);
        return feed.OwnFills();
    }
    void ForgetCalls() {
        const PreReadRing::Standstill standstill(*ring);
        feed.calls.clear();
    }
    std::vector<MemoryFeed::Call> Calls() const {
        const PreReadRing::Standstill standstill(*ring);
        return feed.calls;
    }

    MemoryFeed feed{Pattern(kSize, 7)};
    std::unique_ptr<PreReadRing> ring;
};

} // namespace test
} // namespace vxcio
