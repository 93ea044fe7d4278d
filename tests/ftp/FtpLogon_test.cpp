// Connecting: the greeting, and the walk from USER to the answer that ends it.
#include "ftp/FtpSessionFixture.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class FtpLogonTest : public FtpSessionFixture {};

} // namespace

TEST_F(FtpLogonTest, UserAndPasswordAreAccepted) {
    ftp.Logon("u", "p");
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_OK);
    EXPECT_EQ(Info(), L"Connect sever success!");
    EXPECT_EQ(LastReply(), L"230 logged on");
    EXPECT_EQ(io->m_nReplyClass, 2);
    EXPECT_EQ(io->m_bFtp, 1);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
    EXPECT_THAT(log.Lines(), ElementsAre(Message(ConnectLine()), Message(L"220 ready\n"),
                                         Message(L"USER u\r\n"), Message(L"331 password\n"),
                                         Message(L"PASS *****\r\n"), Message(L"230 logged on\n")));
}

TEST_F(FtpLogonTest, ThePasswordIsNeverLogged) {
    ftp.Logon("u", "secret-7");
    ftp.Start();
    EXPECT_EQ(io->Connect(FTPMODE_NORMAL, ftp.Host(), L"u", L"secret-7", ftp.Port(), 0), 0);
    ftp.Finish();
    EXPECT_FALSE(log.Contains(L"secret"));
}

TEST_F(FtpLogonTest, ConnectRemembersWhatItWasGiven) {
    ftp.Logon("u", "p");
    EXPECT_EQ(io->m_bPASV, 1); // until it connects
    EXPECT_EQ(io->m_bFtp, 0);
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_OK);
    EXPECT_EQ(io->m_bPASV, 0);
    EXPECT_STREQ(io->m_strHost, ftp.Host());
    EXPECT_EQ(io->m_nPort, ftp.Port());
    EXPECT_STREQ(io->m_strUser, L"u");
    EXPECT_STREQ(io->m_strPassword, L"p");
    EXPECT_EQ(io->m_nFtpMode, FTPMODE_NORMAL);
    ftp.Finish();
}

TEST_F(FtpLogonTest, NamesOutsideAsciiAreSentAsUtf8) {
    ftp.Logon("m\xC3\xBCller", "\xE2\x82\xAC");
    ftp.Start();
    EXPECT_EQ(io->Connect(FTPMODE_NORMAL, ftp.Host(), L"m\x00FCller", L"\x20AC", ftp.Port(), 0), 0);
    ftp.Finish();
}

TEST_F(FtpLogonTest, NoUserAndNoPasswordAreEmptyOnes) {
    ftp.Say("220").Expect("USER ").Say("331").Expect("PASS ").Say("230");
    ftp.Start();
    EXPECT_EQ(io->Connect(FTPMODE_NORMAL, ftp.Host(), nullptr, nullptr, ftp.Port(), 0), 0);
    ftp.Finish();
}

// ---- The greeting ---------------------------------------------------------------------------------------

TEST_F(FtpLogonTest, AGreetingOfManyLinesIsReadToItsEnd) {
    ftp.Say("220-welcome").Say("220-x").Say("221 y").Say("  220 z").Say("220").Say("").Say("220x").Say("22");
    ftp.Say("2200 no").Say("220 end").Expect("USER u").Say("230");
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_OK);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpLogonTest, ALineInPiecesIsJoinedAndAStrayOneIsTheNextReply) {
    ftp.Split({"22", "0 hi\r", "\nSTRAY\r\n"}, 60).Expect("USER u");
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_FTP_USER);
    EXPECT_EQ(io->m_nReplyClass, 'S' - '0');
    EXPECT_EQ(ftp.Spent(), 200);
    EXPECT_TRUE(log.Contains(L"220 hi\n"));
    ftp.Finish();
}

TEST_F(FtpLogonTest, AGreetingOfAnotherClassEndsIt) {
    for (const char* greeting : {"554 no", "120 later", "331 already", "hello"}) {
        ftp.Say(greeting).ExpectClosed().AcceptControl();
    }
    ftp.Say("220").Expect("USER u").Say("230");
    ftp.Start();
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(Connect(), VXC_STATUS_FTP_REPLY) << i;
        EXPECT_EQ(Info(), L"Can't connect to sever!");
    }
    EXPECT_EQ(Connect(), VXC_STATUS_OK);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpLogonTest, ASilentServerCosts15Seconds) {
    ftp.Quiet();
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_FTP_REPLY);
    EXPECT_EQ(ftp.Spent(), 15000);
    EXPECT_EQ(Info(), L"Can't connect to sever!");
    ftp.Finish();
}

TEST_F(FtpLogonTest, AServerThatEndsAtOnceCostsTheSame) {
    ftp.Fin();
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_FTP_REPLY);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

TEST_F(FtpLogonTest, AServerThatResetsTheConnectionCostsTheSame) {
    ftp.Rst();
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_FTP_REPLY);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

TEST_F(FtpLogonTest, ABusyServerEndsItAtOnce) {
    ftp.Say("421 busy");
    io->m_nReplyClass = 7;
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_FTP_REPLY);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(io->m_nReplyClass, 7);
    EXPECT_THAT(log.Lines(),
                ElementsAre(Message(ConnectLine()), Message(L"421 Connection timed out - closing! \n")));
    ftp.Finish();
}

TEST_F(FtpLogonTest, AnEmptyLineIsAReplyOfTheFormerClass) {
    ftp.Say("").ExpectClosed().AcceptControl().Say("").Expect("USER u").Say("").Quiet();
    ftp.Start();
    EXPECT_EQ(Connect(), VXC_STATUS_FTP_REPLY); // there was none
    io->m_nReplyClass = 2;
    EXPECT_EQ(Connect(), VXC_STATUS_OK);
    ftp.Finish();
}

// ---- USER and PASS --------------------------------------------------------------------------------------

TEST_F(FtpLogonTest, AUserMayNeedNoPassword) {
    ftp.Say("220").Expect("USER u").Say("230 in");
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_OK);
    ftp.Finish();
}

TEST_F(FtpLogonTest, AUserIsRefused) {
    for (const char* reply : {"530 no", "120 wait", "500 what", "000 x"}) {
        ftp.Say("220").Expect("USER u").Say(reply).ExpectClosed().AcceptControl();
    }
    ftp.Start();
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(Connect(), VXC_STATUS_FTP_USER) << i;
        EXPECT_EQ(Info(), L"Can't connect to sever!");
    }
    io->Close();
    EXPECT_EQ(ftp.Lines().size(), 5u); // and QUIT
    ftp.End();
}

TEST_F(FtpLogonTest, LogonRepliesHaveAMinute) {
    ftp.Say("220").Expect("USER u").Quiet();
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_FTP_REPLY);
    EXPECT_EQ(ftp.Spent(), 60000);
    ftp.Finish();
}

TEST_F(FtpLogonTest, APasswordReplyHasAMinuteToo) {
    ftp.Say("220").Expect("USER u").Say("331").Expect("PASS p").After(59900).Say("230");
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_OK);
    EXPECT_EQ(ftp.Spent(), 59900);
    ftp.Finish();
}

TEST_F(FtpLogonTest, APasswordIsRefused) {
    ftp.Say("220").Expect("USER u").Say("331").Expect("PASS p").Say("530 no");
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_FTP_PASSWORD);
    EXPECT_EQ(Info(), L"Can't connect to sever!");
    EXPECT_EQ(LastReply(), L"530 no");
    ftp.Finish();
}

TEST_F(FtpLogonTest, APasswordMayBeSuperfluous) {
    ftp.Say("220").Expect("USER u").Say("331").Expect("PASS p").Say("202 no need");
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_OK);
    ftp.Finish();
}

TEST_F(FtpLogonTest, AServerThatClosesAfterThePasswordHasNotReplied) {
    ftp.Say("220").Expect("USER u").Say("331").Expect("PASS p").Say("421 enough");
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_FTP_REPLY);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpLogonTest, ACommandThatCannotBeSentEndsIt) {
    for (const int pass : {0, 1}) {
        ftp.Say("220");
        if (pass == 1) {
            ftp.Expect("USER u").Say("331");
        }
        ftp.ExpectClosed().AcceptControl();
    }
    ftp.Start();
    for (const int pass : {0, 1}) {
        ftp.FailNext(SocketCall::Send, 10054, pass);
        EXPECT_EQ(Connect(), VXC_STATUS_FTP_SEND) << pass;
        EXPECT_EQ(io->m_Ctrlsok->m_nErr, 10054);
        EXPECT_EQ(Info(), L"Can't connect to sever!");
    }
    io->Close();
    ftp.End();
}

// ---- Where no connection comes about --------------------------------------------------------------------

TEST_F(FtpLogonTest, ARefusedConnectionIsTriedOnceAndQuittingItTakes15Seconds) {
    ftp.RefuseControl();
    EXPECT_EQ(StartAndConnect(), VXC_STATUS_FTP_CONNECT);
    EXPECT_EQ(Info(), L"Can't connect to sever!");
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(ftp.Count(Verb::Connect), 1);
    EXPECT_EQ(io->m_Ctrlsok->m_nErr, 10061);
    EXPECT_EQ(log.Count(L"Unable connect to server!\n"), 1u);
    EXPECT_EQ(io->Logon(), VXC_STATUS_FTP_CONNECT);
    EXPECT_EQ(Info(), L"Unable connect to server!");
    ftp.Mark();
    EXPECT_EQ(io->Close(), 1);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
    EXPECT_THAT(ftp.Lines(), IsEmpty());
}

TEST_F(FtpLogonTest, AnUnknownHostIsNoErrorOfTheSocket) {
    ftp.Start();
    HostNames().firstAddress = [](const char*, uint32*) { return false; };
    EXPECT_EQ(Connect(), VXC_STATUS_FTP_CONNECT);
    EXPECT_EQ(io->m_Ctrlsok->m_nErr, 0);
    EXPECT_EQ(ftp.Count(Verb::Connect), 0);
    EXPECT_TRUE(log.Contains(L"Unable connect to server!\n"));
    ftp.End();
}

TEST_F(FtpLogonTest, ASocketThatCannotBeMadeEndsIt) {
    ftp.Start();
    ftp.FailNext(SocketCall::Open, 10024);
    EXPECT_EQ(Connect(), VXC_STATUS_FTP_SOCKET);
    EXPECT_EQ(Info(), L"Can't connect to sever!");
    EXPECT_NE(io->m_Ctrlsok, nullptr);
    ftp.FailNext(SocketCall::Startup, 10091);
    EXPECT_EQ(io->Logon(), VXC_STATUS_FTP_SOCKET);
    EXPECT_EQ(Info(), L"Unable to create socket!");
    ftp.End();
}

// ---- Connecting again, and the modes --------------------------------------------------------------------

TEST_F(FtpLogonTest, ConnectingAgainDropsTheOldConnectionWithoutAWord) {
    ftp.Logon("u", "p").ExpectClosed().AcceptControl().Logon("u", "p");
    ftp.Start();
    EXPECT_EQ(Connect(), VXC_STATUS_OK);
    EXPECT_EQ(Connect(), VXC_STATUS_OK);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpLogonTest, ADeviceHasItsOwnUserAndTakesTime) {
    ftp.Logon("MOVIE", "anonymous");
    EXPECT_EQ(StartAndConnect(FTPMODE_EXPLODED), VXC_STATUS_OK);
    EXPECT_EQ(ftp.Spent(), 3 * 300);
    EXPECT_STREQ(io->m_strUser, L"MOVIE");
    EXPECT_STREQ(io->m_strPassword, L"anonymous");
    EXPECT_EQ(io->m_nReplyDelay, 300u);
    ftp.Finish();
}

TEST_F(FtpLogonTest, ADelayedServerTakesTimeAndKeepsTheUserAndSoDoesTheNext) {
    ftp.Logon("u", "p").ExpectClosed().AcceptControl().Logon("u", "p");
    EXPECT_EQ(StartAndConnect(FTPMODE_DELAYED), VXC_STATUS_OK);
    EXPECT_EQ(ftp.Spent(), 3 * 300);
    EXPECT_EQ(io->SetPASVMode(1), 0);
    ftp.Mark();
    EXPECT_EQ(Connect(FTPMODE_NORMAL), VXC_STATUS_OK);
    EXPECT_EQ(ftp.Spent(), 3 * 300); // the delay stays
    EXPECT_EQ(io->SetPASVMode(1), 1);
    ftp.Finish();
}

TEST_F(FtpLogonTest, TheDelayComesOnTopOfTheTimeOut) {
    ftp.Quiet();
    EXPECT_EQ(StartAndConnect(FTPMODE_DELAYED), VXC_STATUS_FTP_REPLY);
    EXPECT_EQ(ftp.Spent(), 300 + 15000);
    ftp.Finish();
}

TEST_F(FtpLogonTest, OtherModesAreActiveWithoutDelay) {
    for (int i = 0; i < 3; ++i) {
        ftp.Logon("u", "p").ExpectClosed().AcceptControl();
    }
    ftp.Start();
    for (const int mode : {7, 9, -1}) {
        EXPECT_EQ(Connect(static_cast<FTPMODE>(mode)), VXC_STATUS_OK);
        EXPECT_EQ(io->SetPASVMode(1), 0) << mode;
        EXPECT_EQ(io->m_bPASV, 0);
    }
    EXPECT_EQ(ftp.Spent(), 0);
    io->Close();
    ftp.End();
}
