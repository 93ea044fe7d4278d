// What is said before each transfer.
#include "ftp/FtpSessionFixture.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class FtpDataChannelTest : public FtpSessionFixture {
protected:
    FtpDataChannelTest() { ftp.Logon("u", "p"); }

    void BeLoggedOnPassive() {
        BeLoggedOn();
        ASSERT_EQ(io->SetPASVMode(1), 1);
    }
    std::wstring PassiveHost() const { return io->m_strPasvHost.c_str(); }
    std::vector<std::string> Lines() const {
        std::vector<std::string> lines = ftp.Lines();
        lines.erase(lines.begin(), lines.begin() + 2);
        return lines;
    }
    int ReadReply() { return io->ReadStr(io->m_retmsg, 15000); }
};

} // namespace

// ---- Binary transfer ------------------------------------------------------------------------------------

TEST_F(FtpDataChannelTest, BinaryTransferIsAskedForTwice) {
    ftp.Expect("TYPE I").Say("500 what").Passive();
    BeLoggedOnPassive();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
    EXPECT_THAT(Lines(), ElementsAre("TYPE I", "TYPE I", "PASV"));
}

TEST_F(FtpDataChannelTest, AThirdTimeBehindAFreshBeginning) {
    ftp.Expect("TYPE I").Say("500").Expect("TYPE I").Say("500").Expect("REIN").Say("230").Passive();
    BeLoggedOnPassive();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpDataChannelTest, AFreshBeginningWithoutAnswerIsNoEnd) {
    ftp.Expect("TYPE I").Say("500").Expect("TYPE I").Say("500").Expect("REIN").Quiet(14900).Passive();
    BeLoggedOnPassive();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

TEST_F(FtpDataChannelTest, BinaryTransferThatIsRefusedThreeTimesEndsIt) {
    for (const char* command : {"TYPE I", "TYPE I", "REIN", "TYPE I"}) {
        ftp.Expect(command).Say("502 no");
    }
    BeLoggedOnPassive();
    EXPECT_EQ(io->CreateDataChannel(), VXC_STATUS_FTP_TYPE);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
    EXPECT_NE(io->m_DataChannel, nullptr);
}

TEST_F(FtpDataChannelTest, AServerThatAnswersNothingCostsAMinute) {
    ftp.Expect("TYPE I").Expect("TYPE I").Expect("REIN").Expect("TYPE I").Quiet();
    BeLoggedOnPassive();
    EXPECT_EQ(io->CreateDataChannel(), VXC_STATUS_FTP_TYPE);
    EXPECT_EQ(ftp.Spent(), 60000);
    ftp.Finish();
}

TEST_F(FtpDataChannelTest, WithoutSessionItEndsAtOnce) {
    ftp.Start();
    EXPECT_EQ(io->CreateDataChannel(), VXC_STATUS_FTP_TYPE);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.End();
}

// ---- Passive --------------------------------------------------------------------------------------------

TEST_F(FtpDataChannelTest, APassiveServerTellsWhereItListens) {
    ftp.Passive().NoDataYet().Expect("RETR f").AcceptData().Say("150").DSend("data").DFin();
    BeLoggedOnPassive();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(PassiveHost(), ftp.Host());
    EXPECT_EQ(io->m_SockSvr, nullptr);
    EXPECT_EQ(io->ConnectDataChannel(), 1);
    EXPECT_EQ(io->SendCommand(L"RETR f"), 1);
    EXPECT_EQ(ReadReply(), 1);
    char data[8] = {};
    EXPECT_EQ(io->m_DataChannel->Receive(data, 8, 0), 4);
    EXPECT_STREQ(data, "data");
    EXPECT_EQ(io->m_DataChannel->Receive(data, 8, 0), 0);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpDataChannelTest, ASessionTurnsActiveForGoodWherePassiveIsRefused) {
    ftp.Expect("TYPE I").Say("200").Expect("PASV").Say("502 no").ExpectPort().Say("200");
    ftp.Say("226").Active();
    BeLoggedOnPassive();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(io->m_bPASV, 0);
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpDataChannelTest, AnotherClassOrNoAnswerIsARefusalToo) {
    for (const char* reply : {"150 x", "350 x", "421 x", "x"}) {
        ftp.Expect("TYPE I").Say("200").Expect("PASV").Say(reply).ExpectPort().Say("200").Say("226");
    }
    ftp.Expect("TYPE I").Say("200").Expect("PASV").Quiet(14900).ExpectPort().Say("200");
    BeLoggedOnPassive();
    for (int i = 0; i < 4; ++i) {
        io->m_bPASV = 1;
        EXPECT_EQ(io->CreateDataChannel(), 0u) << i;
        EXPECT_EQ(io->m_bPASV, 0) << i;
        EXPECT_EQ(ftp.Spent(), 0) << i;
    }
    io->m_bPASV = 1;
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(io->m_bPASV, 0);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

TEST_F(FtpDataChannelTest, AReplyThatTellsNoPlaceLeavesTheOldOne) {
    ftp.Passive("227 (192,0,2,7,4,5)");
    const char* const replies[] = {
        "227 =1,2,3,4,5,6", "227 (1,2,3,4,5,6", "227 1,2,3,4,5,6)", "227 ) (1,2,3,4,5,6)",
        "227 (1,2)",        "227 (12)",         "227 ()",           "200"};
    for (const char* reply : replies) {
        ftp.Say("226").Passive(reply);
    }
    ftp.Say("226").Passive("227 (9,8,7,6,5,4) (1,1,1,1,1,1)");
    BeLoggedOnPassive();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    for (const char* reply : replies) {
        EXPECT_EQ(io->CreateDataChannel(), 0u) << reply;
        EXPECT_EQ(PassiveHost(), L"192.0.2.7") << reply;
        EXPECT_EQ(io->m_nPasvPort, 4 * 256 + 5) << reply;
    }
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(PassiveHost(), L"9.8.7.6");
    EXPECT_EQ(io->m_nPasvPort, 5 * 256 + 4);
    EXPECT_EQ(io->m_bPASV, 1);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpDataChannelTest, AServerThatListensAtTheAddressOfZerosIsCalledThere) {
    ftp.Passive("227 (0,0,0,0,4,5)");
    BeLoggedOnPassive();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(PassiveHost(), L"0.0.0.0");
    const int before = ftp.Count(Verb::Connect);
    ftp.FailNext(SocketCall::Connect, 10049);
    EXPECT_EQ(io->ConnectDataChannel(), 1);
    EXPECT_EQ(ftp.Count(Verb::Connect), before + 1);
    EXPECT_EQ(io->m_DataChannel->m_nErr, 10049);
    ftp.Finish();
}

TEST_F(FtpDataChannelTest, APassiveCommandThatCannotBeSentCountsAsAnswered) {
    ftp.Expect("TYPE I").Say("200");
    BeLoggedOnPassive();
    ftp.FailNext(SocketCall::Send, 10054, 1);
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(io->m_bPASV, 1);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpDataChannelTest, ASocketThatCannotBeMadeShowsBeforeTheTransfer) {
    ftp.Passive();
    BeLoggedOnPassive();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    ftp.FailNext(SocketCall::Open, 10024);
    EXPECT_EQ(io->ConnectDataChannel(), 0);
    ftp.Finish();
}

// ---- One transfer after another -------------------------------------------------------------------------

TEST_F(FtpDataChannelTest, TheClosingReplyIsReadBetweenClosingAndTheNextType) {
    ftp.Passive().AcceptData().DSend("x").DExpectClosed().Quiet(500).Say("226 done").Passive();
    BeLoggedOnPassive();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(io->ConnectDataChannel(), 1);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(ftp.Spent(), 500);
    ftp.Finish();
}

TEST_F(FtpDataChannelTest, AClosingReplyThatWasReadAlreadyIsWaitedForInVain) {
    ftp.Passive().AcceptData().Say("226 done").DExpectClosed().Quiet(14900).Passive();
    BeLoggedOnPassive();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(io->ConnectDataChannel(), 1);
    EXPECT_EQ(ReadReply(), 1);
    io->m_DataChannel->Close();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

TEST_F(FtpDataChannelTest, ARefusedTransferCostsTheNextOne15Seconds) {
    ftp.Passive().Expect("RETR f").Say("550 no").Quiet(14900).Passive();
    BeLoggedOnPassive();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(io->SendCommand(L"RETR f"), 1);
    EXPECT_EQ(ReadReply(), 1);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

TEST_F(FtpDataChannelTest, ANewLogonKeepsTheOldDataChannel) {
    ftp.Passive().ExpectClosed().AcceptControl().Logon("u", "p").Quiet(14900).Passive();
    BeLoggedOnPassive();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(io->Logon(), 0u);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

TEST_F(FtpDataChannelTest, TheErrorOfADataChannelOutlivesTheTransfer) {
    ftp.Passive().AcceptData().DRst().Say("226").Passive().AcceptData();
    BeLoggedOnPassive();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    CFTPSocket* const channel = io->m_DataChannel;
    EXPECT_EQ(io->ConnectDataChannel(), 1);
    char byte = 0;
    EXPECT_EQ(channel->Receive(&byte, 1, 0), -1);
    EXPECT_EQ(channel->m_nErr, kSocketReset);
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(io->ConnectDataChannel(), 1);
    EXPECT_EQ(io->m_DataChannel, channel);
    EXPECT_EQ(channel->m_nErr, kSocketReset);
    ftp.Finish();
}

TEST_F(FtpDataChannelTest, ClosingEndsAllItsSockets) {
    ftp.Active().Expect("RETR f").Say("150").Dial().DExpectClosed().Expect("QUIT").Say("221").ExpectClosed();
    BeLoggedOn();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(io->SendCommand(L"RETR f"), 1);
    EXPECT_EQ(ReadReply(), 1);
    EXPECT_EQ(io->AcceptDataChannel(), 1);
    EXPECT_EQ(io->Close(), 1);
    EXPECT_EQ(io->m_DataChannel, nullptr);
    EXPECT_EQ(io->m_SockSvr, nullptr);
    EXPECT_EQ(io->m_Ctrlsok, nullptr);
    EXPECT_EQ(OpenSocketCount(), 0);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}
