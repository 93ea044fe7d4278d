// Active transfers: the client listens.
#include "ftp/FtpSessionFixture.h"

#include <string>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

class FtpDataChannelActiveTest : public FtpSessionFixture {
protected:
    FtpDataChannelActiveTest() { ftp.Logon("u", "p"); }

    std::vector<std::string> Lines() const {
        std::vector<std::string> lines = ftp.Lines();
        lines.erase(lines.begin(), lines.begin() + 2);
        return lines;
    }
    int ReadReply() { return io->ReadStr(io->m_retmsg, 15000); }
};

} // namespace

TEST_F(FtpDataChannelActiveTest, AnActiveClientTellsWhereItListens) {
    ftp.Active().Expect("RETR f").Say("150").Dial().DSend("data").DFin();
    BeLoggedOn();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    CVXCString address;
    unsigned port = 0;
    ASSERT_EQ(io->m_SockSvr->GetSockName(address, port), 1);
    ASSERT_EQ(io->m_Ctrlsok->GetSockName(address, port), 1);
    EXPECT_EQ(io->SendCommand(L"RETR f"), 1);
    EXPECT_EQ(ReadReply(), 1);
    EXPECT_EQ(io->AcceptDataChannel(), 1);
    char data[8] = {};
    EXPECT_EQ(io->m_DataChannel->Receive(data, 8, 0), 4);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
    EXPECT_EQ(ftp.Count(Verb::Open), 2); // no socket for data
}

TEST_F(FtpDataChannelActiveTest, TheAddressIsThatOfTheControlConnectionAndThePortItsTwoBytes) {
    ftp.Expect("TYPE I").Say("200").ExpectAny().Say("200");
    BeLoggedOn();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    ftp.Finish();
    CVXCString address;
    CVXCString other;
    unsigned port = 0;
    ASSERT_EQ(io->m_SockSvr->GetSockName(other, port), 1);
    unsigned controlPort = 0;
    ASSERT_EQ(io->m_Ctrlsok->GetSockName(address, controlPort), 1);
    std::string text = "PORT ";
    for (const wchar_t* at = address; *at != 0; ++at) {
        text += *at == L'.' ? ',' : static_cast<char>(*at);
    }
    text += "," + std::to_string(port >> 8) + "," + std::to_string(port & 255);
    EXPECT_THAT(Lines(), ElementsAre("TYPE I", text));
}

TEST_F(FtpDataChannelActiveTest, APortThatIsRefusedEndsIt) {
    ftp.Expect("TYPE I").Say("200").ExpectPort().Say("500 no");
    BeLoggedOn();
    EXPECT_EQ(io->CreateDataChannel(), VXC_STATUS_FTP_PORT);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpDataChannelActiveTest, AListenerThatCannotBeMadeEndsIt) {
    for (int i = 0; i < 3; ++i) {
        ftp.Expect("TYPE I").Say("200").Say("226");
    }
    BeLoggedOn();
    for (const SocketCall call : {SocketCall::Open, SocketCall::Bind, SocketCall::Listen}) {
        log.Clear();
        ftp.FailNext(call, 10048);
        EXPECT_EQ(io->CreateDataChannel(), VXC_STATUS_FTP_SOCKET);
        EXPECT_EQ(log.Count(L"create listen socket failed\n"), 1u);
    }
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpDataChannelActiveTest, AHostWithoutAddressCannotListen) {
    ftp.Expect("TYPE I").Say("200");
    BeLoggedOn();
    HostNames().ownAddress = []() -> uint32 { return 0; };
    EXPECT_EQ(io->CreateDataChannel(), VXC_STATUS_FTP_SOCKET);
    EXPECT_EQ(log.Count(L"create listen socket failed\n"), 1u);
    EXPECT_EQ(io->m_SockSvr->m_nErr, 0);
    ftp.Finish();
}

TEST_F(FtpDataChannelActiveTest, ASocketWithoutNameEndsIt) {
    ftp.Expect("TYPE I").Say("200").Say("226").Expect("TYPE I").Say("200");
    BeLoggedOn();
    ftp.FailNext(SocketCall::Name, 10022);
    EXPECT_EQ(io->CreateDataChannel(), VXC_STATUS_FTP_SOCKET);
    EXPECT_EQ(log.Count(L"m_Ctrlsok->GetSockName() failed\n"), 1u);
    EXPECT_EQ(ftp.Count(Verb::Bind), 0);
    ftp.FailNext(SocketCall::Name, 10022, 1);
    EXPECT_EQ(io->CreateDataChannel(), VXC_STATUS_FTP_SOCKET);
    EXPECT_EQ(log.Count(L"m_SockSvr->GetSockName() failed\n"), 1u);
    EXPECT_EQ(ftp.Count(Verb::Listen), 1);
    ftp.Finish();
}

TEST_F(FtpDataChannelActiveTest, TheListenerIsMadeAnewForEachTransfer) {
    ftp.Active().Say("226").Active();
    BeLoggedOn();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    const CFTPSocket* const listener = io->m_SockSvr;
    const SocketToken first = listener->m_hSocket;
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    EXPECT_EQ(io->m_SockSvr, listener);
    EXPECT_NE(listener->m_hSocket, first);
    EXPECT_EQ(ftp.Count(Verb::Close, first), 1);
    ftp.Finish();
}

TEST_F(FtpDataChannelActiveTest, AnAcceptThatFailsShowsInReceiving) {
    ftp.Active();
    BeLoggedOn();
    EXPECT_EQ(io->CreateDataChannel(), 0u);
    ftp.FailNext(SocketCall::Accept, 10004);
    EXPECT_EQ(io->AcceptDataChannel(), 1);
    char byte = 0;
    EXPECT_EQ(io->m_DataChannel->Receive(&byte, 1, 0), -1);
    EXPECT_EQ(io->m_DataChannel->m_nErr, kSocketNotASocket);
    ftp.Finish();
}
