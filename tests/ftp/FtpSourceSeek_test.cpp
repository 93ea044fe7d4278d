// The three ways in which an FTP source seeks: out of its back buffer, by reading on, by a new transfer.
#include "FtpSourceFixture.h"

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kFarthestReadOn = 4194304;
constexpr int kBackSize = 1048576;

class FtpSourceSeekTest : public FtpSourceFixture {
protected:
    // Opens a file of the pattern, of which so many bytes come.
    void OpenPattern(uint64 bytes) {
        Transfer("100000000").DSendPattern(bytes);
        Connect();
        ASSERT_EQ(Open(), VXC_STATUS_OK);
    }
    static std::string Content(uint64 from, uint64 bytes) { return FtpScript::Pattern(bytes, 0, from); }
    // The steps of a new transfer from a position on, with data from there.
    void TransferFrom(const std::string& position, uint64 bytes) {
        ftp.DExpectClosed().Say("426 aborted");
        Transfer("100000000", position).DSendPattern(bytes, 0, std::stoull(position));
    }
    // Bytes left behind a request in a buffer of so many.
    std::string ReadInto(std::string buffer, uint32 bytes, int expected) {
        EXPECT_EQ(source->Read(reinterpret_cast<uint8*>(buffer.data()), bytes), expected);
        return buffer;
    }
};

} // namespace

// ---- Origins ------------------------------------------------------------------------------------------

TEST_F(FtpSourceSeekTest, OriginsAreTheStartTheEndAndThePosition) {
    Transfer("1000").DSendPattern(1000);
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source->Seek(10, kFromStart), 10);
    EXPECT_EQ(source->Seek(10, kFromCurrent), 20);
    EXPECT_EQ(source->Seek(-970, kFromEnd), 30);
    EXPECT_EQ(source->Seek(40, 0), 40);
    EXPECT_EQ(source->Seek(50, 77), 50);
    EXPECT_EQ(Read(5), Content(50, 5));
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, AMoveOfNothingTellsThePosition) {
    OpenPattern(100);
    EXPECT_EQ(Read(30), Content(0, 30));
    EXPECT_EQ(source->Seek(0, kFromCurrent), 30);
    EXPECT_EQ(source->Seek(30, kFromStart), 30);
    EXPECT_EQ(Read(5), Content(30, 5));
    ftp.Finish();
}

// ---- On by reading --------------------------------------------------------------------------------------

TEST_F(FtpSourceSeekTest, ALittleOnIsReadAndThrownAway) {
    OpenPattern(200);
    EXPECT_EQ(Read(10), Content(0, 10));
    EXPECT_EQ(source->Seek(100, kFromStart), 100);
    EXPECT_EQ(Read(10), Content(100, 10));
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, FourMebibytesOnAreRead) {
    OpenPattern(kFarthestReadOn + 10);
    EXPECT_EQ(source->Seek(kFarthestReadOn, kFromCurrent), kFarthestReadOn);
    EXPECT_EQ(Read(10), Content(kFarthestReadOn, 10));
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish(); // which saw no command
}

TEST_F(FtpSourceSeekTest, AByteFartherIsANewTransfer) {
    Transfer("100000000");
    TransferFrom("4194305", 10);
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source->Seek(kFarthestReadOn + 1, kFromCurrent), kFarthestReadOn + 1);
    EXPECT_EQ(Read(10), Content(kFarthestReadOn + 1, 10));
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, ReadingOnEndsWithTheData) {
    Transfer("1000").DSendPattern(60).DFin();
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source->Seek(100, kFromStart), 60);
    EXPECT_EQ(Read(10), "");
    ftp.Finish();
}

// The distance has 32 bits.
TEST_F(FtpSourceSeekTest, ADistanceOf4GiBAndALittleIsALittle) {
    OpenPattern(100);
    EXPECT_EQ(source->Seek((int64{1} << 32) + 10, kFromCurrent), 10);
    EXPECT_EQ(Read(5), Content(10, 5));
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, ADistanceOf4GiBIsANewTransfer) {
    Transfer("100000000");
    TransferFrom("4294967296", 10);
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source->Seek(int64{1} << 32, kFromCurrent), int64{1} << 32);
    EXPECT_EQ(Read(10), Content(uint64{1} << 32, 10));
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, TheFarthestWayBackIsANewTransfer) {
    Transfer("100000000");
    TransferFrom("2147483648", 10); // half of 4 GiB on is half of it back
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source->Seek(int64{1} << 31, kFromStart), int64{1} << 31);
    EXPECT_EQ(Read(10), Content(uint64{1} << 31, 10));
    ftp.Finish();
}

// ---- Back out of the buffer -----------------------------------------------------------------------------

TEST_F(FtpSourceSeekTest, ALittleBackIsServedAgainWithoutMovingThePosition) {
    OpenPattern(200);
    EXPECT_EQ(Read(100), Content(0, 100));
    EXPECT_EQ(source->Seek(-10, kFromCurrent), 90);
    EXPECT_EQ(source->Seek(0, kFromCurrent), 100);
    EXPECT_EQ(Read(10), Content(90, 10));
    EXPECT_EQ(source->Seek(0, kFromCurrent), 100);
    EXPECT_EQ(Read(10), Content(100, 10));
    EXPECT_EQ(source->Seek(0, kFromCurrent), 110);
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, ARequestGoesOnInTheStreamBehindTheBackBuffer) {
    OpenPattern(200);
    EXPECT_EQ(Read(100), Content(0, 100));
    EXPECT_EQ(source->Seek(60, kFromStart), 60);
    EXPECT_EQ(Read(70), Content(60, 70));
    EXPECT_EQ(source->Seek(0, kFromCurrent), 130);
    // Only what came from the stream counts for the next way back.
    EXPECT_EQ(Inspector::BackValid(*source), 30);
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, AllOfTheLastReadMayBeReadAgain) {
    OpenPattern(200);
    EXPECT_EQ(Read(50), Content(0, 50));
    EXPECT_EQ(Read(50), Content(50, 50));
    EXPECT_EQ(source->Seek(50, kFromStart), 50);
    EXPECT_EQ(Read(50), Content(50, 50));
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, AByteFartherBackThanTheLastReadIsANewTransfer) {
    Transfer("100000000").DSendPattern(200);
    TransferFrom("49", 100);
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(50), Content(0, 50));
    EXPECT_EQ(Read(50), Content(50, 50));
    EXPECT_EQ(source->Seek(49, kFromStart), 49);
    EXPECT_EQ(Read(100), Content(49, 100));
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, OfALargeReadTheLastMebibyteMayBeReadAgain) {
    OpenPattern(kBackSize + 1000);
    EXPECT_EQ(Read(kBackSize + 300), Content(0, kBackSize + 300));
    EXPECT_EQ(Inspector::BackValid(*source), kBackSize);
    EXPECT_EQ(source->Seek(300, kFromStart), 300);
    EXPECT_EQ(Read(kBackSize + 50), Content(300, kBackSize + 50));
    ftp.Finish();
}

// The head of the buffer is what follows the request, and the next request begins at the same place again.
TEST_F(FtpSourceSeekTest, APartOfWhatIsPutUpIsServedWithWhatFollowsIt) {
    OpenPattern(100);
    EXPECT_EQ(Read(100), Content(0, 100));
    EXPECT_EQ(source->Seek(90, kFromStart), 90);
    // Of 10 bytes 7: the 3 behind them stand at the head.
    EXPECT_EQ(Read(7), Content(97, 3) + Content(93, 4));
    EXPECT_EQ(Inspector::BackPending(*source), 3);
    EXPECT_EQ(Read(2), Content(92, 1) + Content(91, 1));
    EXPECT_EQ(Read(1), Content(90, 1));
    EXPECT_EQ(Inspector::BackPending(*source), 0);
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, WhatFollowsNeverGoesBeyondTheRequest) {
    OpenPattern(100);
    EXPECT_EQ(Read(100), Content(0, 100));
    EXPECT_EQ(source->Seek(50, kFromStart), 50);
    EXPECT_EQ(ReadInto(std::string(60, '~'), 7, 7), Content(57, 7) + std::string(53, '~'));
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, AReadOfNothingPutsNothingUp) {
    OpenPattern(100);
    EXPECT_EQ(Read(50), Content(0, 50));
    EXPECT_EQ(Read(0), "");
    EXPECT_EQ(Inspector::BackValid(*source), 0);
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, AReadOfNothingLeavesWhatIsPutUp) {
    OpenPattern(100);
    EXPECT_EQ(Read(50), Content(0, 50));
    EXPECT_EQ(source->Seek(40, kFromStart), 40);
    EXPECT_EQ(Read(0), "");
    EXPECT_EQ(Read(10), Content(40, 10));
    ftp.Finish();
}

// It is the request that counts, not what came of it.
TEST_F(FtpSourceSeekTest, AfterAShortReadTheWayBackIsMeasuredFromTheEndOfTheRequest) {
    Transfer("100000000").DSendPattern(30).DFin();
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(ReadInto(std::string(100, '~'), 100, 30), Content(0, 30) + std::string(70, '~'));
    EXPECT_EQ(source->Seek(-20, kFromCurrent), 10);
    EXPECT_EQ(Read(20), std::string(20, '~'));
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, ASeekToThePositionLeavesWhatIsPutUp) {
    OpenPattern(100);
    EXPECT_EQ(Read(50), Content(0, 50));
    EXPECT_EQ(source->Seek(40, kFromStart), 40);
    EXPECT_EQ(source->Seek(50, kFromStart), 50);
    EXPECT_EQ(Read(10), Content(40, 10));
    ftp.Finish();
}

// The bytes are moved to the head of the buffer, over others that the next seek would want.
TEST_F(FtpSourceSeekTest, ASecondSeekBackFindsTheBufferMoved) {
    OpenPattern(100);
    EXPECT_EQ(Read(10), Content(0, 10));
    EXPECT_EQ(source->Seek(2, kFromStart), 2);
    EXPECT_EQ(source->Seek(2, kFromStart), 2);
    EXPECT_EQ(Read(8), Content(4, 6) + Content(8, 2));
    ftp.Finish();
}

// Reading on goes through the back buffer itself: what is put up is used up first.
TEST_F(FtpSourceSeekTest, ReadingOnTakesFirstWhatIsPutUp) {
    OpenPattern(200);
    EXPECT_EQ(Read(100), Content(0, 100));
    EXPECT_EQ(source->Seek(90, kFromStart), 90);
    EXPECT_EQ(source->Seek(15, kFromCurrent), 105);
    EXPECT_EQ(Read(5), Content(105, 5));
    ftp.Finish();
}

// There the whole buffer is room for what follows, so that it goes on in order.
TEST_F(FtpSourceSeekTest, ReadingOnWithinWhatIsPutUpMovesTheRestToTheHead) {
    OpenPattern(200);
    EXPECT_EQ(Read(100), Content(0, 100));
    EXPECT_EQ(source->Seek(90, kFromStart), 90);
    EXPECT_EQ(source->Seek(3, kFromCurrent), 100);
    EXPECT_EQ(Inspector::BackPending(*source), 7);
    EXPECT_EQ(Read(7), Content(93, 7));
    ftp.Finish();
}

// ---- A new transfer -------------------------------------------------------------------------------------

TEST_F(FtpSourceSeekTest, ANewTransferReadsTheClosingReplyAndNamesThePosition) {
    Transfer("100000000").DSendPattern(100).DExpectClosed().Say("226 done");
    Transfer("200", "5").DSendPattern(20, 0, 5).DFin().DExpectClosed().Say("226 done");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(10), Content(0, 10));
    EXPECT_EQ(Read(70), Content(10, 70));
    EXPECT_EQ(source->Seek(5, kFromStart), 5); // 75 back, of which the last read has 70
    EXPECT_EQ(source->Seek(0, kFromCurrent), 5);
    EXPECT_EQ(source->GetFileSize(), 200U); // as it is now
    EXPECT_EQ(Read(100), Content(5, 20));
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, AFarSeekTellsItsPositionInTheLogWith32Bits) {
    Transfer("100000000");
    TransferFrom("4299967296", 0);
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    LogCapture log;
    EXPECT_EQ(source->Seek(4299967296, kFromCurrent), 4299967296);
    EXPECT_EQ(log.Lines().front(), Trace(L"CFtpSource--SetStartPos Begin qwPos = 5000000\n"));
    ftp.Finish();
}

// What lies in front of the start is asked for as it is.
TEST_F(FtpSourceSeekTest, APositionInFrontOfTheStartIsSentToTheServer) {
    Transfer("100000000").DExpectClosed().Say("426");
    ftp.Passive().Expect("SIZE f").Say("213 100000000").Expect("REST -1").Say("501 no");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source->Seek(-1, kFromStart), 0);
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, ARefusedPositionGivesTheStart) {
    Transfer("100000000").DSendPattern(100).DExpectClosed().Say("426");
    ftp.Passive().Expect("SIZE f").Say("213 100000000").Expect("REST 50000000").Say("500 no");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(10), Content(0, 10));
    EXPECT_EQ(source->Seek(50000000, kFromStart), 0);
    EXPECT_EQ(source->Seek(0, kFromCurrent), 0);
    EXPECT_EQ(Inspector::StreamPosition(*source), 0U);
    EXPECT_EQ(Read(10), "");
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, SilenceAfterThePositionGivesTheStart) {
    Transfer("100000000").DExpectClosed().Say("426");
    ftp.Passive().Expect("SIZE f").Say("213 100000000").Expect("REST 50000000");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source->Seek(50000000, kFromStart), 0);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, APositionThatCannotBeSentGivesTheStart) {
    Transfer("100000000").DExpectClosed().Say("426");
    ftp.Passive().Expect("SIZE f").Say("213 100000000");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    ftp.FailNext(SocketCall::Send, 10054, 3); // behind TYPE I, PASV and SIZE
    EXPECT_EQ(source->Seek(50000000, kFromStart), 0);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, ASeekToTheStartNamesNoPosition) {
    Transfer("100000000").DSendPattern(100).DExpectClosed().Say("426");
    Transfer("100000000").DSendPattern(100);
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(10), Content(0, 10));
    EXPECT_EQ(Read(10), Content(10, 10));
    EXPECT_EQ(source->Seek(0, kFromStart), 0);
    EXPECT_EQ(Read(10), Content(0, 10));
    ftp.Finish();
}

// The buffer keeps what it had of the old place.
TEST_F(FtpSourceSeekTest, RightAfterANewTransferTheWayBackLeadsToTheOldPlace) {
    Transfer("100000000").DSendPattern(100);
    TransferFrom("50000000", 10);
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(10), Content(0, 10));
    EXPECT_EQ(source->Seek(50000000, kFromStart), 50000000);
    EXPECT_EQ(source->Seek(-4, kFromCurrent), 49999996);
    EXPECT_EQ(Read(4), Content(6, 4));
    EXPECT_EQ(Read(4), Content(50000000, 4));
    ftp.Finish();
}

TEST_F(FtpSourceSeekTest, ASeekFromTheEndUsesTheSizeThatIsKnown) {
    Transfer("100000000");
    TransferFrom("99999990", 10);
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source->Seek(-10, kFromEnd), 99999990);
    EXPECT_EQ(Read(10), Content(99999990, 10));
    ftp.Finish();
}

// ---- Requests that are none -----------------------------------------------------------------------------

TEST_F(FtpSourceSeekTest, ARequestOf2GiBOrMoreReadsAndChangesNothing) {
    OpenPattern(100);
    EXPECT_EQ(Read(10), Content(0, 10));
    uint8 byte = 1;
    EXPECT_EQ(source->Read(&byte, 0x80000000u), 0);
    EXPECT_EQ(source->Read(&byte, 0xFFFFFFFFu), 0);
    EXPECT_EQ(source->Read(nullptr, 10), 0);
    EXPECT_EQ(byte, 1);
    EXPECT_EQ(Inspector::BackValid(*source), 10);
    EXPECT_EQ(Read(10), Content(10, 10));
    ftp.Finish();
}
