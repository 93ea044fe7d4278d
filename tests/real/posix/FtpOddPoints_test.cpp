// Where real servers differ, and what the library makes of it.
#include "real/posix/FtpMatrix.h"

#include "frame/Status.h"
#include "ftp/FtpSocket.h"
#include "support/LogCapture.h"
#include "text/Utf8.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;
using Kind = FtpServer::Kind;

namespace {

// A control connection without any logic.
class PlainSession {
public:
    explicit PlainSession(const FtpServer& server) {
        EXPECT_EQ(m_control.Create(), 1);
        EXPECT_EQ(m_control.Connect(FromUtf8(server.Host()).c_str(), static_cast<unsigned>(server.Port())),
                  1);
        EXPECT_EQ(Reply(), 220);
        Ask("USER " + server.User());
        EXPECT_EQ(Ask("PASS " + server.Password()), 230);
    }

    // The number of the reply, all of whose lines are read.
    int Ask(const std::string& command) {
        EXPECT_EQ(m_control.WriteString(FromUtf8(command + "\r\n").c_str()), 1);
        return Reply();
    }
    // The first line of the last reply.
    const std::string& First() const { return m_first; }

private:
    int Reply() {
        m_first = Line();
        const std::string end = m_first.substr(0, 3) + " ";
        for (std::string line = m_first; !line.empty() && !line.starts_with(end);) {
            line = Line();
        }
        return m_first.empty() ? 0 : std::stoi(m_first);
    }
    std::string Line() {
        CVXCString line;
        EXPECT_EQ(m_control.ReadString(line, 15000), 1);
        return ToUtf8(line.c_str());
    }

    CFTPSocket m_control;
    std::string m_first;
};

} // namespace

class FtpOddPointsTest : public FtpMatrixTest {
protected:
    // Of four values, in the order of the servers, the one of this test's.
    int Of(int vsftpd, int proFtpd, int pureFtpd, int pyFtpdLib) const {
        const int values[] = {vsftpd, proFtpd, pureFtpd, pyFtpdLib};
        return values[static_cast<int>(GetParam())];
    }
};

TEST_P(FtpOddPointsTest, RepliesAreAsTheyWereMeasured) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", "good morning");
    const std::string clip = server.Path("clip");
    PlainSession session(server);
    EXPECT_EQ(session.Ask("ACCT "), Of(502, 502, 202, 500));
    EXPECT_EQ(session.Ask("ABOR"), Of(225, 226, 226, 225));
    EXPECT_EQ(session.Ask("RETR " + server.Path("missing")), Of(425, 550, 550, 550));
    EXPECT_EQ(session.Ask("DELE " + server.Path("missing")), 550);
    EXPECT_EQ(session.Ask("RNFR " + clip), 350);
    EXPECT_EQ(session.Ask("RNTO " + clip), 250);
    EXPECT_EQ(session.Ask("MKD " + server.Path("folder")), 257);
    EXPECT_EQ(session.Ask("MKD " + server.Path("folder")), 550);
    EXPECT_EQ(session.Ask("RNFR " + server.Path("folder")), 350);
    EXPECT_EQ(session.Ask("RNTO " + server.Path("folder")), 250);
    EXPECT_EQ(session.Ask("STAT " + clip), 213);
    EXPECT_TRUE(session.First().starts_with("213-"));
    EXPECT_EQ(session.Ask("SITE DF"), Of(550, 500, 500, 500));
    EXPECT_EQ(session.Ask("CWD "), Of(550, 501, 250, 250));
    EXPECT_EQ(session.Ask("PORT 10,1,2,3,4,5"), Of(500, 200, 500, 501));
}

TEST_P(FtpOddPointsTest, AFileIsRefusedWithoutADataConnectionUnlessTransfersAreQueued) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", "good morning");
    PlainSession session(server);
    EXPECT_EQ(session.Ask("RETR " + server.Path("clip")), Of(425, 425, 425, 150));
    EXPECT_EQ(session.First().find('('), std::string::npos);
}

// The library listens at the address by which others know this machine, and tells the one by which it reached
// the server.
TEST_P(FtpOddPointsTest, OverLoopbackNoServerCanConnectBack) {
    VXC_NEEDS_ACTIVE_FTP();
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    const FtpSink sink = SinkOf(server, kNoProbe);
    const ShortWaits waits;
    // One of them tries at once and refuses the address, the others refuse the transfer.
    const bool atOnce = GetParam() == Kind::PyFtpdLib;
    EXPECT_EQ(SendFile(*sink, server.WidePath("clip"), "good morning"),
              atOnce ? VXC_STATUS_FTP_PORT : VXC_STATUS_FTP_STOR);
    EXPECT_EQ(waits.Slept(), atOnce ? 15000u : 0u);
}

TEST_P(FtpOddPointsTest, FromAPlaceOnTheReplyTellsTheWholeSizeTheRestOrNone) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.WritePattern("clip", 9'000'000, 2);
    const FtpSource source = SourceOf(server);
    ASSERT_EQ(OpenIn(*source, server, "clip"), VXC_STATUS_OK);
    LogCapture log;
    ASSERT_EQ(source->Seek(6'000'000, 1), 6'000'000);
    EXPECT_EQ(log.Count(L"(9000000 bytes)"), GetParam() == Kind::Vsftpd ? 1u : 0u);
    EXPECT_EQ(log.Count(L"(3000000 bytes)"), GetParam() == Kind::ProFtpd ? 1u : 0u);
    EXPECT_EQ(source->GetFileSize(), 9'000'000u); // which SIZE told
}

TEST_P(FtpOddPointsTest, ARestartOfTheSessionIsKnownToOneServerOnlyAndLogsOff) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    PlainSession session(server);
    EXPECT_EQ(session.Ask("REIN"), Of(502, 502, 500, 230));
    EXPECT_EQ(session.Ask("TYPE I"), Of(200, 200, 200, 530));
}

TEST_P(FtpOddPointsTest, AFolderWithoutANameIsTheCurrentOneForHalfOfThem) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    const FtpSession session = SessionOf(server);
    EXPECT_EQ(session->SetFindPath(L""), Of(0, 0, 1, 1));
}

// Nobody reads the closing reply of a listing, so each command takes the reply to the one before it.
TEST_P(FtpOddPointsTest, BehindAListingEachReplyIsReadOneCommandLate) {
    const FtpServer server(GetParam(), {.lingerSeconds = 1});
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", "good morning");
    const FtpSession session = SessionOf(server);
    ASSERT_EQ(session->SetFindPath(server.WidePath("").c_str()), 1);
    EXPECT_EQ(Entries(*session).size(), 1u);
    EXPECT_EQ(session->DeleteFile1(server.WidePath("missing").c_str()), 1); // the listing's 226
    EXPECT_EQ(session->DeleteFile1(server.WidePath("clip").c_str()), 0);    // the 550 of the one before
    EXPECT_EQ(session->MakeFolder(server.WidePath("folder").c_str()), 1);   // the 250 of the one before
    // Only now is the file certainly gone: that was its reply.
    EXPECT_FALSE(server.Has("clip"));
}

TEST_P(FtpOddPointsTest, BehindAListingARefusedFolderIsNotSeenAndTheOldOneIsListed) {
    const FtpServer server(GetParam(), {.lingerSeconds = 1});
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", "good morning");
    const FtpSession session = SessionOf(server);
    ASSERT_EQ(session->SetFindPath(server.WidePath("").c_str()), 1);
    const Listing first = Entries(*session);
    EXPECT_EQ(first.size(), 1u);
    ASSERT_EQ(session->SetFindPath(server.WidePath("missing").c_str()), 1);
    EXPECT_EQ(Entries(*session), first);
}

// The size is looked for at a fixed place, which a long group name fills. Pure-FTPd alone shows that of the
// session's user, here "nogroup".
TEST_P(FtpOddPointsTest, ALongGroupNameHidesSizeAndNameInTheListingOfPureFtpd) {
    const FtpServer server(GetParam(), {.owner = 65534});
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip.mxf", "good morning");
    const FtpSession session = SessionOf(server);
    ASSERT_EQ(session->SetFindPath(server.WidePath("").c_str()), 1);
    const Listing listing = Entries(*session);
    ASSERT_EQ(listing.size(), 1u);
    const auto& [name, entry] = *listing.begin();
    if (GetParam() == Kind::PureFtpd) {
        EXPECT_NE(name, L"clip.mxf");
        EXPECT_TRUE(name.ends_with(L"clip.mxf")) << ToUtf8(name);
        EXPECT_EQ(entry.size, 0u);
    } else {
        EXPECT_EQ(name, L"clip.mxf");
        EXPECT_EQ(entry.size, 12u);
    }
}

VXC_FOR_EACH_FTP_SERVER(FtpOddPointsTest);
