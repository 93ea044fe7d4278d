// An FTP source that reads ahead.
#include "FtpSourceFixture.h"

#include "support/FaultPlan.h"

#include <thread>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kBlock = 65536;
constexpr int kLeast = 32768;
constexpr uint64 kSize = 1048576;

class FtpSourcePreReadTest : public FtpSourceFixture {
protected:
    static std::string Content(uint64 from, uint64 bytes) { return FtpScript::Pattern(bytes, 0, from); }
    void OpenAhead(uint64 bytes = kSize) {
        Transfer(std::to_string(bytes)).DSendPattern(bytes).DFin();
        Connect();
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        source->EnablePreRead(kBlock, kLeast);
        ASSERT_EQ(source->IsPreReadMode(), 1U);
    }
};

} // namespace

TEST_F(FtpSourcePreReadTest, ReadsOfAllSizesGiveTheFileInOrder) {
    OpenAhead();
    std::string all;
    for (const int bytes : {1, 1000, 32768, 40000}) {
        all += Read(bytes);
        EXPECT_EQ(source->Seek(0, kFromCurrent), std::ssize(all));
    }
    for (;;) {
        const std::string more = Read(40000);
        if (more.empty()) {
            break;
        }
        all += more;
    }
    EXPECT_EQ(all, Content(0, kSize));
    EXPECT_EQ(Read(1), "");
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourcePreReadTest, ARequestLargerThanTheBlocksIsShort) {
    OpenAhead();
    EXPECT_EQ(Read(10), Content(0, 10));
    EXPECT_EQ(Read(300000), Content(10, 2 * kBlock - 10));
    // The whole request counts for the way back.
    EXPECT_EQ(Inspector::BackValid(*source), 300000);
    EXPECT_EQ(Read(10), Content(2 * kBlock, 10));
    ftp.Finish();
}

TEST_F(FtpSourcePreReadTest, ReadPtrGivesOutTheBytesAtThePosition) {
    OpenAhead();
    EXPECT_EQ(Read(1000), Content(0, 1000));
    uint8* data = nullptr;
    EXPECT_EQ(source->ReadPtr(&data, 5000), 5000);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(data), 5000), Content(1000, 5000));
    EXPECT_EQ(source->Seek(0, kFromCurrent), 6000);
    ftp.Finish();
}

TEST_F(FtpSourcePreReadTest, ReadAtMovesThePositionByWhatItGives) {
    OpenAhead();
    EXPECT_EQ(ReadAt(100, 50), Content(100, 50));
    EXPECT_EQ(source->Seek(0, kFromCurrent), 50);
    EXPECT_EQ(ReadAt(kBlock - 10, 20), Content(kBlock - 10, 20));
    EXPECT_EQ(source->Seek(0, kFromCurrent), 70);
    // The blocks have left that place, and the stream does not go back by itself.
    EXPECT_EQ(Read(10), Content(3 * kBlock, 10));
    ftp.Finish();
}

TEST_F(FtpSourcePreReadTest, WithoutReadAheadThereIsNoReadAt) {
    Transfer("100").DSendPattern(100);
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    uint8 byte = 0;
    uint8* data = &byte;
    EXPECT_EQ(source->IsPreReadMode(), 0U);
    EXPECT_EQ(source->ReadAt(0, &data, 10), 0);
    EXPECT_EQ(source->ReadPtr(&data, 10), 0);
    EXPECT_EQ(data, &byte);
    EXPECT_EQ(Read(10), Content(0, 10));
    ftp.Finish();
}

TEST_F(FtpSourcePreReadTest, RequestsThatAreNoneGiveNothing) {
    OpenAhead();
    uint8 byte = 0;
    uint8* data = &byte;
    EXPECT_EQ(source->ReadAt(0, &data, -1), 0);
    EXPECT_EQ(source->ReadAt(0, nullptr, 10), 0);
    EXPECT_EQ(data, &byte);
    ftp.Finish();
}

TEST_F(FtpSourcePreReadTest, BehindTheEndThereIsNothing) {
    OpenAhead(100000);
    EXPECT_EQ(Read(100), Content(0, 100));
    EXPECT_EQ(ReadAt(90000, 100), Content(90000, 100));
    EXPECT_EQ(ReadAt(100000, 100), "");
    EXPECT_EQ(ReadAt(kBlock + 99999, 1), "");
    ftp.Finish();
}

// ---- On and off ---------------------------------------------------------------------------------------

TEST_F(FtpSourcePreReadTest, SwitchedOffTheSourceGoesOnWhereTheStreamStands) {
    OpenAhead();
    EXPECT_EQ(Read(10), Content(0, 10));
    source->DisablePreRead();
    EXPECT_EQ(source->IsPreReadMode(), 0U);
    EXPECT_EQ(Inspector::StreamPosition(*source), 2U * kBlock);
    EXPECT_EQ(Read(10), Content(2 * kBlock, 10));
    source->DisablePreRead();
    ftp.Finish();
}

TEST_F(FtpSourcePreReadTest, SwitchedOnAgainWithTheSameSizesNothingChanges) {
    OpenAhead();
    EXPECT_EQ(Read(10), Content(0, 10));
    FaultPlan plan;
    LogCapture log;
    source->EnablePreRead(kBlock, kLeast);
    EXPECT_EQ(plan.Calls(), 0);
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_EQ(Read(10), Content(10, 10));
    ftp.Finish();
}

TEST_F(FtpSourcePreReadTest, SwitchedOnWithOtherSizesItBeginsWhereTheStreamStands) {
    OpenAhead();
    EXPECT_EQ(Read(10), Content(0, 10));
    source->EnablePreRead(kBlock, kLeast + 1);
    EXPECT_EQ(ReadAt(2 * kBlock, 10), Content(2 * kBlock, 10));
    source->EnablePreRead(kBlock / 2, kLeast + 1);
    EXPECT_EQ(ReadAt(4 * kBlock, 10), Content(4 * kBlock, 10));
    ftp.Finish();
}

TEST_F(FtpSourcePreReadTest, SwitchingOnIsLogged) {
    Transfer("100").DSendPattern(300000);
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    LogCapture log;
    source->EnablePreRead(kBlock, kLeast);
    EXPECT_THAT(log.Lines(), ::testing::Contains(Trace(L"m_bIsPreReadMode be set to TRUE")));
    ftp.Finish();
}

TEST_F(FtpSourcePreReadTest, ItHasOneThreadAndThreeEvents) {
    Transfer("1000000").DSendPattern(1000000);
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    FaultPlan plan;
    source->EnablePreRead(kBlock, kLeast);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateEventW), 3);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 1);
    EXPECT_EQ(plan.Calls(Op::VXC_ResumeThread), 1);
    source->DisablePreRead();
    EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), 4);
    ftp.Finish();
}

TEST_F(FtpSourcePreReadTest, WhereItCannotBeginItStaysOff) {
    Transfer("1000000").DSendPattern(1000000);
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    {
        LogCapture log;
        FaultPlan plan;
        plan.Add(Fail(Op::VXC_CreateThread));
        source->EnablePreRead(kBlock, kLeast);
        EXPECT_TRUE(log.Lines().empty());
    }
    EXPECT_EQ(source->IsPreReadMode(), 0U);
    EXPECT_EQ(Read(10), Content(0, 10));
    ftp.Finish();
}

TEST_F(FtpSourcePreReadTest, SwitchedOnBeforeTheOpenItFindsNothing) {
    Transfer("1000").DSendPattern(1000);
    Connect();
    source->EnablePreRead(kBlock, kLeast);
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(10), "");
    EXPECT_EQ(Read(10), "");
    source->DisablePreRead();
    EXPECT_EQ(Read(10), Content(0, 10));
    ftp.Finish();
}

TEST_F(FtpSourcePreReadTest, AClosedSourceDoesNotReadAhead) {
    Transfer("1000").DSendPattern(1000).DExpectClosed().Say("226");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    const int threads = ThreadCount() - 1;
    source->EnablePreRead(400, 100);
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(source->IsPreReadMode(), 0U);
    EXPECT_EQ(ThreadCount(), threads);
    ftp.Finish();
}

TEST_F(FtpSourcePreReadTest, ADeletedSourceEndsItsThreads) {
    OpenAhead();
    EXPECT_EQ(Read(10), Content(0, 10));
    const int threads = ThreadCount() - 2;
    source.reset();
    EXPECT_EQ(ThreadCount(), threads);
    ftp.End();
}

// ---- Seeking ------------------------------------------------------------------------------------------

TEST_F(FtpSourcePreReadTest, ALittleOnGoesThroughTheBlocks) {
    OpenAhead();
    EXPECT_EQ(source->Seek(300000, kFromStart), 300000);
    EXPECT_EQ(Read(1000), Content(300000, 1000));
    ftp.Finish();
}

TEST_F(FtpSourcePreReadTest, ALittleBackComesOutOfTheBackBuffer) {
    OpenAhead();
    EXPECT_EQ(Read(1000), Content(0, 1000));
    EXPECT_EQ(source->Seek(-100, kFromCurrent), 900);
    EXPECT_EQ(Read(300), Content(900, 300));
    EXPECT_EQ(source->Seek(0, kFromCurrent), 1200);
    ftp.Finish();
}

TEST_F(FtpSourcePreReadTest, TheSessionMayBeClosedUnderIt) {
    Transfer("1000000").DSendPattern(1000000).Expect("QUIT").Say("221");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    source->EnablePreRead(kBlock, kLeast);
    EXPECT_EQ(source->Close(), 1);
    EXPECT_EQ(Read(1000), Content(0, 1000));
    EXPECT_EQ(Read(kBlock), Content(1000, kBlock));
    EXPECT_EQ(Read(kBlock), Content(1000 + kBlock, kBlock - 1000));
    EXPECT_EQ(Read(kBlock), "");
    ftp.Finish();
}

// ---- A server that says nothing -----------------------------------------------------------------------

TEST_F(FtpSourcePreReadTest, AStallEndsTheDataBehindWhatHadCome) {
    Transfer("1000000").DSendPattern(kBlock + 1000).DHold();
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    LogCapture log;
    source->EnablePreRead(kBlock, kLeast);
    std::string first;
    std::thread reader([&] { first = Read(1000); });
    EXPECT_TRUE(ftp.WaitUntilReceiverWaits());
    EXPECT_TRUE(ftp.Clock().WaitForSleepers(1));
    EXPECT_EQ(ftp.Clock().Advance(60000), 1);
    reader.join();
    EXPECT_EQ(first, Content(0, 1000));
    EXPECT_TRUE(log.Contains(L"Can't get data from ftp sever(wait 60000 ms), Time Out!!!"));
    EXPECT_TRUE(log.Contains(L"FtpReadThread : seq2 size = 0, qwPos = 65536"));
    // The second block had come in part, and that is lost.
    EXPECT_EQ(Read(kBlock), Content(1000, kBlock - 1000));
    EXPECT_EQ(Read(kBlock), "");
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 60000);
    ftp.Finish();
}
