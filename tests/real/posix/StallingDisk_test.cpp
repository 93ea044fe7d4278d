// Sources and handles over a disk that really stops answering: a file system that stalls on orders. Time-outs
// are real here, and therefore short.
#include "filehandle/ThreadFixture.h"
#include "frame/Status.h"
#include "real/posix/StallFs.h"
#include "sources/TwoCopiesFixture.h"
#include "support/Bounded.h"
#include "support/LeakChecks.h"
#include "support/LogCapture.h"
#include "support/SettingsScope.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kSize = 6'000'001;
constexpr uint32 kBlock = 256u << 10;
constexpr uint32 kShort = 150; // milliseconds

// Fails the test where threads are left behind: each worker ends when its disk answers. The files that hung
// stay open, as nobody may close what a lost worker may still use.
class ThreadsEnd {
public:
    ~ThreadsEnd() {
        const auto patience = std::chrono::steady_clock::now() + kHangLimit;
        while (ThreadCount() > m_before && std::chrono::steady_clock::now() < patience) {
            std::this_thread::yield();
        }
        EXPECT_LE(ThreadCount(), m_before);
    }

private:
    const int m_before = ThreadCount();
};

class StallingDiskTest : public testing::Test {
protected:
    ThreadsEnd m_ThreadsEnd;
    TempFolder m_Folder;
    const std::vector<uint8> m_Content = Pattern(kSize, 5);
    const std::string m_Clip = m_Folder.WritePattern("clip", kSize, 5);
    // A read may take as long as its speed so far allows, but at least that.
    SettingsScope m_Settings{{L"DoubleRdThreshold", L"150"}};
    LogCapture m_Log;
    StallFs m_Mount{m_Folder.Path().string()};

    // Reads to the end in small blocks; what is wrong ends the test.
    void ReadWhole(CSoftDataSource& source, uint32 from = 0) const {
        std::vector<uint8> block(kBlock);
        for (uint32 position = from; position < kSize;) {
            const uint32 want = std::min(kBlock, kSize - position);
            ASSERT_EQ(source.Read(block.data(), want), static_cast<int>(want)) << position;
            ASSERT_TRUE(std::equal(block.begin(), block.begin() + want, m_Content.begin() + position))
                << position;
            position += want;
        }
    }
    void ReadFirst(CSoftDataSource& source, uint32 blocks) const {
        std::vector<uint8> block(kBlock);
        for (uint32 i = 0; i < blocks; ++i) {
            ASSERT_EQ(source.Read(block.data(), kBlock), static_cast<int>(kBlock));
        }
    }
};

} // namespace

TEST_F(StallingDiskTest, AFrozenCopyIsLeftAndReadAgainWhenItAnswers) {
    VXC_NEEDS_STALLFS(m_Mount);
    CFileSource source;
    ASSERT_EQ(source.OpenFile(m_Mount.Wide("clip").c_str(), 0, m_Folder.Wide("clip").c_str(), 0),
              VXC_STATUS_OK);
    ReadFirst(source, 2); // a speed is known now
    ASSERT_EQ(m_Mount.Order("stall read clip 2000000"), "ok");
    ReadWhole(source, 2 * kBlock);
    EXPECT_EQ(m_Log.Count(L"ReadFileWithTwoHandle()--Read File1("), 1u);
    // At least the threshold; more where the machine made the reads so far slow.
    EXPECT_TRUE(m_Log.Contains(L"time out(wait "));
    EXPECT_EQ(m_Mount.Order("standing"), "1"); // it still hangs, and nobody waited for it

    ASSERT_EQ(m_Mount.Order("release"), "ok");
    ASSERT_TRUE(FileSourceTwoInspector::Reading(source)->WaitForIdle(0, 30'000));
    m_Log.Clear();
    source.Seek(0, 1);
    ReadWhole(source);
    EXPECT_TRUE(m_Log.Contains(L"ReadFileWithTwoHandle--Change to File1 Read"));
    EXPECT_FALSE(m_Log.Contains(L"File2"));
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
}

TEST_F(StallingDiskTest, ReadAheadGoesOnFromTheOtherCopy) {
    VXC_NEEDS_STALLFS(m_Mount);
    const HandleTimeOutScope limit(1000);
    CFileSource source;
    ASSERT_EQ(source.OpenFile(m_Mount.Wide("clip").c_str(), 0, m_Folder.Wide("clip").c_str(), 0),
              VXC_STATUS_OK);
    ASSERT_EQ(m_Mount.Order("stall read clip 2000000"), "ok");
    source.EnablePreRead(2 << 20, 0);
    ASSERT_NE(source.IsPreReadMode(), 0u);
    ReadWhole(source);
    EXPECT_TRUE(m_Log.Contains(L"ReadFileWithTwoHandle()--Read File1("));
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    ASSERT_EQ(m_Mount.Order("release"), "ok");
}

TEST_F(StallingDiskTest, AFirstCopyWhoseHandleTimedOutIsOpenedAgain) {
    VXC_NEEDS_STALLFS(m_Mount);
    const HandleTimeOutScope limit(kShort);
    CFileSource source;
    ASSERT_EQ(source.OpenFile(m_Mount.Wide("clip").c_str(), 0, m_Folder.Wide("clip").c_str(), 0),
              VXC_STATUS_OK);
    ReadFirst(source, 1);
    ASSERT_EQ(m_Mount.Order("stall read clip 2000000"), "ok");
    std::vector<uint8> block(kBlock);
    source.Seek(2'000'000, 1);
    // The handle gives up at about the time when the reader does: what counts is that it is opened again.
    static_cast<void>(source.Read(block.data(), kBlock));
    ASSERT_TRUE(m_Log.WaitFor(L"Re CreateFile(" + m_Mount.Wide("clip") + L") OK"));
    ASSERT_EQ(m_Mount.Order("release"), "ok");
    ASSERT_TRUE(FileSourceTwoInspector::Reading(source)->WaitForIdle(0, 30'000));
    m_Log.Clear();
    source.Seek(0, 1);
    ReadWhole(source);
    EXPECT_FALSE(m_Log.Contains(L"time out"));
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
}

TEST_F(StallingDiskTest, ACopyThatHangsInItsOpenIsDoneWithout) {
    VXC_NEEDS_STALLFS(m_Mount);
    const HandleTimeOutScope limit(kShort);
    ASSERT_EQ(m_Mount.Order("stall open clip"), "ok");
    CFileSource source;
    ASSERT_EQ(source.OpenFile(m_Mount.Wide("clip").c_str(), 0, m_Folder.Wide("clip").c_str(), 0),
              VXC_STATUS_OK);
    EXPECT_TRUE(m_Log.Contains(L"two file but only one is OK: File1:" + m_Mount.Wide("clip") + L"(Error)"));
    ReadWhole(source);
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    ASSERT_TRUE(m_Mount.WaitUntilStanding(1));
    ASSERT_EQ(m_Mount.Order("release"), "ok");
    EXPECT_EQ(FreeDroppedHandles(), 1); // kept, as freeing it may wait for the disk
}

TEST_F(StallingDiskTest, ACloseThatHangsComesBackInTime) {
    VXC_NEEDS_STALLFS(m_Mount);
    const TimeOuts limits(kShort, VXC_INFINITE);
    CQLSoftFileHandle handle;
    ASSERT_EQ(OpenThreaded(handle, m_Mount.Wide("clip")), VXC_STATUS_OK);
    ASSERT_EQ(m_Mount.Order("stall close clip"), "ok");
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT);
    ASSERT_TRUE(m_Mount.WaitUntilStanding(1));
    ASSERT_EQ(m_Mount.Order("release"), "ok");
}

TEST_F(StallingDiskTest, AHandleIsClosedDeletedAndOpenedAgainWhileItsWorkerHangs) {
    VXC_NEEDS_STALLFS(m_Mount);
    const TimeOuts limits(kShort, VXC_INFINITE);
    const int threads = ThreadCount();
    ASSERT_EQ(m_Mount.Order("stall read clip 1000000"), "ok");
    std::vector<uint8> buffer(kBlock, 0xA5);
    uint32 got = 7;
    {
        auto handle = std::make_unique<CQLSoftFileHandle>();
        ASSERT_EQ(OpenThreaded(*handle, m_Mount.Wide("clip")), VXC_STATUS_OK);
        ASSERT_EQ(handle->SetFilePointer(900'000, VXC_FILE_BEGIN), 900'000);
        EXPECT_EQ(handle->ReadFile(buffer.data(), kBlock, &got, nullptr), VXC_STATUS_TIME_OUT);
        EXPECT_EQ(got, 0u);
        ASSERT_TRUE(m_Mount.WaitUntilStanding(1));
        // Closed, and opened again in its place.
        handle->CloseFileHandle();
        ASSERT_EQ(OpenThreaded(*handle, m_Mount.Wide("clip")), VXC_STATUS_OK);
        EXPECT_EQ(handle->ReadFile(buffer.data(), 1000, &got, nullptr), VXC_STATUS_OK);
        ASSERT_EQ(got, 1000u);
        EXPECT_TRUE(std::equal(buffer.begin(), buffer.begin() + 1000, m_Content.begin()));
        ASSERT_EQ(handle->SetFilePointer(900'000, VXC_FILE_BEGIN), 900'000);
        EXPECT_EQ(handle->ReadFile(buffer.data(), kBlock, &got, nullptr), VXC_STATUS_TIME_OUT);
        ASSERT_TRUE(m_Mount.WaitUntilStanding(2));
    }
    // Deleted: both workers hang on, and a third handle knows nothing of it.
    CQLSoftFileHandle third;
    ASSERT_EQ(OpenThreaded(third, m_Folder.Wide("clip")), VXC_STATUS_OK);
    EXPECT_EQ(third.ReadFile(buffer.data(), 1000, &got, nullptr), VXC_STATUS_OK);
    EXPECT_EQ(got, 1000u);

    std::fill(buffer.begin(), buffer.end(), uint8{0xA5});
    ASSERT_EQ(m_Mount.Order("release"), "ok");
    third.CloseFileHandle();
    // When the threads are gone, no late byte has reached the caller's memory.
    const auto patience = std::chrono::steady_clock::now() + kHangLimit;
    while (ThreadCount() > threads && std::chrono::steady_clock::now() < patience) {
        std::this_thread::yield();
    }
    EXPECT_LE(ThreadCount(), threads);
    EXPECT_TRUE(std::all_of(buffer.begin(), buffer.end(), [](uint8 byte) { return byte == 0xA5; }));
}

TEST_F(StallingDiskTest, ACopyThatFailsIsOpenedAgainAndDoneWithoutMeanwhile) {
    VXC_NEEDS_STALLFS(m_Mount);
    CFileSource source;
    ASSERT_EQ(source.OpenFile(m_Mount.Wide("clip").c_str(), 0, m_Folder.Wide("clip").c_str(), 0),
              VXC_STATUS_OK);
    ReadFirst(source, 1);
    ASSERT_EQ(m_Mount.Order("fail read clip"), "ok");
    std::vector<uint8> block(kBlock);
    EXPECT_EQ(source.Read(block.data(), kBlock), 0); // an error is told once, and the copy opened again
    EXPECT_TRUE(m_Log.Contains(L"Re CreateFile(" + m_Mount.Wide("clip") + L") OK"));
    // Where that fails as well it stays busy.
    ASSERT_EQ(m_Mount.Order("fail open clip"), "ok");
    ReadWhole(source, kBlock);
    EXPECT_EQ(m_Log.Count(L"ReadFile0ByThread -- Begin VXC_CloseHandle("), 2u);
    EXPECT_EQ(m_Log.Count(L"ReadFile0ByThread -- Begin"), m_Log.Count(L") OK") + 1);
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
}
