// An FTP source in the modes that are made for devices, with active transfers, and behind a listing.
#include "FtpSourceFixture.h"

#include "frame/FindData.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

class FtpSourceModesTest : public FtpSourceFixture {};

// The mode has a user of its own.
class FtpSourceExplodedTest : public FtpSourceFixture {
protected:
    FtpSourceExplodedTest() : FtpSourceFixture("MOVIE", "anonymous") {}
};

constexpr int kDelay = 300; // of each reply

// An active transfer of five bytes and its end, which tells of itself in two replies.
void ActiveTransfer(FtpScript& ftp, const std::string& name) {
    ftp.Active().Expect("SIZE " + name).Say("213 5").Expect("RETR " + name).Say("150 here");
    ftp.Dial().DSend("hello").DFin().DExpectClosed().Say("150 0.001 seconds").Say("226 done");
}

} // namespace

// ---- Devices ------------------------------------------------------------------------------------------

TEST_F(FtpSourceExplodedTest, AFileOfADeviceIsNamedBehindItsPrefix) {
    ActiveTransfer(ftp, "/explodedFile/EXT:/f");
    Connect(FTPMODE_EXPLODED);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_STREQ(Inner().m_strFileName, L"/explodedFile/EXT:/f");
    EXPECT_EQ(source->GetFileSize(), 5U);
    EXPECT_EQ(Read(10), "hello");
    EXPECT_EQ(source->CloseFile(), 0U);
    ftp.Finish();
    const auto lines = ftp.Lines();
    ASSERT_GT(lines.size(), 4U);
    EXPECT_EQ(lines[0], "USER MOVIE");
    EXPECT_EQ(lines[1], "PASS anonymous");
    EXPECT_EQ(lines[2], "TYPE I");
    EXPECT_EQ(lines[3].substr(0, 5), "PORT ");
}

TEST_F(FtpSourceExplodedTest, EachReplyIsWaitedFor) {
    ActiveTransfer(ftp, "/explodedFile/EXT:/f");
    Connect(FTPMODE_EXPLODED);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(ftp.Spent(), 4 * kDelay) << "TYPE I, PORT, SIZE, RETR";
    EXPECT_EQ(Read(10), "hello");
    EXPECT_EQ(ftp.Spent(), 4 * kDelay);
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 6 * kDelay);
    ftp.Finish();
}

TEST_F(FtpSourceModesTest, ADelayedServerIsWaitedForInTheSameWayUnderItsOwnNames) {
    ActiveTransfer(ftp, "f");
    Connect(FTPMODE_DELAYED);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(ftp.Spent(), 4 * kDelay) << "TYPE I, PORT, SIZE, RETR";
    EXPECT_EQ(Read(10), "hello");
    EXPECT_EQ(ftp.Spent(), 4 * kDelay);
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 6 * kDelay);
    ftp.Finish();
}

// ---- Refusals -----------------------------------------------------------------------------------------

TEST_F(FtpSourceModesTest, WhereAnActiveTransferIsRefusedNobodyIsAwaited) {
    ftp.Active().Expect("SIZE f").Say("213 5").Expect("RETR f").Say("550 no");
    Connect(FTPMODE_XDCAM);
    EXPECT_EQ(Open(), VXC_STATUS_FTP_RETR);
    EXPECT_EQ(ftp.Count(Verb::Accept), 0);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceModesTest, WhereAnActiveTransferIsNotAnsweredNobodyIsAwaited) {
    ftp.Active().Expect("SIZE f").Say("213 5").Expect("RETR f");
    Connect(FTPMODE_XDCAM);
    EXPECT_EQ(Open(), VXC_STATUS_FTP_RETR);
    EXPECT_EQ(ftp.Count(Verb::Accept), 0);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

// A command still goes out on a connection of which the other end is closed, and silence follows.
TEST_F(FtpSourceModesTest, AServerThatLeavesInFrontOfTheTransferIsASilentOne) {
    ftp.Passive().Expect("SIZE f").Say("213 5").Fin().Expect("RETR f").AcceptData();
    Connect();
    EXPECT_EQ(Open(), VXC_STATUS_FTP_RETR);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

// ---- Behind a listing ---------------------------------------------------------------------------------

// The object of the data channel keeps its error, whatever its next connection is like.
TEST_F(FtpSourceModesTest, AListingThatIsResetCostsTheFirstReadOfTheNextFile) {
    ftp.Expect("NOOP").Say("200").Expect("CWD /x").Say("250").Passive().Expect("LIST ").AcceptData();
    ftp.Say("150 here").DRst().Say("426 broken");
    Transfer("5").DSend("hello").DFin();
    Connect();
    source->SetPASVMode(1);
    ASSERT_EQ(source->SetFindPath(L"/x"), 1);
    WIN32_FIND_DATAW record;
    EXPECT_EQ(source->FindNextFile1(&record), 0);
    EXPECT_EQ(Inner().m_DataChannel->m_nErr, 10054);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source->GetFileSize(), 5U);
    EXPECT_EQ(Read(5), "");
    EXPECT_EQ(Inner().m_DataChannel, nullptr);
    EXPECT_FALSE(Inspector::HasReceiver(*source));
    EXPECT_EQ(Read(5), "");
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
    EXPECT_THAT(Lines(), ElementsAre("NOOP", "CWD /x", "TYPE I", "PASV", "LIST ", "TYPE I", "PASV", "SIZE f",
                                     "RETR f"));
}
