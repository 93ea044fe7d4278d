// A file of a server is opened for writing: the look for its size, the transfer's set-up, and each way in
// which the server may refuse.
#include "ftp/BrowseFixture.h"
#include "ftp/WriteToFtp.h"

#include <stdexcept>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

class WriteToFtpOpenTest : public SessionTest<CWriteToFtpEx1> {
protected:
    WriteToFtpOpenTest() { ftp.Logon("u", "p"); }

    uint32 Open(uint32 openMode = 0, const wchar_t* name = L"/clip") {
        return io.OpenFile(name, 1, 2, openMode, 3, 4, 5, 6, 7, nullptr);
    }
    int Write(const std::string& bytes) {
        return io.Write(reinterpret_cast<const uint8*>(bytes.data()), static_cast<uint32>(bytes.size()),
                        nullptr);
    }
    // Writes and closes, as the script below wants it.
    void PutAll() {
        EXPECT_EQ(Write("some bytes"), 10);
        EXPECT_EQ(io.CloseFile(), 0U);
        EXPECT_EQ(ftp.Received(), "some bytes");
    }
    // The script of an active transfer from its set-up to its end.
    FtpScript& Put(const std::string& command) {
        return ftp.Active().Expect(command).Say("150 go").Dial().DReceive().Say("226 done");
    }
    // The look for the size ends at once.
    FtpScript& Missing() { return ftp.Expect("RETR /clip").Say("550 no such file"); }
    // The look finds this reply, and the server has nothing more to say.
    FtpScript& Probe(const std::string& reply) {
        return ftp.Expect("RETR /clip").Say(reply).Expect("ABOR").Say("226 aborted");
    }
    // The size that an open finds in the reply to the look.
    uint64 SizeIn(const std::string& reply) {
        Probe(reply);
        Put("STOR /clip");
        inner->m_qwFileSize = 77;
        EXPECT_EQ(Open(), 0U);
        const uint64 size = inner->m_qwFileSize;
        PutAll();
        return size;
    }
};

} // namespace

// ---- How it goes ----

TEST_F(WriteToFtpOpenTest, AFileThatIsMissingIsWritten) {
    Missing();
    Put("STOR /clip");
    Connect(FTPMODE_NORMAL, 0);
    EXPECT_EQ(Open(), 0U);
    EXPECT_EQ(inner->m_qwFileSize, 0U);
    PutAll();
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(inner->m_qwFileSize, 10U);
    const std::vector<std::string> asked = Asked();
    ASSERT_EQ(asked.size(), 4U);
    EXPECT_EQ(asked[0], "RETR /clip") << "without a channel for it";
    EXPECT_EQ(asked[1], "TYPE I");
    EXPECT_THAT(asked[2], StartsWith("PORT "));
    EXPECT_EQ(asked[3], "STOR /clip");
    EXPECT_LT(PlaceOf("control send STOR /clip"), PlaceOf("data accept"));
}

TEST_F(WriteToFtpOpenTest, APassiveTransferAsksBeforeItConnects) {
    Missing();
    ftp.Passive().NoDataYet().Expect("STOR /clip").AcceptData().Say("150 go").DReceive().Say("226 done");
    Connect();
    EXPECT_EQ(Open(), 0U);
    PutAll();
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_LT(PlaceOf("control send STOR /clip"), PlaceOf("data connect"));
}

TEST_F(WriteToFtpOpenTest, AnyOpenModeButZeroAppends) {
    for (const uint32 openMode : {1U, 2U, 77U, 0xFFFFFFFFU}) {
        Missing();
        Put("APPE /clip");
        if (openMode == 1) {
            Connect(FTPMODE_NORMAL, 0);
        }
        EXPECT_EQ(Open(openMode), 0U);
        PutAll();
    }
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(WriteToFtpOpenTest, OtherModesDoNotLookForTheSize) {
    for (const FTPMODE mode : {FTPMODE_DELAYED, FTPMODE_XDCAM, static_cast<FTPMODE>(7)}) {
        Put("APPE /clip");
        if (mode == FTPMODE_DELAYED) {
            Connect(mode);
        }
        inner->m_nFtpMode = mode;
        inner->m_qwFileSize = 77;
        EXPECT_EQ(Open(1), 0U);
        EXPECT_EQ(inner->m_qwFileSize, 77U);
        PutAll();
    }
}

TEST_F(WriteToFtpOpenTest, TheRepliesOfADelayedServerAreWaitedFor) {
    Put("STOR /clip");
    Connect(FTPMODE_DELAYED);
    EXPECT_EQ(Open(), 0U);
    EXPECT_EQ(ftp.Spent(), 3 * 300) << "TYPE I, PORT, STOR";
    PutAll();
    EXPECT_EQ(ftp.Spent(), 4 * 300);
}

TEST_F(WriteToFtpOpenTest, PathsGoOutAsTheyStand) {
    ftp.Expect("RETR /a b %d\xC3\xA4").Say("550 no");
    Put("STOR /a b %d\xC3\xA4");
    Connect(FTPMODE_NORMAL, 0);
    EXPECT_EQ(Open(0, L"/a b %d\u00E4"), 0U);
    PutAll();
}

TEST(WriteToFtpExplodedTest, ADeviceGetsItsPrefixAndIsAlwaysWrittenAnew) {
    FtpScript ftp;
    CWriteToFtpEx1 sink;
    ftp.Logon("MOVIE", "anonymous");
    for (int i = 0; i < 2; ++i) {
        ftp.Active().Expect("STOR /explodedFile/EXT:/clip").Say("150 go").Dial().DReceive().Say("226 done");
    }
    ftp.Start();
    ASSERT_EQ(sink.Connect(FTPMODE_EXPLODED, ftp.Host(), L"u", L"p", ftp.Port(), 0), 0);
    for (const uint32 openMode : {0U, 1U}) {
        EXPECT_EQ(sink.OpenFile(L"clip", 0, 0, openMode, 0, 0, 0, 0, 0, nullptr), 0U);
        EXPECT_EQ(sink.CloseFile(), 0U);
    }
    ftp.Finish();
    sink.Close();
}

TEST_F(WriteToFtpOpenTest, AFileThatIsStillOpenIsEndedBeforeTheNext) {
    Missing();
    ftp.Active().Expect("STOR /clip").Say("150 go").Dial();
    Missing().DReceive().Say("226 done");
    Put("STOR /clip");
    Connect(FTPMODE_NORMAL, 0);
    EXPECT_EQ(Open(), 0U);
    EXPECT_EQ(Write("other bytes"), 11);
    EXPECT_EQ(Open(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(ftp.DataConnections().at(0).received, 11U);
    PutAll();
}

TEST_F(WriteToFtpOpenTest, OneFileAfterTheOtherCostsNoWait) {
    for (int i = 0; i < 2; ++i) {
        Missing();
        Put("STOR /clip");
    }
    Connect(FTPMODE_NORMAL, 0);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Open(), 0U);
        PutAll();
    }
    EXPECT_EQ(ftp.Spent(), 0);
}

// ---- The look for the size ----

TEST_F(WriteToFtpOpenTest, ASizeThatIsFoundCostsTheSilenceBehindTheAbort) {
    Probe("150 Opening x (100 bytes)");
    Put("APPE /clip");
    Connect(FTPMODE_NORMAL, 0);
    EXPECT_EQ(Open(1), 0U);
    EXPECT_EQ(ftp.Spent(), 15000);
    EXPECT_EQ(inner->m_qwFileSize, 100U);
    PutAll();
    EXPECT_EQ(inner->m_qwFileSize, 110U) << "goes on from the size that was found";
    EXPECT_EQ(io.GetFileSize(), 0U);
}

TEST_F(WriteToFtpOpenTest, AServerThatGoesOnTalkingIsHeardToItsEnd) {
    ftp.Expect("RETR /clip").Say("150 x (100 bytes)").Expect("ABOR").After(10000).Say("426 one");
    ftp.After(10000).Say("226 two").After(10000).Say("500 three");
    Put("STOR /clip");
    Connect(FTPMODE_NORMAL, 0);
    EXPECT_EQ(Open(), 0U);
    EXPECT_EQ(ftp.Spent(), 30000 + 15000);
    PutAll();
}

TEST_F(WriteToFtpOpenTest, AnAbortThatIsAnsweredWithTheEndOfTheSessionIsNotWaitedFor) {
    ftp.Expect("RETR /clip").Say("150 x (100 bytes)").Expect("ABOR").Say("421 good bye");
    Put("STOR /clip");
    Connect(FTPMODE_NORMAL, 0);
    EXPECT_EQ(Open(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    PutAll();
}

TEST_F(WriteToFtpOpenTest, TheSizeStandsBehindTheFirstBracketUpToABlank) {
    Connect(FTPMODE_NORMAL, 0);
    EXPECT_EQ(SizeIn("150 x (12345 bytes)"), 12345U);
    EXPECT_EQ(SizeIn("150 (1 a) (2 b)"), 1U);
    EXPECT_EQ(SizeIn("150 x (5000000000 bytes)"), 5000000000U);
    EXPECT_EQ(SizeIn("150 x ( 9 bytes)"), 0U);
    EXPECT_EQ(SizeIn("150 x (many bytes)"), 0U);
    EXPECT_EQ(SizeIn("150 x (12many bytes)"), 12U);
    EXPECT_EQ(SizeIn("150 x (-5 bytes)"), static_cast<uint64>(int64{-5}));
    EXPECT_EQ(SizeIn("150 x (" + std::string(40, '7') + " bytes)"), 0x7FFFFFFFFFFFFFFFU);
    EXPECT_EQ(SizeIn("150 x (" + std::string(29, '0') + "12 bytes)"), 1U) << "30 characters are looked at";
    EXPECT_EQ(SizeIn("150 bytes (7 x"), 7U);
}

TEST_F(WriteToFtpOpenTest, WithoutABracketTheSizeIsNothingAndTheAbortIsSent) {
    Connect(FTPMODE_NORMAL, 0);
    EXPECT_EQ(SizeIn("150 here it comes"), 0U);
    EXPECT_EQ(SizeIn("125"), 0U);
}

// The one exception that leaves the library's file path, as the string type of old threw it.
TEST_F(WriteToFtpOpenTest, ABracketWithoutABlankBehindItThrows) {
    ftp.Expect("RETR /clip").Say("150 (100)");
    Missing();
    Put("STOR /clip");
    Connect(FTPMODE_NORMAL, 0);
    inner->m_qwFileSize = 77;
    try {
        Open();
        FAIL() << "nothing was thrown";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "invalid string position");
    }
    EXPECT_EQ(inner->m_qwFileSize, 77U);
    EXPECT_EQ(io.CloseFile(), 0U) << "nothing is open";
    EXPECT_EQ(Open(), 0U) << "ABOR was not sent, and the session goes on";
    PutAll();
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(WriteToFtpOpenTest, ALookWithoutAPreliminaryReplyLeavesTheSize) {
    for (const char* const reply : {"550 no", "425 no connection", "226 (5 x)", "350 (5 x)"}) {
        ftp.Expect("RETR /clip").Say(reply);
        Put("STOR /clip");
    }
    Connect(FTPMODE_NORMAL, 0);
    for (int i = 0; i < 4; ++i) {
        inner->m_qwFileSize = 77;
        EXPECT_EQ(Open(), 0U);
        EXPECT_EQ(inner->m_qwFileSize, 77U) << i;
        PutAll();
    }
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(WriteToFtpOpenTest, ASilentServerIsWaitedForAndTheFileWrittenAllTheSame) {
    ftp.Expect("RETR /clip");
    Put("STOR /clip");
    Connect(FTPMODE_NORMAL, 0);
    EXPECT_EQ(Open(), 0U);
    EXPECT_EQ(ftp.Spent(), 15000);
    PutAll();
}

TEST_F(WriteToFtpOpenTest, ALookThatCannotBeSentEndsTheOpen) {
    ftp.Quiet();
    Connect(FTPMODE_NORMAL, 0);
    ftp.FailNext(SocketCall::Send, 10054);
    EXPECT_EQ(Open(), 0x80000709U);
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(WriteToFtpOpenTest, AnAbortThatCannotBeSentEndsTheOpenWithTheSizeFound) {
    ftp.Expect("RETR /clip").Say("150 x (100 bytes)").Quiet();
    Connect(FTPMODE_NORMAL, 0);
    ftp.FailNext(SocketCall::Send, 10054, 1);
    EXPECT_EQ(Open(), 0x80000708U);
    EXPECT_EQ(inner->m_qwFileSize, 100U);
    EXPECT_EQ(ftp.Spent(), 0);
}

// ---- The set-up ----

TEST_F(WriteToFtpOpenTest, ASetUpThatFailsIsTriedOnceMore) {
    Missing();
    ftp.Expect("TYPE I").Say("200").ExpectPort().Say("500 no");
    Put("STOR /clip");
    Connect(FTPMODE_NORMAL, 0);
    LogCapture log;
    EXPECT_EQ(Open(), 0U);
    EXPECT_EQ(ftp.Spent(), 15000) << "for the end of a transfer that never was";
    EXPECT_FALSE(log.Contains(L"create ftp datachannel failed"));
    PutAll();
}

TEST_F(WriteToFtpOpenTest, ASetUpThatFailsTwiceIsTheResult) {
    Missing();
    ftp.Expect("TYPE I").Say("200").ExpectPort().Say("500 no");
    ftp.Expect("TYPE I").Say("500").Expect("TYPE I").Say("500").Expect("REIN").Say("500");
    ftp.Expect("TYPE I").Say("500").Quiet();
    Connect(FTPMODE_NORMAL, 0);
    LogCapture log;
    EXPECT_EQ(Open(), 0x80000710U);
    EXPECT_EQ(ftp.Spent(), 15000);
    EXPECT_EQ(log.Lines().back(), Traced(L"create ftp datachannel failed\n"));
}

TEST_F(WriteToFtpOpenTest, ATransferNeedsAReplyOfClass1) {
    for (const char* const reply : {"553 not yours", "450 busy", "226 done", "350 go on"}) {
        Missing();
        ftp.Active().Expect("STOR /clip").Say(reply);
    }
    Connect(FTPMODE_NORMAL, 0);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(Open(), 0x80000705U) << i;
        EXPECT_EQ(ftp.Spent(), i == 0 ? 0 : 15000) << "the channel that is left costs the next its wait";
        ftp.Mark();
    }
    EXPECT_THAT(ftp.Story(), Not(Contains("data accept")));
}

TEST_F(WriteToFtpOpenTest, AfterARefusalCloseFileWaitsForAReplyThatIsAnothersAndWritesFail) {
    Missing();
    ftp.Active().Expect("STOR /clip").Say("553 not yours").After(20000).Say("226 late");
    Connect(FTPMODE_NORMAL, 0);
    EXPECT_EQ(Open(), 0x80000705U);
    EXPECT_EQ(Write("some bytes"), -1);
    EXPECT_EQ(io.CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 20000);
}

TEST_F(WriteToFtpOpenTest, SilenceAfterTheCommandCostsFifteenSeconds) {
    Missing();
    ftp.Active().Expect("STOR /clip");
    Missing();
    ftp.Passive().Expect("STOR /clip");
    Connect(FTPMODE_NORMAL, 0);
    EXPECT_EQ(Open(), 0x80000705U);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Mark();
    io.SetPASVMode(1);
    EXPECT_EQ(Open(), 0x80000705U);
    EXPECT_EQ(ftp.Spent(), 30000) << "one of them for the first channel";
}

TEST_F(WriteToFtpOpenTest, ACommandThatCannotBeSentEndsTheOpen) {
    Missing();
    ftp.Active().Quiet();
    Connect(FTPMODE_NORMAL, 0);
    ftp.FailNext(SocketCall::Send, 10054, 3);
    EXPECT_EQ(Open(), 0x80000708U);
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(WriteToFtpOpenTest, WithoutASocketForDataTheOpenIsAllRightAndTheWritesFail) {
    Missing();
    ftp.Passive().Expect("STOR /clip").After(60000).Say("425 nobody came");
    Connect();
    ftp.FailNext(SocketCall::Open, 10024);
    EXPECT_EQ(Open(), 0U);
    EXPECT_EQ(ftp.Spent(), 0) << "the reply is not read";
    EXPECT_EQ(Write("some bytes"), -1);
    EXPECT_EQ(io.CloseFile(), 0x80000108U) << "the server has given up";
    EXPECT_EQ(ftp.Spent(), 60000);
}

TEST_F(WriteToFtpOpenTest, ADataConnectionThatIsRefusedShowsInTheReplyAlone) {
    Missing();
    ftp.Passive().RefuseData().Expect("STOR /clip").Say("425 nobody came");
    Connect();
    EXPECT_EQ(Open(), 0x80000705U);
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(WriteToFtpOpenTest, AnAcceptThatFailsShowsInTheFirstWrite) {
    Missing();
    ftp.Active().Expect("STOR /clip").Say("150 go").Say("426 gone");
    Connect(FTPMODE_NORMAL, 0);
    ftp.FailNext(SocketCall::Accept, 10024);
    EXPECT_EQ(Open(), 0U);
    EXPECT_EQ(Write("some bytes"), -1);
    EXPECT_EQ(inner->m_DataChannel->m_nErr, kSocketNotASocket);
    EXPECT_EQ(io.CloseFile(), 0x80000108U);
}

TEST_F(WriteToFtpOpenTest, AServerWithoutPassiveTransfersIsWrittenToActively) {
    Missing();
    ftp.Expect("TYPE I").Say("200").Expect("PASV").Say("502 no").ExpectPort().Say("200");
    ftp.Expect("STOR /clip").Say("150 go").Dial().DReceive().Say("226 done");
    Connect();
    EXPECT_EQ(Open(), 0U);
    PutAll();
    EXPECT_EQ(inner->m_bPASV, 0);
}

// ---- Sessions that are none ----

TEST_F(WriteToFtpOpenTest, AfterCloseTheLookCannotBeSent) {
    ftp.Expect("QUIT").Say("221 bye").ExpectClosed();
    Connect();
    EXPECT_EQ(io.Close(), 1);
    ftp.Mark();
    EXPECT_EQ(Open(), 0x80000709U);
    inner->m_nFtpMode = FTPMODE_XDCAM;
    EXPECT_EQ(Open(), 0x80000710U);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(io.CloseFile(), 0x80000108U) << "there is a channel, and nobody to ask";
}

class WriteToFtpRefusedTest : public SessionTest<CWriteToFtpEx1> {
protected:
    WriteToFtpRefusedTest() {
        ftp.RefuseControl();
        ftp.Start();
    }
    void ConnectInVain(FTPMODE mode) {
        EXPECT_EQ(static_cast<uint32>(io.Connect(mode, ftp.Host(), L"u", L"p", ftp.Port(), 0)),
                  VXC_STATUS_FTP_CONNECT);
        ftp.Mark();
    }
};

TEST_F(WriteToFtpRefusedTest, AfterAConnectThatWasRefusedTheLookCannotBeSent) {
    ConnectInVain(FTPMODE_NORMAL);
    EXPECT_EQ(io.OpenFile(L"/clip", 0, 0, 0, 0, 0, 0, 0, 0, nullptr), 0x80000709U);
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(WriteToFtpRefusedTest, WithoutALookEachCommandIsWaitedFor) {
    ConnectInVain(FTPMODE_XDCAM);
    EXPECT_EQ(io.OpenFile(L"/clip", 0, 0, 0, 0, 0, 0, 0, 0, nullptr), 0x80000710U);
    EXPECT_EQ(ftp.Spent(), 4 * 15000 + 15000 + 4 * 15000) << "and for the end of the first channel";
}
