// Sinks over a disk that really stops answering. Without a time-out a call waits until the disk answers, and
// then all is well; with one it comes back in time, the failure shows, and what went out before stands in the
// file.
#include "filehandle/ThreadFixture.h"
#include "real/posix/StallFs.h"
#include "sinks/SinkFixture.h"
#include "support/Bounded.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kCreate = 0;
constexpr uint32 kShort = 150; // milliseconds
constexpr uint32 kPiece = 700'001;

class SinkStallsTest : public testing::TestWithParam<WritePath> {
protected:
    SinkStallsTest() : m_threads(ThreadCount()) {}

    uint32 Open(CWriteFileEx1& sink) const {
        return sink.OpenFile(m_mount.Wide("target").c_str(), GetParam().bufferBytes, 0, kCreate,
                             GetParam().flags, 0, 0, 0, 0, nullptr);
    }
    int Write(CWriteFileEx1& sink) const { return sink.Write(m_bytes.data(), kPiece, nullptr); }
    std::vector<uint8> Content() const {
        const std::string text = m_folder.Read("target");
        return {text.begin(), text.end()};
    }
    // Workers that hung end when their disk answers.
    void ExpectNoThreadLeft() const {
        const auto patience = std::chrono::steady_clock::now() + kHangLimit;
        while (ThreadCount() > m_threads && std::chrono::steady_clock::now() < patience) {
            std::this_thread::yield();
        }
        EXPECT_LE(ThreadCount(), m_threads);
    }

    const int m_threads;
    const TempFolder m_folder;
    const std::vector<uint8> m_bytes = Pattern(kPiece, 1);
    StallFs m_mount{m_folder.Path().string(), StallFs::Access::Writable};
};

INSTANTIATE_TEST_SUITE_P(Real, SinkStallsTest, testing::ValuesIn(kWritePaths),
                         [](const auto& param) { return param.param.name; });

} // namespace

TEST_P(SinkStallsTest, WithoutATimeOutAHangIsOnlyLong) {
    VXC_NEEDS_STALLFS(m_mount);
    CWriteFileEx1 sink;
    ASSERT_EQ(Open(sink), VXC_STATUS_OK);
    ASSERT_EQ(m_mount.Order("stall write target"), "ok");
    std::thread caller([&] {
        EXPECT_EQ(Write(sink), static_cast<int>(kPiece));
        EXPECT_EQ(sink.Seek(0, 1), 0); // brings out what is still inside
        EXPECT_TRUE(WriteFileInspector::IsGood(sink));
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    });
    EXPECT_TRUE(m_mount.WaitUntilStanding(1));
    EXPECT_EQ(m_mount.Order("release"), "ok");
    caller.join();
    EXPECT_TRUE(Content() == m_bytes);
}

TEST_P(SinkStallsTest, AWriteThatHangsIsToldInTimeAndWhatWasFlushedStands) {
    VXC_NEEDS_STALLFS(m_mount);
    const TimeOuts limits(kShort, kShort);
    {
        CWriteFileEx1 sink;
        ASSERT_EQ(Open(sink), VXC_STATUS_OK);
        ASSERT_EQ(Write(sink), static_cast<int>(kPiece));
        sink.Seek(0, 1);
        sink.Seek(0, 2);
        ASSERT_TRUE(WriteFileInspector::IsGood(sink));
        ASSERT_EQ(m_mount.Order("stall write target"), "ok");
        int tries = 0;
        while (tries < 20 && Write(sink) != 0) {
            ++tries;
        }
        EXPECT_LT(tries, 20);
        EXPECT_FALSE(WriteFileInspector::IsGood(sink));
        EXPECT_TRUE(m_mount.WaitUntilStanding(1));
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    }
    const std::vector<uint8> content = Content();
    ASSERT_GE(content.size(), m_bytes.size());
    EXPECT_TRUE(std::equal(m_bytes.begin(), m_bytes.end(), content.begin()));
    EXPECT_EQ(m_mount.Order("release"), "ok");
    ExpectNoThreadLeft();
}

TEST_P(SinkStallsTest, AnOpenThatHangsIsToldInTime) {
    VXC_NEEDS_STALLFS(m_mount);
    const TimeOuts limits(VXC_INFINITE, kShort);
    ASSERT_EQ(m_mount.Order("stall open target"), "ok");
    {
        CWriteFileEx1 sink;
        EXPECT_EQ(Open(sink), VXC_STATUS_TIME_OUT);
        EXPECT_EQ(Write(sink), 0);
        EXPECT_TRUE(m_mount.WaitUntilStanding(1));
    }
    EXPECT_EQ(m_mount.Order("release"), "ok");
    ExpectNoThreadLeft();
}

TEST_P(SinkStallsTest, ACutThatHangsEndsTheCloseInTime) {
    VXC_NEEDS_STALLFS(m_mount);
    const TimeOuts limits(kShort, kShort);
    {
        CWriteFileEx1 sink;
        ASSERT_EQ(Open(sink), VXC_STATUS_OK);
        ASSERT_EQ(Write(sink), static_cast<int>(kPiece));
        ASSERT_EQ(m_mount.Order("stall truncate target"), "ok");
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
        const bool isCut = (GetParam().flags & VXC_FILE_FLAG_NO_BUFFERING) != 0;
        EXPECT_EQ(m_mount.WaitUntilStanding(isCut ? 1 : 0), true);
    }
    EXPECT_EQ(m_mount.Order("release"), "ok");
    ExpectNoThreadLeft();
    EXPECT_TRUE(Content() == m_bytes);
}
