// FTP sources on several threads against a server that stalls, breaks and falls silent at random: whatever is
// read stands so in the file, nothing is written into memory that a read has given back, and no thread stays.
// A few seconds here; for longer, with seeds of one's own:
//
//   VXC_FTP_STRESS_SECONDS=600 VXC_FTP_STRESS_SEED=1000000 ftp_tests --gtest_filter='*FtpSourceStress*'
#include "frame/InnerSoftDataIO.h"
#include "ftp/FtpSource.h"
#include "stress/program/Random.h"
#include "support/Bounded.h"
#include "support/Digests.h"
#include "support/FtpScript.h"
#include "support/FtpWire.h"
#include "support/LeakChecks.h"
#include "support/NumberFrom.h"
#include "support/SettingsScope.h"
#include "support/TestClock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;
using stress::Random;

namespace {

constexpr int kThreads = 4;
constexpr uint32 kSize = 6'000'000;
constexpr uint64 kBackSize = 1 << 20;
constexpr uint32 kSmallSize = 200'000;

// Fates of transfers, drawn from all threads.
class Weather {
public:
    explicit Weather(uint64 seed) : m_random(seed) {}
    FtpWire::Fate Draw() {
        const std::lock_guard lock(m_mutex);
        const uint64 after =
            m_random.Below(8) == 0 ? 0 : m_random.Below(m_random.Below(2) == 0 ? 20'000 : kSize);
        switch (m_random.Below(10)) {
        case 0:
        case 1:
        case 2:
            return {FtpWire::End::Stall, after};
        case 3:
            return {FtpWire::End::Reset, after};
        case 4:
            return {FtpWire::End::Short, after};
        default:
            return {};
        }
    }

private:
    std::mutex m_mutex;
    Random m_random; // guarded by m_mutex
};

// One source from its making to its end.
class Life {
public:
    Life(uint64 seed, const std::string& file) : m_random(seed), m_seed(seed), m_file(file) {}

    void Run() {
        if (m_source->Connect(FTPMODE_NORMAL, FtpWire::kHost, L"u", L"p", FtpWire::kPort, 0) != 0) {
            return;
        }
        for (uint32 opens = 1 + m_random.Below(3); opens > 0; --opens) {
            if (m_source->OpenFile(L"clip", 0, nullptr, 0) == 0) {
                Use();
            }
            if (m_random.Below(4) != 0) {
                m_source->CloseFile();
            } else {
                m_source->DisablePreRead();
            }
        }
        if (m_random.Below(2) == 0) {
            m_source->Close();
        }
    }
    uint64 Read() const { return m_read; }

private:
    void Use() {
        m_position = 0;
        const bool hasDigest = m_random.Below(3) == 0;
        if (hasDigest) {
            m_source->EnableMD5_Check(0);
            m_source->BeginMD5_Check(0);
        }
        const bool isAhead = m_random.Below(2) == 0;
        bool goesOn = true;
        if (isAhead) {
            const int block = static_cast<int>(m_random.Below(m_random.Below(2) == 0 ? 4'000 : 400'000)) + 1;
            m_source->EnablePreRead(block, static_cast<int>(m_random.Below(static_cast<uint32>(2 * block))));
        }
        for (uint32 steps = 1 + m_random.Below(60); steps > 0 && goesOn; --steps) {
            goesOn = Step(isAhead);
        }
        if (hasDigest) {
            if (m_random.Below(2) == 0) {
                m_source->StopMD5_Check(0);
            }
            uint8* digest = nullptr;
            int length = 0;
            m_source->GetMD5_check(1, digest, length);
            delete[] digest;
        }
    }

    // False when the data has ended.
    bool Step(bool isAhead) {
        switch (m_random.Below(12)) {
        case 0:
            // With read-ahead the blocks would still serve where a new transfer leads back into them.
            if (!isAhead) {
                return SeekTo(m_random.Below(kSize));
            }
            [[fallthrough]];
        case 1:
            return SeekTo(m_position + 1 + m_random.Below(10'000));
        case 2:
            m_source->GetFileSize();
            return true;
        default:
            return ReadSome();
        }
    }
    bool SeekTo(uint64 position) {
        // Within the back buffer the way back would leave the position where it is.
        if (position < m_position && m_position - position <= kBackSize) {
            return true;
        }
        const auto reached = static_cast<uint64>(m_source->Seek(static_cast<int64>(position), 1));
        m_position = reached;
        return reached == position;
    }
    bool ReadSome() {
        const uint32 bytes = 1 + m_random.Below(m_random.Below(10) == 0 ? 1'500'000 : 6000);
        std::vector<uint8> buffer(bytes); // given back at once: what comes late would show
        const int got = m_source->Read(buffer.data(), bytes);
        const auto count = static_cast<std::size_t>(std::max(got, 0));
        const bool isRight =
            m_position + count <= m_file.size() &&
            m_file.compare(m_position, count, reinterpret_cast<const char*>(buffer.data()), count) == 0;
        EXPECT_TRUE(isRight) << "seed " << m_seed << ": " << got << " bytes at " << m_position;
        m_position += count;
        m_read += count;
        return count > 0 && isRight;
    }

    Random m_random;
    const uint64 m_seed;
    const std::string& m_file;
    std::unique_ptr<CFtpSource> m_source = std::make_unique<CFtpSource>();
    uint64 m_position = 0;
    uint64 m_read = 0;
};

// One source that reads ahead while its owner begins, stops and takes digests, and jumps about. The server is
// sound, so every digest is the file's.
class DigestLife {
public:
    DigestLife(uint64 seed, const Digest& whole) : m_random(seed), m_seed(seed), m_whole(whole) {}

    void Run() {
        ASSERT_EQ(m_source.Connect(FTPMODE_NORMAL, FtpWire::kHost, L"u", L"p", FtpWire::kPort, 0), 0);
        ASSERT_EQ(m_source.OpenFile(L"clip", 0, nullptr, 0), 0U);
        for (uint32 steps = 1 + m_random.Below(80); steps > 0; --steps) {
            Step();
        }
        TakeDigest();
        m_source.CloseFile();
        m_source.Close();
    }
    int Digests() const { return m_digests; }

private:
    void Step() {
        switch (m_random.Below(14)) {
        case 0:
            m_hasCheck = m_source.EnableMD5_Check(0) != 0;
            m_source.BeginMD5_Check(0);
            break;
        case 1:
            m_source.StopMD5_Check(0);
            break;
        case 2:
            m_source.BeginMD5_Check(0);
            break;
        case 3:
            TakeDigest();
            break;
        case 4:
            m_source.Seek(m_random.Below(kSmallSize), 1);
            break;
        case 5:
            m_source.CanSeek();
            break;
        case 6:
            EXPECT_EQ(m_source.GetFileSize(), kSmallSize);
            break;
        case 7:
        case 8:
            m_source.EnablePreRead(static_cast<int>(1 + m_random.Below(20'000)), 100);
            break;
        default:
            m_buffer.resize(1 + m_random.Below(3000));
            m_source.Read(m_buffer.data(), static_cast<uint32>(m_buffer.size()));
        }
    }
    // That of a check can be taken once.
    void TakeDigest() {
        if (m_hasCheck) {
            EXPECT_EQ(DigestOf(m_source), m_whole) << "seed " << m_seed;
            m_hasCheck = false;
            ++m_digests;
        }
    }

    Random m_random;
    const uint64 m_seed;
    const Digest& m_whole;
    CFtpSource m_source;
    std::vector<uint8> m_buffer;
    bool m_hasCheck = false;
    int m_digests = 0;
};

} // namespace

TEST(FtpSourceStressTest, DigestsThatAreTakenBesideTheReadAheadAreTheFiles) {
    const uint64 seed = NumberFrom("VXC_FTP_STRESS_SEED", 1);
    const auto end = std::chrono::steady_clock::now() +
                     std::chrono::milliseconds(1000 * NumberFrom("VXC_FTP_STRESS_SECONDS", 2));
    // The clock is moved by whoever waits for a reply that does not come; that must not end others' reads.
    const SettingsScope settings({{L"FtpTimeOut", L"0xFFFFFFFF"}});
    const NoLeakScope leaks(30'000);
    TestClock clock;
    clock.AutoAdvanceSleeps(true);
    const std::string file = FtpScript::Pattern(kSmallSize);
    const Digest whole = DigestOf(std::vector<uint8>(file.begin(), file.end()));
    std::atomic<int> digests{0};
    FtpWire wire(file);
    std::vector<std::thread> users;
    for (int i = 0; i < kThreads; ++i) {
        users.emplace_back([&, i] {
            for (uint64 n = 0; std::chrono::steady_clock::now() < end && !testing::Test::HasFailure(); ++n) {
                DigestLife life(Random::Mix(seed, static_cast<uint64>(i), n), whole);
                life.Run();
                digests += life.Digests();
            }
        });
    }
    for (std::thread& user : users) {
        user.join();
    }
    EXPECT_GT(digests, 3);
    RecordProperty("digests", digests);
}

TEST(FtpSourceStressTest, WhateverTheServerDoesTheBytesAreTheFiles) {
    const uint64 seed = NumberFrom("VXC_FTP_STRESS_SEED", 1);
    const auto end = std::chrono::steady_clock::now() +
                     std::chrono::milliseconds(1000 * NumberFrom("VXC_FTP_STRESS_SECONDS", 2));
    const SettingsScope settings({{L"FtpTimeOut", L"1000"}});
    const NoLeakScope leaks(30'000);
    TestClock clock;
    clock.AutoAdvanceSleeps(true);
    Weather weather(seed);
    const std::string file = FtpScript::Pattern(kSize);
    std::atomic<uint64> lives{0};
    std::atomic<uint64> read{0};
    FtpWire wire(file, [&](uint64) { return weather.Draw(); });
    wire.LoseReplies(97);
    {
        const int threadsBefore = ThreadCount();
        std::vector<std::thread> users;
        for (int i = 0; i < kThreads; ++i) {
            users.emplace_back([&, i] {
                for (uint64 n = 0; std::chrono::steady_clock::now() < end && !testing::Test::HasFailure();
                     ++n) {
                    Life life(Random::Mix(seed, static_cast<uint64>(i), n), file);
                    life.Run();
                    ++lives;
                    read += life.Read();
                }
            });
        }
        // Time passes only while somebody stands before a server that stalls.
        std::thread ticker([&] {
            Random random(seed);
            while (wire.WaitForStall()) {
                if (random.Below(3) == 0) {
                    wire.Release();
                } else {
                    clock.Advance(1 + random.Below(400));
                }
                std::this_thread::yield();
            }
        });
        for (std::thread& user : users) {
            user.join();
        }
        wire.Finish();
        ticker.join();
        // Those that were given up have met the end of their transfers.
        while (ThreadCount() != threadsBefore && std::chrono::steady_clock::now() < end + kHangLimit) {
            std::this_thread::yield();
        }
        EXPECT_EQ(ThreadCount(), threadsBefore);
    }
    EXPECT_GT(lives, 3U);
    EXPECT_GT(read, 0U);
    RecordProperty("lives", static_cast<int>(lives));
    RecordProperty("transfers", wire.Transfers());
    RecordProperty("mebibytes", static_cast<int>(read >> 20));
}
