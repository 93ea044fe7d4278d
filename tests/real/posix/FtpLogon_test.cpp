// Sessions with real FTP servers: how they begin and end.
#include "real/posix/FtpMatrix.h"

#include "frame/Status.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;
using Kind = FtpServer::Kind;

namespace {

// Knows the socket that was connected last.
class ConnectWatch {
public:
    ConnectWatch() : m_former(Sockets().connect) {
        s_connect = m_former;
        Sockets().connect = Connect;
    }
    ~ConnectWatch() { Sockets().connect = m_former; }
    ConnectWatch(const ConnectWatch&) = delete;
    ConnectWatch& operator=(const ConnectWatch&) = delete;
    static SocketToken Last() { return s_last; }

private:
    static int Connect(SocketToken socket, uint32 address, uint16 port) {
        s_last = socket;
        return s_connect(socket, address, port);
    }

    static inline decltype(SocketTable::connect) s_connect = nullptr;
    static inline SocketToken s_last = kNoSocket;
    const decltype(SocketTable::connect) m_former;
};

} // namespace

class FtpLogonTest : public FtpMatrixTest {};

TEST_P(FtpLogonTest, BeginsAndEndsASession) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    const ShortWaits waits;
    LogCapture log;
    CQLSoftDataSinkEx1* const sink = CQLSoftDataSinkEx1::Construct(IOWORKMODE_FTP);
    EXPECT_EQ(LogOn(*sink, server), VXC_STATUS_OK) << server.Log();
    // The password is in no line, and of a greeting of several lines each was read.
    EXPECT_TRUE(log.Contains(L"PASS *****"));
    EXPECT_FALSE(log.Contains(L"Kappe"));
    EXPECT_EQ(log.Count(L"220-") > 0, GetParam() == Kind::PureFtpd);
    EXPECT_EQ(sink->Close(), 1);
    EXPECT_TRUE(log.Contains(L"221"));
    delete sink;
    EXPECT_EQ(waits.Slept(), 0u);
}

TEST_P(FtpLogonTest, ARefusedPasswordIsTold) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    const FtpSink sink(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FTP));
    EXPECT_EQ(static_cast<uint32>(sink->Connect(FTPMODE_NORMAL, L"127.0.0.1",
                                                server.User() == "anonymous" ? L"anonymous" : L"norvex",
                                                L"wrong", server.Port(), 0)),
              VXC_STATUS_FTP_PASSWORD);
    // The same object may try again.
    EXPECT_EQ(LogOn(*sink, server), VXC_STATUS_OK);
}

TEST_P(FtpLogonTest, AServerThatIsGoneIsTold) {
    FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Kill();
    const FtpSink sink(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FTP));
    EXPECT_EQ(LogOn(*sink, server), VXC_STATUS_FTP_CONNECT);
}

// The system has taken the connection, so only the missing greeting tells.
TEST_P(FtpLogonTest, AServerThatStandsStillIsTold) {
    FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Stop();
    const FtpSink sink(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FTP));
    {
        const ShortWaits waits(50);
        EXPECT_EQ(LogOn(*sink, server), VXC_STATUS_FTP_REPLY);
        EXPECT_EQ(waits.Slept(), 15000u);
    }
    server.Continue();
}

// Pure-FTPd counts in minutes, so it is not among them.
class FtpIdleTest : public FtpMatrixTest {};

TEST_P(FtpIdleTest, AQuietSessionThatTheServerEndedIsBegunAgainForAListing) {
    const FtpServer server(GetParam(), {.idleSeconds = 1});
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", "good morning");
    const ConnectWatch watch;
    const FtpSession session = SessionOf(server);
    ASSERT_NE(Sockets().lookReadable(ConnectWatch::Last(), 20'000), 0); // the server's good-bye
    LogCapture log;
    ASSERT_EQ(session->SetFindPath(server.WidePath("").c_str()), 1);
    EXPECT_EQ(log.Count(L"421 Connection timed out - closing! \n"), 1u);
    EXPECT_EQ(log.Count(L"PASS *****"), 1u);
    EXPECT_EQ(Entries(*session).count(L"clip"), 1u);
}

VXC_FOR_EACH_FTP_SERVER(FtpLogonTest);
INSTANTIATE_TEST_SUITE_P(Each, FtpIdleTest, testing::Values(Kind::Vsftpd, Kind::ProFtpd, Kind::PyFtpdLib),
                         [](const auto& kind) { return FtpServer::NameOf(kind.param); });
