// What a caller asks for while the thread that reads ahead is at work: it waits until that rests, as the
// session and the stream have one user at a time.
#include "FtpSourceFixture.h"

#include "frame/MD5Check.h"
#include "support/Digests.h"
#include "support/FaultPlan.h"

#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::Contains;

namespace {

constexpr int kBlock = 65536;
constexpr int kLeast = 32768;

// A call on a thread of its own that stops in front of its n-th wait.
class Caller {
public:
    explicit Caller(std::function<void()> call, int nthWait = 1)
        : m_thread([this, call = std::move(call), nthWait] {
              m_plan.Add(Hold(Op::VXC_WaitForSingleObject, m_gate).Nth(nthWait).OnThisThread());
              call();
          }) {}
    ~Caller() { Join(); }
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    // Comes back when it is about to wait, and lets it.
    void LetWait() {
        EXPECT_TRUE(m_gate.WaitUntilReached());
        m_gate.Open();
    }
    void Join() {
        m_gate.Open();
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

private:
    FaultPlan m_plan;
    Gate m_gate;
    std::thread m_thread;
};

class FtpSourceBesideTest : public FtpSourceFixture {
protected:
    static std::string Content(uint64 from, uint64 bytes) { return FtpScript::Pattern(bytes, 0, from); }
    static Digest Whole(uint64 bytes) {
        const std::string content = Content(0, bytes);
        return DigestOf(std::vector<uint8>(content.begin(), content.end()));
    }
    // Its thread has filled one block and stands in the other.
    void ReadAheadUntilItStands() {
        source->EnablePreRead(kBlock, kLeast);
        EXPECT_TRUE(ftp.WaitUntilReceiverWaits());
    }
    // What it asks for must not go out before the thread rests, which the script leads to.
    void CallBesideTheThread(std::function<void()> call, int nthWait = 1) {
        const auto before = ftp.Lines();
        Caller caller(std::move(call), nthWait);
        caller.LetWait();
        EXPECT_TRUE(ftp.WaitUntilReceiverWaits());
        EXPECT_EQ(ftp.Lines(), before);
        ftp.GoOn();
        caller.Join();
    }
};

// A digest of 5000 bytes, with the caller back at 0 in a second transfer that stands behind 5000 bytes.
class FtpSourceDigestBesideTest : public FtpSourceBesideTest {
protected:
    static constexpr uint64 kReal = 20000;

    FtpScript& ScriptUntilItStands(const std::string& size) {
        Transfer(size).DSendPattern(5000).DExpectClosed().Say("426");
        return Transfer(size).DSendPattern(5000).UntilTold().DExpectNothing().DSendPattern(kReal - 5000, 0,
                                                                                           5000);
    }
    void BeBackAtTheStart(bool isStopped) {
        Connect();
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        source->EnableMD5_Check(0);
        source->BeginMD5_Check(0);
        EXPECT_EQ(Read(4900), Content(0, 4900));
        EXPECT_EQ(Read(100), Content(4900, 100));
        if (isStopped) {
            source->StopMD5_Check(0);
        }
        EXPECT_EQ(source->Seek(0, kFromStart), 0);
        source->EnablePreRead(1000, 100);
    }
    // On the way on to the digest's position the caller leaves four blocks, so that the thread is at work on
    // a fifth. One wait in front of all, two for the first read, one for each of the three behind it, and
    // the one that counts.
    Digest DigestBesideTheThread() {
        Digest digest = {};
        CallBesideTheThread([&] { digest = DigestOf(*source); }, 7);
        return digest;
    }
};

} // namespace

// ---- Transfers and commands ---------------------------------------------------------------------------

TEST_F(FtpSourceBesideTest, ANewTransferWaitsUntilTheThreadRestsAndReadsFromThere) {
    Transfer("100000000").DSendPattern(kBlock + 10).UntilTold().DExpectNothing();
    ftp.DSendPattern(2 * kBlock, 0, kBlock + 10).DExpectClosed().Say("426");
    Transfer("100000000", "50000000").DSendPattern(4 * kBlock, 0, 50000000);
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    ReadAheadUntilItStands();
    int64 reached = 0;
    CallBesideTheThread([&] { reached = source->Seek(50000000, kFromStart); });
    EXPECT_EQ(reached, 50000000);
    EXPECT_EQ(Read(1000), Content(50000000, 1000));
    EXPECT_EQ(Read(kBlock), Content(50001000, kBlock));
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceBesideTest, AProbeForSeekingWaitsUntilTheThreadRests) {
    Transfer("1000000").DSendPattern(kBlock + 10).UntilTold().DSendPattern(kBlock, 0, kBlock + 10);
    ftp.Expect("REST 100").Say("350");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    ReadAheadUntilItStands();
    int canSeek = 0;
    CallBesideTheThread([&] { canSeek = source->CanSeek(); });
    EXPECT_EQ(canSeek, 1);
    EXPECT_EQ(Inspector::StreamPosition(*source), 2U * kBlock);
    ftp.Finish();
}

TEST_F(FtpSourceBesideTest, QuestionsToADeviceWaitUntilTheThreadRests) {
    Transfer("1000000").DSendPattern(kBlock + 10).UntilTold().DSendPattern(kBlock, 0, kBlock + 10);
    ftp.Expect("STAT /clip").Say("213 none").DExpectClosed().Say("426");
    ftp.Passive().Expect("SITE DF").Say("550 no");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Inner().m_nFtpMode = FTPMODE_XDCAM;
    ReadAheadUntilItStands();
    int isTold = 0;
    CallBesideTheThread([&] {
        PLUG_VIDEO_TYPE_ type{};
        uint32 number = 0;
        isTold = source->GetXDCAMMXFInfo(L"/clip", type, number, number, number, number);
    });
    EXPECT_EQ(isTold, 1);
    EXPECT_EQ(source->GetXDCAMFreeSpace(), 0U);
    ftp.Finish();
}

TEST_F(FtpSourceBesideTest, AQuestionForSpaceWaitsUntilTheThreadRests) {
    Transfer("1000000").DSendPattern(kBlock + 10).UntilTold().DSendPattern(kBlock, 0, kBlock + 10);
    ftp.DExpectClosed().Say("426").Passive().Expect("SITE DF").Say("550 no");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    ReadAheadUntilItStands();
    uint64 space = 1;
    CallBesideTheThread([&] { space = source->GetXDCAMFreeSpace(); });
    EXPECT_EQ(space, 0U);
    ftp.Finish();
}

TEST_F(FtpSourceBesideTest, AStretchWaitsUntilTheThreadRests) {
    Transfer("1000000").DSendPattern(kBlock + 10).UntilTold().DSendPattern(kBlock, 0, kBlock + 10);
    ftp.DExpectClosed().Say("426").Passive().Expect("SITE REPF /clip 1 1").AcceptData().Say("550 no");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Inner().m_nFtpMode = FTPMODE_XDCAM;
    ReadAheadUntilItStands();
    int status = 0;
    CallBesideTheThread([&] {
        uint32 start = 1;
        uint32 end = 2;
        status = source->OpenXDCAMFtpMXF(L"/clip", start, end, nullptr);
    });
    EXPECT_EQ(static_cast<uint32>(status), VXC_STATUS_FTP_RETR);
    ftp.Finish();
}

// ---- The digest ---------------------------------------------------------------------------------------

TEST_F(FtpSourceDigestBesideTest, TheDigestWaitsForTheThreadThatItsWayOnHasSetToWork) {
    ScriptUntilItStands("20000").DExpectClosed().Say("426");
    Transfer("20000", "5000").DSendPattern(kReal - 5000, 0, 5000).DFin();
    BeBackAtTheStart(true);
    EXPECT_EQ(DigestBesideTheThread(), Whole(kReal));
    EXPECT_EQ(Inner().MD5State()->Position(), kReal);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

// What the thread reads meanwhile is fed, and the stream stands where the digest does.
TEST_F(FtpSourceDigestBesideTest, ADigestThatRunsGoesOnWhereTheThreadHasLeftIt) {
    ScriptUntilItStands("20000").DFin();
    BeBackAtTheStart(false);
    EXPECT_EQ(DigestBesideTheThread(), Whole(kReal));
    EXPECT_EQ(Inner().MD5State()->Position(), kReal);
    ftp.Finish();
}

TEST_F(FtpSourceDigestBesideTest, BehindTheSizeThatWasToldNothingIsReadForTheDigest) {
    ScriptUntilItStands("5500").DFin();
    BeBackAtTheStart(false);
    EXPECT_EQ(DigestBesideTheThread(), Whole(6000)); // the block in which the told end lies
    EXPECT_EQ(Inspector::StreamPosition(*source), 6000U);
    ftp.Finish();
}

// ---- Faults -------------------------------------------------------------------------------------------

TEST_F(FtpSourceBesideTest, ACloseWhileTheThreadStandsInAStallTakesItsTimeOutAndNoMore) {
    settings.Set(L"FtpTimeOut", L"1000");
    Transfer("1000000").DSendPattern(kBlock).DHold();
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    ReadAheadUntilItStands();
    LogCapture log;
    uint32 status = 1;
    Caller caller([&] { status = source->CloseFile(); });
    caller.LetWait();
    EXPECT_TRUE(ftp.Clock().WaitForSleepers(1));
    EXPECT_EQ(ftp.Clock().Advance(999), 0);
    EXPECT_EQ(ftp.Clock().Advance(1), 1);
    caller.Join();
    EXPECT_EQ(status, 0U);
    EXPECT_EQ(ftp.Spent(), 1000); // the closing reply is not waited for
    EXPECT_TRUE(log.Contains(L"Can't get data from ftp sever(wait 1000 ms), Time Out!!!"));
    EXPECT_FALSE(log.Contains(L"CFtpSource::CloseFile()"));
    EXPECT_EQ(source->IsPreReadMode(), 0U);
    ftp.Finish(); // which saw no end of the data connection
}

TEST_F(FtpSourceBesideTest, AResetCostsTheBlockThatIsBeingFilledAndAllBehindIt) {
    Transfer("1000000").DSendPattern(kBlock + 1000).UntilTold().DRst();
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    LogCapture log;
    ReadAheadUntilItStands();
    ftp.GoOn();
    EXPECT_EQ(Read(1000), Content(0, 1000));
    EXPECT_THAT(log.Lines(), Contains(Trace(L"Can't get data from ftp sever, Socket Error 10054!!!")));
    EXPECT_THAT(log.Lines(), Contains(Trace(L"Can't get data from ftp sever , Socket Error 10054 !!!")));
    EXPECT_THAT(log.Lines(), Contains(Trace(L"FtpReadThread : seq2 size = 0, qwPos = 65536")));
    EXPECT_THAT(log.Lines(), Contains(Trace(L"FtpReadThread : seq1 size = 65536, qwPos = 0")));
    EXPECT_EQ(Read(kBlock), Content(1000, kBlock - 1000));
    EXPECT_EQ(Read(kBlock), "");
    EXPECT_EQ(Read(1), "");
    EXPECT_EQ(Inner().m_DataChannel, nullptr);
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}
