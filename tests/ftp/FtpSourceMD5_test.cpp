// The digest that rides on the reads of an FTP source.
#include "FtpSourceFixture.h"

#include "frame/MD5Check.h"
#include "support/Digests.h"
#include "support/MemoryLack.h"

#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

constexpr int kFar = 5000000;
constexpr uint64 kSize = 5001000;

class FtpSourceMD5Test : public FtpSourceFixture {
protected:
    static std::string Content(uint64 from, uint64 bytes) { return FtpScript::Pattern(bytes, 0, from); }
    static Digest Whole(uint64 bytes) {
        const std::string content = Content(0, bytes);
        return DigestOf(std::vector<uint8>(content.begin(), content.end()));
    }
    void OpenAndBegin() {
        Connect();
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        source->EnableMD5_Check(0);
        source->BeginMD5_Check(0);
    }
    uint64 Fed() { return Inner().MD5State()->Position(); }
    // The way back to where the digest stands, over two data channels: the first for nothing.
    FtpScript& CatchUp(const std::string& position, const std::string& size) {
        ftp.DExpectClosed().Say("426 aborted").Passive().Quiet(14900);
        return Transfer(size, position);
    }
};

} // namespace

TEST_F(FtpSourceMD5Test, WithoutAStateTheReferencesAreLeftAlone) {
    Transfer("100").DSendPattern(100);
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    uint8 byte = 0;
    uint8* digest = &byte;
    int length = 5;
    EXPECT_EQ(source->GetMD5_check(1, digest, length), 0);
    EXPECT_EQ(digest, &byte);
    EXPECT_EQ(length, 5);
    ftp.Finish();
}

TEST_F(FtpSourceMD5Test, WithoutMemoryForItTheReferencesAreLeftAlone) {
    Transfer("100").DSendPattern(100);
    OpenAndBegin();
    uint8* digest = nullptr;
    int length = 5;
    {
        const MemoryLack lack(1);
        EXPECT_EQ(source->GetMD5_check(1, digest, length), 0);
        EXPECT_TRUE(lack.Came());
    }
    EXPECT_EQ(digest, nullptr);
    EXPECT_EQ(length, 5);
    EXPECT_EQ(DigestOf(*source), Whole(100));
    ftp.Finish();
}

TEST_F(FtpSourceMD5Test, AFileReadInOrderHasItsDigestWithoutAnotherRead) {
    Transfer("1000").DSendPattern(1000).DFin();
    OpenAndBegin();
    while (!Read(77).empty()) {
    }
    EXPECT_EQ(Fed(), 1000U);
    source->StopMD5_Check(0);
    EXPECT_EQ(DigestOf(*source), Whole(1000));
    ftp.Finish();
}

TEST_F(FtpSourceMD5Test, TheRestIsReadForTheDigest) {
    Transfer("3000000").DSendPattern(3000000).DFin();
    OpenAndBegin();
    EXPECT_EQ(Read(10), Content(0, 10));
    EXPECT_EQ(DigestOf(*source), Whole(3000000));
    EXPECT_EQ(Fed(), 3000000U);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceMD5Test, TheRestIsFedToADigestThatWasStoppedToo) {
    Transfer("3000000").DSendPattern(3000000).DFin();
    OpenAndBegin();
    EXPECT_EQ(Read(10), Content(0, 10));
    source->StopMD5_Check(0);
    EXPECT_EQ(DigestOf(*source), Whole(3000000));
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceMD5Test, WhatIsReadAgainIsNotFedAgain) {
    Transfer("1000").DSendPattern(1000).DFin();
    OpenAndBegin();
    EXPECT_EQ(Read(100), Content(0, 100));
    EXPECT_EQ(source->Seek(50, kFromStart), 50);
    EXPECT_EQ(Read(100), Content(50, 100));
    EXPECT_EQ(Fed(), 150U);
    EXPECT_EQ(DigestOf(*source), Whole(1000));
    ftp.Finish();
}

TEST_F(FtpSourceMD5Test, ATransferThatBeginsAgainFeedsOnlyWhatIsNew) {
    Transfer("1000").DSendPattern(1000).DExpectClosed().Say("226");
    Transfer("1000").DSendPattern(1000).DFin();
    OpenAndBegin();
    EXPECT_EQ(Read(100), Content(0, 100));
    EXPECT_EQ(Read(100), Content(100, 100));
    EXPECT_EQ(source->Seek(0, kFromStart), 0);
    EXPECT_EQ(Read(150), Content(0, 150));
    EXPECT_EQ(Fed(), 200U);
    EXPECT_EQ(Read(100), Content(150, 100));
    EXPECT_EQ(Fed(), 250U);
    EXPECT_EQ(DigestOf(*source), Whole(1000));
    ftp.Finish();
}

// ---- Catching up --------------------------------------------------------------------------------------

TEST_F(FtpSourceMD5Test, AfterAFarSeekTheReadCatchesUpFirst) {
    Transfer(std::to_string(kSize)).DSendPattern(100);
    ftp.DExpectClosed().Say("426");
    Transfer(std::to_string(kSize), "5000000");
    CatchUp("10", std::to_string(kSize)).DSendPattern(kSize - 10, 0, 10).DFin();
    OpenAndBegin();
    EXPECT_EQ(Read(10), Content(0, 10));
    EXPECT_EQ(source->Seek(kFar, kFromStart), kFar);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(Read(1000), Content(kFar, 1000));
    EXPECT_EQ(ftp.Spent(), 15000);
    EXPECT_EQ(Fed(), kSize);
    source->StopMD5_Check(0);
    EXPECT_EQ(DigestOf(*source), Whole(kSize));
    ftp.Finish();
    EXPECT_THAT(Lines(),
                ElementsAre("TYPE I", "PASV", "SIZE f", "RETR f", "TYPE I", "PASV", "SIZE f", "REST 5000000",
                            "RETR f", "TYPE I", "PASV", "TYPE I", "PASV", "SIZE f", "REST 10", "RETR f"));
}

TEST_F(FtpSourceMD5Test, AServerThatEndsEarlyEndsTheCatchUp) {
    Transfer(std::to_string(kSize)).DSendPattern(100);
    ftp.DExpectClosed().Say("426");
    Transfer(std::to_string(kSize), "5000000");
    CatchUp("10", std::to_string(kSize)).DSendPattern(2000000, 0, 10).DFin();
    OpenAndBegin();
    EXPECT_EQ(Read(10), Content(0, 10));
    EXPECT_EQ(source->Seek(kFar, kFromStart), kFar);
    EXPECT_EQ(Read(1000), "");
    EXPECT_EQ(Fed(), 2000010U);
    EXPECT_EQ(Inspector::StreamPosition(*source), 2000010U);
    EXPECT_EQ(Inner().m_DataChannel->m_nErr, 0); // it is an end and no fault
    EXPECT_EQ(Read(1000), "");
    ftp.Finish();
}

TEST_F(FtpSourceMD5Test, ACatchUpThatIsRefusedGivesNothing) {
    Transfer(std::to_string(kSize)).DSendPattern(100);
    ftp.DExpectClosed().Say("426");
    Transfer(std::to_string(kSize), "5000000").DExpectClosed().Say("426").Passive().Quiet(14900).Passive();
    ftp.Expect("SIZE f").Say("213 1").Expect("REST 10").Say("500");
    OpenAndBegin();
    EXPECT_EQ(Read(10), Content(0, 10));
    EXPECT_EQ(source->Seek(kFar, kFromStart), kFar);
    EXPECT_EQ(Read(1000), "");
    EXPECT_EQ(Inspector::StreamPosition(*source), uint64{kFar});
    EXPECT_NE(Inner().m_DataChannel, nullptr);
    ftp.Finish();
}

TEST_F(FtpSourceMD5Test, ACatchUpWithoutAChannelGivesNothing) {
    Transfer(std::to_string(kSize)).DSendPattern(100);
    ftp.DExpectClosed().Say("426");
    Transfer(std::to_string(kSize), "5000000").DExpectClosed().Say("426").Expect("TYPE I").Say("500");
    ftp.Expect("TYPE I").Say("500").Expect("REIN").Say("500").Expect("TYPE I").Say("500");
    OpenAndBegin();
    EXPECT_EQ(Read(10), Content(0, 10));
    EXPECT_EQ(source->Seek(kFar, kFromStart), kFar);
    LogCapture log;
    EXPECT_EQ(Read(1000), "");
    EXPECT_FALSE(log.Contains(L"create ftp datachannel failed")); // which SetStartPos would say
    ftp.Finish();
}

TEST_F(FtpSourceMD5Test, AStallInTheCatchUpEndsTheTransfer) {
    Transfer(std::to_string(kSize)).DSendPattern(100);
    ftp.DExpectClosed().Say("426");
    Transfer(std::to_string(kSize), "5000000");
    CatchUp("10", std::to_string(kSize)).DSendPattern(1000000, 0, 10).DHold();
    OpenAndBegin();
    EXPECT_EQ(Read(10), Content(0, 10));
    EXPECT_EQ(source->Seek(kFar, kFromStart), kFar);
    LogCapture log;
    std::string got = "none";
    std::thread reader([&] { got = Read(1000); });
    EXPECT_TRUE(ftp.WaitUntilReceiverWaits());
    EXPECT_TRUE(ftp.Clock().WaitForSleepers(1));
    EXPECT_EQ(ftp.Clock().Advance(60000), 1);
    reader.join();
    EXPECT_EQ(got, "");
    EXPECT_TRUE(log.Contains(L"Can't get data from ftp sever(wait 60000 ms), Time Out!!!"));
    EXPECT_EQ(Inner().m_DataChannel, nullptr);
    EXPECT_EQ(Read(1000), "");
    EXPECT_EQ(ftp.Spent(), 75000);
    ftp.Finish();
}

TEST_F(FtpSourceMD5Test, AResetInTheCatchUpIsLoggedWithItsOwnText) {
    Transfer(std::to_string(kSize)).DSendPattern(100);
    ftp.DExpectClosed().Say("426");
    Transfer(std::to_string(kSize), "5000000");
    CatchUp("10", std::to_string(kSize)).DRst();
    OpenAndBegin();
    EXPECT_EQ(Read(10), Content(0, 10));
    EXPECT_EQ(source->Seek(kFar, kFromStart), kFar);
    LogCapture log;
    EXPECT_EQ(Read(1000), "");
    EXPECT_EQ(log.Lines().back(), Trace(L"Can't get data from ftp sever, Socket Error 10054 !!!"));
    ftp.Finish();
}

TEST_F(FtpSourceMD5Test, ADigestThatIsStoppedDoesNotCatchUp) {
    Transfer(std::to_string(kSize)).DSendPattern(100).DExpectClosed().Say("426");
    Transfer(std::to_string(kSize), "5000000").DSendPattern(1000, 0, kFar);
    OpenAndBegin();
    EXPECT_EQ(Read(10), Content(0, 10));
    source->StopMD5_Check(0);
    EXPECT_EQ(source->Seek(kFar, kFromStart), kFar);
    EXPECT_EQ(Read(1000), Content(kFar, 1000));
    EXPECT_EQ(Fed(), 10U);
    ftp.Finish();
}

// ---- The digest at the end ----------------------------------------------------------------------------

TEST_F(FtpSourceMD5Test, TheDigestSeeksBackToWhereItStands) {
    Transfer(std::to_string(kSize)).DSendPattern(100).DExpectClosed().Say("426");
    Transfer(std::to_string(kSize), "5000000").DSendPattern(1000, 0, kFar).DFin().DExpectClosed().Say("226");
    Transfer(std::to_string(kSize), "10").DSendPattern(kSize - 10, 0, 10).DFin();
    OpenAndBegin();
    EXPECT_EQ(Read(10), Content(0, 10));
    source->StopMD5_Check(0);
    EXPECT_EQ(source->Seek(kFar, kFromStart), kFar);
    EXPECT_EQ(Read(1000), Content(kFar, 1000));
    EXPECT_EQ(DigestOf(*source), Whole(kSize));
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

// A way back that the buffer serves does not move the stream.
TEST_F(FtpSourceMD5Test, TheDigestBeginsATransferWhereTheSeekLeftTheStreamElsewhere) {
    Transfer("1000").DSendPattern(1000).DFin().DExpectClosed().Say("226");
    Transfer("1000", "100").DSendPattern(900, 0, 100).DFin();
    OpenAndBegin();
    EXPECT_EQ(Read(100), Content(0, 100));
    source->StopMD5_Check(0);
    EXPECT_EQ(Read(50), Content(100, 50));
    EXPECT_EQ(DigestOf(*source), Whole(1000));
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceMD5Test, AServerThatRefusesTheWayBackIsAskedOnce) {
    Transfer(std::to_string(kSize)).DSendPattern(100).DExpectClosed().Say("426");
    Transfer(std::to_string(kSize), "5000000").DSendPattern(1000, 0, kFar).DExpectClosed().Say("426");
    ftp.Passive().Expect("SIZE f").Say("213 5001000").Expect("REST 10").Say("500 no").Quiet();
    OpenAndBegin();
    EXPECT_EQ(Read(10), Content(0, 10));
    source->StopMD5_Check(0);
    EXPECT_EQ(source->Seek(kFar, kFromStart), kFar);
    EXPECT_EQ(Read(1000), Content(kFar, 1000));
    EXPECT_EQ(DigestOf(*source), Whole(10));
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

// Each read for the digest would ask again for the way back if the stream still counted as ahead of it.
TEST_F(FtpSourceMD5Test, ARefusalIsTheEndForADigestThatRunsAgainToo) {
    Transfer("1000").DSendPattern(100).DExpectClosed().Say("426");
    ftp.Passive().Expect("SIZE f").Say("213 1000").Expect("REST 10").Say("500 no").Quiet();
    OpenAndBegin();
    EXPECT_EQ(Read(10), Content(0, 10));
    source->StopMD5_Check(0);
    EXPECT_EQ(Read(90), Content(10, 90));
    source->BeginMD5_Check(0);
    EXPECT_EQ(DigestOf(*source), Whole(10));
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceMD5Test, ADeadSourceGivesADigestOfWhatHadCome) {
    Transfer("1000").DSendPattern(100).UntilTold().DRst();
    OpenAndBegin();
    EXPECT_EQ(Read(100), Content(0, 100));
    ftp.GoOn();
    EXPECT_EQ(Read(1), "");
    EXPECT_EQ(DigestOf(*source), Whole(100));
    EXPECT_EQ(Fed(), 1000U);
    ftp.Finish();
}

TEST_F(FtpSourceMD5Test, ASizeThatIsALieCostsNoTime) {
    Transfer("9000000000000000000").DSendPattern(100).DFin();
    OpenAndBegin();
    EXPECT_EQ(DigestOf(*source), Whole(100));
    EXPECT_EQ(Fed(), 9000000000000000000U);
    ftp.Finish();
}

// ---- With read-ahead ----------------------------------------------------------------------------------

TEST_F(FtpSourceMD5Test, ReadingAheadFeedsTheDigest) {
    Transfer("1000000").DSendPattern(1000000).DFin();
    OpenAndBegin();
    source->EnablePreRead(65536, 32768);
    std::string all;
    for (std::string more = Read(10000); !more.empty(); more = Read(10000)) {
        all += more;
    }
    EXPECT_EQ(all, Content(0, 1000000));
    source->StopMD5_Check(0);
    EXPECT_EQ(DigestOf(*source), Whole(1000000));
    ftp.Finish();
}

TEST_F(FtpSourceMD5Test, TheDigestOfAFileThatIsReadAheadInPart) {
    Transfer("1000000").DSendPattern(1000000).DFin();
    OpenAndBegin();
    source->EnablePreRead(65536, 32768);
    EXPECT_EQ(Read(100), Content(0, 100));
    EXPECT_EQ(DigestOf(*source), Whole(1000000));
    ftp.Finish();
}

TEST_F(FtpSourceMD5Test, TheThreadThatReadsAheadCatchesUpItself) {
    Transfer(std::to_string(kSize)).DSendPattern(100).DExpectClosed().Say("426");
    Transfer(std::to_string(kSize), "5000000");
    CatchUp("10", std::to_string(kSize)).DSendPattern(kSize - 10, 0, 10).DFin();
    OpenAndBegin();
    EXPECT_EQ(Read(10), Content(0, 10));
    EXPECT_EQ(source->Seek(kFar, kFromStart), kFar);
    source->EnablePreRead(300, 100);
    EXPECT_EQ(source->GetFileSize(), kSize); // while the thread learns it anew
    EXPECT_EQ(Read(300), Content(kFar, 300));
    EXPECT_EQ(Read(300), Content(kFar + 300, 300));
    EXPECT_EQ(ftp.Spent(), 15000);
    EXPECT_EQ(DigestOf(*source), Whole(kSize));
    ftp.Finish();
}

// It reads out of blocks that were filled before, and what the stream delivers is fed once.
TEST_F(FtpSourceMD5Test, AReaderThatJumpsAheadCatchesUpInItsOwnRead) {
    Transfer(std::to_string(kSize)).DSendPattern(4000).DExpectClosed().Say("426");
    Transfer(std::to_string(kSize), "5000000");
    CatchUp("2000", std::to_string(kSize)).DSendPattern(kSize - 2000, 0, 2000).DFin();
    OpenAndBegin();
    source->EnablePreRead(1000, 100);
    EXPECT_EQ(Read(10), Content(0, 10));
    EXPECT_EQ(source->Seek(kFar, kFromStart), kFar);
    EXPECT_EQ(Read(500), Content(kFar, 500));
    EXPECT_EQ(Read(500), Content(kFar + 500, 500));
    source->StopMD5_Check(0);
    EXPECT_EQ(DigestOf(*source), Whole(kSize));
    ftp.Finish();
}
