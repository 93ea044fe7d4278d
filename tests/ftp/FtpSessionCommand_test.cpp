// Commands as they are sent and as they stand in the log.
#include "ftp/FtpSessionFixture.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

// Logged on; what the script goes on with stands in the test.
class FtpSessionCommandTest : public FtpSessionFixture {
protected:
    FtpSessionCommandTest() { ftp.Logon("u", "p"); }

    int Command(const wchar_t* command) {
        CVXCString text(command);
        const int result = io->FTPCommand(text);
        EXPECT_TRUE(text.IsEmpty());
        return result;
    }
};

} // namespace

TEST_F(FtpSessionCommandTest, ACommandIsLoggedWithItsEndAndEmptied) {
    ftp.Expect("CWD /%s%n").Expect("");
    BeLoggedOn();
    CVXCString command(L"CWD /%s%n");
    EXPECT_EQ(io->WriteStr(command), 1);
    EXPECT_TRUE(command.IsEmpty());
    EXPECT_EQ(io->WriteStr(command), 1);
    EXPECT_THAT(log.Lines(), ElementsAre(Message(L"CWD /%s%n\r\n"), Message(L"\r\n")));
    ftp.Finish();
}

TEST_F(FtpSessionCommandTest, WhateverBeginsLikeAPasswordIsHidden) {
    ftp.Expect("PASSx").Expect("PASS").Expect("PAS").Expect("pass y").Expect(" PASS z");
    BeLoggedOn();
    for (const wchar_t* text : {L"PASSx", L"PASS", L"PAS", L"pass y", L" PASS z"}) {
        CVXCString command(text);
        EXPECT_EQ(io->WriteStr(command), 1);
    }
    EXPECT_THAT(log.Texts(),
                ElementsAre(L"PASS *****\r\n", L"PASS *****\r\n", L"PAS\r\n", L"pass y\r\n", L" PASS z\r\n"));
    ftp.Finish();
}

TEST_F(FtpSessionCommandTest, ACommandOfAnyLengthAndBytesGoesOutAsItIs) {
    const std::string name(20'000, 'n');
    ftp.Expect("DELE " + name).ExpectRaw("DELE a\r\nRMD b\r\n").ExpectRaw("DELE \xFF\xC3\xBC\r\n");
    BeLoggedOn();
    EXPECT_EQ(io->SendCommand(L"DELE ", std::wstring(name.begin(), name.end()).c_str()), 1);
    EXPECT_EQ(io->SendCommand(L"DELE ", L"a\r\nRMD b"), 1);
    EXPECT_EQ(io->SendCommand(L"DELE ", L"\xDCFF\x00FC"), 1);
    ftp.Finish();
}

TEST_F(FtpSessionCommandTest, ACommandWithoutConnectionFails) {
    CVXCString command(L"NOOP");
    EXPECT_EQ(io->WriteStr(command), 0);
    EXPECT_TRUE(command.IsEmpty());
    EXPECT_THAT(log.Lines(), ElementsAre(Message(L"NOOP\r\n")));
    ftp.Start();
    ftp.End();
}

TEST_F(FtpSessionCommandTest, ACommandSucceedsWithAReplyOfClass2) {
    for (const char* reply : {"200 a", "299 b", "2"}) {
        ftp.Expect("TYPE I").Say(reply);
    }
    for (const char* reply : {"100 a", "350 b", "450 c", "550 d", "x", "421 e"}) {
        ftp.Expect("TYPE I").Say(reply);
    }
    BeLoggedOn();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Command(L"TYPE I"), 1) << i;
    }
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(Command(L"TYPE I"), 0) << i;
    }
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSessionCommandTest, ACommandWithoutReplyFailsThoughTheClassIs2) {
    ftp.Expect("NOOP");
    BeLoggedOn();
    EXPECT_EQ(io->m_nReplyClass, 2);
    EXPECT_EQ(Command(L"NOOP"), 0);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

TEST_F(FtpSessionCommandTest, ACommandThatCannotBeSentWaitsForALineAllTheSame) {
    BeLoggedOn();
    ftp.FailNext(SocketCall::Send, 10054);
    EXPECT_EQ(Command(L"DELE %s"), 0);
    EXPECT_EQ(ftp.Spent(), 15000);
    EXPECT_EQ(log.Lines().back(), Message(L" : error returned by FTPCommand [DELE %s]"));
    ftp.Finish();
}

TEST_F(FtpSessionCommandTest, TheLineThatIsReadThenStandsInTheLog) {
    ftp.Say("226 late");
    BeLoggedOn();
    const std::wstring name(5000, L'n');
    ftp.FailNext(SocketCall::Send, 10054);
    EXPECT_EQ(Command(name.c_str()), 0);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(log.Lines().back(), Message(L"226 late : error returned by FTPCommand [" + name + L"]"));
    ftp.Finish();
}

TEST_F(FtpSessionCommandTest, AnEmptyCommandReadsAReplyAlone) {
    ftp.Say("226 late").Say("550 no");
    BeLoggedOn();
    EXPECT_EQ(Command(L""), 1);
    EXPECT_EQ(Command(L""), 0);
    ftp.Finish();
}
