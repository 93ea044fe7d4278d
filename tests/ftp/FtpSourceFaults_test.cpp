// What becomes of an FTP source whose data does not come.
#include "FtpSourceFixture.h"

#include "filehandle/HandOver.h"
#include "support/Bounded.h"

#include <cstring>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::EndsWith;

namespace {

constexpr uint32 kTimeOut = 1000;

class FtpSourceFaultsTest : public FtpSourceFixture {
protected:
    FtpSourceFaultsTest() { settings.Set(L"FtpTimeOut", L"1000"); }
    ~FtpSourceFaultsTest() override {
        source.reset();
        EXPECT_EQ(OpenSocketCount() - m_before, m_lost);
    }

    // A read that stands until its time-out has passed, on a thread of its own.
    int ReadInVain(uint8* buffer, uint32 bytes) {
        int got = -1;
        std::thread reader([&] { got = source->Read(buffer, bytes); });
        EXPECT_TRUE(ftp.WaitUntilReceiverWaits());
        EXPECT_TRUE(ftp.Clock().WaitForSleepers(1));
        EXPECT_EQ(ftp.Clock().Advance(kTimeOut - 1), 0);
        EXPECT_EQ(ftp.Clock().Advance(1), 1);
        reader.join();
        ++m_lost;
        return got;
    }
    static void AwaitThreads(int wanted) {
        const auto end = std::chrono::steady_clock::now() + kHangLimit;
        while (ThreadCount() != wanted && std::chrono::steady_clock::now() < end) {
            std::this_thread::yield();
        }
        EXPECT_EQ(ThreadCount(), wanted);
    }

    const int m_before = OpenSocketCount();
    int m_lost = 0; // sockets that stay open
};

} // namespace

// ---- Silence ------------------------------------------------------------------------------------------

TEST_F(FtpSourceFaultsTest, SilenceEndsAReadAfterItsTimeAndAllThatFollowAtOnce) {
    Transfer("100").DHold();
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    LogCapture log;
    uint8 buffer[10];
    EXPECT_EQ(ReadInVain(buffer, sizeof buffer), 0);
    EXPECT_EQ(ftp.Spent(), kTimeOut);
    EXPECT_THAT(log.Lines(), ElementsAre(Trace(L"Can't get data from ftp sever(wait 1000 ms), Time Out!!!")));
    EXPECT_EQ(Inner().m_DataChannel, nullptr);
    EXPECT_FALSE(Inspector::HasReceiver(*source));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Read(10), "");
    }
    EXPECT_EQ(source->Seek(50, kFromStart), 0);
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), kTimeOut);
    ftp.Finish(); // which saw no end of the data connection and no command
}

TEST_F(FtpSourceFaultsTest, LateBytesTouchNothingOfTheCaller) {
    Transfer("100").DSend("abc").UntilTold().DSend(std::string(100, 'X')).DHold();
    Connect();
    const int threads = ThreadCount();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    std::vector<uint8> buffer(50, '~');
    EXPECT_EQ(ReadInVain(buffer.data(), 50), 0);
    // What came in time lies there.
    EXPECT_EQ(std::string(buffer.begin(), buffer.end()), "abc" + std::string(47, '~'));
    std::fill(buffer.begin(), buffer.end(), uint8{'#'});
    ftp.GoOn();
    AwaitThreads(threads); // the thread has met the late bytes and is gone
    EXPECT_EQ(std::string(buffer.begin(), buffer.end()), std::string(50, '#'));
    EXPECT_TRUE(StuckThreadsInspector::Pinned());
    ftp.Finish();
}

// It stands in the socket for as long as the server is silent, whatever becomes of the source.
TEST_F(FtpSourceFaultsTest, ADeletedSourceLeavesTheThreadThatHangs) {
    Transfer("100").UntilTold().DSend("late").DHold();
    Connect();
    const int threads = ThreadCount();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    uint8 buffer[10];
    EXPECT_EQ(ReadInVain(buffer, sizeof buffer), 0);
    source.reset();
    EXPECT_EQ(ThreadCount(), threads + 1);
    ftp.End();
}

TEST_F(FtpSourceFaultsTest, ARequestThatIsFilledBitByBitHasItsTimeForTheWhole) {
    Transfer("100").DSend("abc").UntilTold().DSend("def").DHold();
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    uint8 buffer[10];
    int got = -1;
    std::thread reader([&] { got = source->Read(buffer, 10); });
    EXPECT_TRUE(ftp.WaitUntilReceiverWaits());
    EXPECT_TRUE(ftp.Clock().WaitForSleepers(1));
    EXPECT_EQ(ftp.Clock().Advance(600), 0);
    ftp.GoOn();
    EXPECT_TRUE(ftp.WaitUntilReceiverWaits());
    EXPECT_EQ(ftp.Clock().Advance(400), 1);
    reader.join();
    ++m_lost;
    EXPECT_EQ(got, 0);
    EXPECT_EQ(ftp.Spent(), 1000);
    ftp.Finish();
}

TEST_F(FtpSourceFaultsTest, DataInTimeEndsTheWait) {
    Transfer("100").DSend("abc").UntilTold().DSend("def");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    std::string got;
    std::thread reader([&] { got = Read(6); });
    EXPECT_TRUE(ftp.WaitUntilReceiverWaits());
    EXPECT_TRUE(ftp.Clock().WaitForSleepers(1));
    EXPECT_EQ(ftp.Clock().Advance(999), 0);
    ftp.GoOn();
    reader.join();
    EXPECT_EQ(got, "abcdef");
    ftp.Finish();
}

TEST_F(FtpSourceFaultsTest, AMoveOnThroughSilenceEndsWhereTheDataEnded) {
    Transfer("100").DHold();
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    int64 reached = -1;
    std::thread reader([&] { reached = source->Seek(5000, kFromStart); });
    EXPECT_TRUE(ftp.WaitUntilReceiverWaits());
    EXPECT_TRUE(ftp.Clock().WaitForSleepers(1));
    ftp.Clock().Advance(kTimeOut);
    reader.join();
    ++m_lost;
    EXPECT_EQ(reached, 0);
    EXPECT_EQ(ftp.Spent(), kTimeOut);
    ftp.Finish();
}

TEST_F(FtpSourceFaultsTest, AReadWithoutATimeOutOutlastsAnySilence) {
    settings.Set(L"FtpTimeOut", L"0xFFFFFFFF");
    Transfer("100").UntilTold().DSend("at last");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    std::string got;
    std::thread reader([&] { got = Read(7); });
    EXPECT_TRUE(ftp.WaitUntilReceiverWaits());
    EXPECT_EQ(ftp.Clock().Advance(uint64{0x100000000} * 1000), 0); // nobody waits for a time
    EXPECT_EQ(ftp.Clock().Sleepers(), 0);
    ftp.GoOn();
    reader.join();
    EXPECT_EQ(got, "at last");
    ftp.Finish();
}

// ---- Errors -------------------------------------------------------------------------------------------

TEST_F(FtpSourceFaultsTest, AResetDropsWhatCameInThisReadAndEndsTheTransfer) {
    Transfer("100").DSend("abc").UntilTold().DRst();
    Connect();
    const int threads = ThreadCount();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    LogCapture log;
    std::string got = "none";
    std::thread reader([&] { got = Read(10); });
    EXPECT_TRUE(ftp.WaitUntilReceiverWaits());
    ftp.GoOn();
    reader.join();
    ++m_lost;
    EXPECT_EQ(got, "");
    EXPECT_EQ(InfoText(), L"Can't get data from ftp sever, Socket Error !!!");
    EXPECT_THAT(log.Lines(), ElementsAre(Trace(L"CFTPSocket:: recv() err: WSAGetLastError() = 10054 \n"),
                                         LogLine{INFOTYPE_ERROR, kModuleName,
                                                 L"m_nErr = 10054 CFTPSocket::Receive line:494"},
                                         Trace(L"Can't get data from ftp sever, Socket Error 10054!!!"),
                                         Trace(L"Can't get data from ftp sever , Socket Error 10054 !!!")));
    EXPECT_EQ(Inner().m_DataChannel, nullptr);
    EXPECT_EQ(ThreadCount(), threads); // this one could be ended
    EXPECT_EQ(Read(10), "");
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceFaultsTest, BytesOfFormerReadsStay) {
    Transfer("100").DSend("abcdef").UntilTold().DRst();
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(3), "abc");
    EXPECT_EQ(Read(3), "def");
    ftp.GoOn();
    EXPECT_EQ(Read(3), "");
    ++m_lost;
    // Of the read that failed there is a place in the back buffer too.
    EXPECT_EQ(Inspector::BackValid(*source), 3);
    EXPECT_EQ(Inspector::Position(*source), 6U);
    ftp.Finish();
}

// The object of the data channel serves all transfers of a session, and so do its errors.
TEST_F(FtpSourceFaultsTest, AnErrorOfAFormerTransferEndsTheNextAtItsFirstRead) {
    Transfer("100").DSend("abcdef");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Inner().m_DataChannel->m_nErr = 10054;
    EXPECT_EQ(Read(3), "");
    ++m_lost;
    EXPECT_EQ(Read(3), "");
    ftp.Finish();
}

TEST_F(FtpSourceFaultsTest, ASocketThatIsToBeLeftAloneIsNotRead) {
    Transfer("100").DSend("abcdef");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Inner().m_DataChannel->m_nErr = 88;
    LogCapture log;
    EXPECT_EQ(Read(3), "");
    ++m_lost;
    EXPECT_THAT(log.Lines(),
                ElementsAre(Trace(L"ReadDataFromFtpSocket will not read socket, Socket Error 88 !!!")));
    EXPECT_EQ(Inner().m_DataChannel, nullptr);
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceFaultsTest, AThrowInTheReceiveThreadCostsTheReadAndNoMore) {
    Transfer("100").DSend("abcdef");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(2), "ab");
    LogCapture log;
    ftp.ThrowNext(SocketCall::ReceiveNow);
    EXPECT_EQ(Read(2), "");
    EXPECT_EQ(InfoText(), L"Ftp Read error!");
    EXPECT_THAT(log.Lines(), ElementsAre(Trace(L"catch()--m_DataChannel->Receive() throw error!")));
    EXPECT_EQ(Read(2), "cd");
    ftp.Finish();
}

TEST_F(FtpSourceFaultsTest, AThrowInTheWaitForDataCostsTheReadAndNoMore) {
    Transfer("100").UntilTold().DSend("abcdef");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    ftp.ThrowNext(SocketCall::WaitReadable); // there is nothing yet, so it waits
    EXPECT_EQ(Read(2), "");
    ftp.GoOn();
    EXPECT_EQ(Read(2), "ab");
    ftp.Finish();
}

// ---- The end of the data ------------------------------------------------------------------------------

TEST_F(FtpSourceFaultsTest, AnEndBeforeTheSizeIsAShortReadAndNoFault) {
    Transfer("100").DSend("abc").DFin().DExpectClosed().Say("226 done");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    LogCapture log;
    EXPECT_EQ(Read(10), "abc");
    EXPECT_EQ(InfoText(), L"recv() return 0, Transfer data from ftp sever completed!\n");
    EXPECT_THAT(log.Lines(),
                ElementsAre(Trace(L"recv() return 0, Transfer data from ftp sever cpmpleted !!!")));
    EXPECT_EQ(Read(10), "");
    EXPECT_EQ(Read(10), "");
    EXPECT_EQ(Inner().m_DataChannel->m_nErr, 0);
    EXPECT_TRUE(Inspector::HasReceiver(*source));
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceFaultsTest, AReadThatIsFilledDoesNotLookForTheEnd) {
    Transfer("3").DSend("abc").DFin();
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    LogCapture log;
    EXPECT_EQ(Read(3), "abc");
    EXPECT_TRUE(log.Lines().empty());
    ftp.Finish();
}

// ---- After a fault ------------------------------------------------------------------------------------

// Nobody read the closing reply of the transfer that died: from then on each reply is read by the command
// behind its own.
TEST_F(FtpSourceFaultsTest, OpenedAgainADeadSourceIsOneReplyLate) {
    Transfer("100")
        .DRst()
        .Say("426 failed")
        .Expect("TYPE I")
        .Say("200 first")
        .Expect("TYPE I")
        .Say("200 second");
    ftp.Expect("PASV").Listen().SayPort("227 (@)").Expect("SIZE f").Say("213 5").Expect("RETR f");
    ftp.AcceptDataOn(0).Say("150 here").DExpectClosed();
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    ftp.Settle();
    EXPECT_EQ(Read(10), "");
    ++m_lost;
    EXPECT_EQ(source->CloseFile(), 0U);
    // PASV read the reply to TYPE I, so the old port is dialled; RETR that to SIZE.
    EXPECT_EQ(Open(), VXC_STATUS_FTP_RETR);
    EXPECT_EQ(Inner().m_retmsg.c_str(), std::wstring(L"213 5"));
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 2000); // the 150, and nothing behind it
    ftp.Finish();
}

TEST_F(FtpSourceFaultsTest, AFarSeekOnADeadSourceBeginsATransferThatNobodyReads) {
    Transfer("100").DRst();
    Transfer("100000000", "5000000").DSend("abc");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    ftp.Settle();
    EXPECT_EQ(Read(10), "");
    ++m_lost;
    EXPECT_EQ(source->Seek(5000000, kFromStart), 5000000);
    EXPECT_EQ(Read(10), "");
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

// The thread that hangs wakes while the new transfer is read: each has a socket and a buffer of its own.
TEST_F(FtpSourceFaultsTest, LateBytesOfAnAbandonedTransferDoNotMixWithTheNextOne) {
    Transfer("100").Expect("TYPE I").Say("200").Expect("PASV").Listen().SayPort("227 (@)");
    ftp.Expect("SIZE f").Say("213 9").Expect("RETR f").Say("150 here").UntilTold();
    // The new connection is taken when the late bytes are out.
    ftp.DSend(std::string(100, 'X')).DExpectNothing().AcceptData().DSend("new bytes").DFin();
    Connect();
    const int threads = ThreadCount();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    std::vector<uint8> old(50, '~');
    EXPECT_EQ(ReadInVain(old.data(), 50), 0);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(ThreadCount(), threads + 2);
    std::string got;
    std::thread reader([&] { got = Read(9); });
    EXPECT_TRUE(ftp.Clock().WaitForSleepers(1));
    ftp.GoOn();
    reader.join();
    EXPECT_EQ(got, "new bytes");
    AwaitThreads(threads + 1); // the old one has met its late bytes and is gone
    EXPECT_EQ(std::string(old.begin(), old.end()), std::string(50, '~'));
    EXPECT_EQ(Read(1), "");
    EXPECT_NE(Inner().m_DataChannel, nullptr);
    EXPECT_EQ(ftp.Spent(), kTimeOut);
    ftp.Finish();
}
