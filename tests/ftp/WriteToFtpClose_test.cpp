// A file of a server that is open for writing: what goes over, and how its end is told.
#include "ftp/BrowseFixture.h"
#include "ftp/WriteToFtp.h"

#include <memory>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::Contains;
using ::testing::Not;

namespace {

constexpr const wchar_t* kSendFailed = L" Can't send data to ftp sever , Socket Error !!!\n";

// A sink with a file that is open, in an active transfer.
class WriteToFtpCloseTest : public SessionTest<CWriteToFtpEx1> {
protected:
    WriteToFtpCloseTest() {
        ftp.Logon("u", "p").Expect("RETR /clip").Say("550 no such file").Active().Expect("STOR /clip");
        ftp.Say("150 go").Dial();
    }

    void Open() {
        Connect(FTPMODE_NORMAL, 0);
        ASSERT_EQ(io.OpenFile(L"/clip", 0, 0, 0, 0, 0, 0, 0, 0, nullptr), 0U);
        ftp.Mark();
    }
    int Write(const std::string& bytes) {
        return io.Write(reinterpret_cast<const uint8*>(bytes.data()), static_cast<uint32>(bytes.size()),
                        nullptr);
    }
};

} // namespace

TEST_F(WriteToFtpCloseTest, AllBytesGoOverInOrder) {
    ftp.DReceive().Say("226 done");
    Open();
    const std::string bytes = FtpScript::Pattern(5'000'000, 3);
    std::size_t at = 0;
    for (std::size_t piece = 1; at < bytes.size(); piece = piece * 3 + 1) {
        const std::size_t size = std::min(piece, bytes.size() - at);
        ASSERT_EQ(Write(bytes.substr(at, size)), static_cast<int>(size));
        at += size;
    }
    EXPECT_EQ(inner->m_qwFileSize, bytes.size());
    EXPECT_EQ(io.CloseFile(), 0U);
    EXPECT_TRUE(ftp.Received() == bytes);
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(WriteToFtpCloseTest, AnEmptyFileIsAFile) {
    ftp.DReceive().Say("226 done");
    Open();
    EXPECT_EQ(io.CloseFile(), 0U);
    EXPECT_EQ(ftp.Received(), "");
    EXPECT_EQ(inner->m_qwFileSize, 0U);
}

TEST_F(WriteToFtpCloseTest, TheDataEndBeforeTheReplyIsReadAndTheListenerGoesLast) {
    ftp.DExpectClosed().Say("226 done");
    Open();
    EXPECT_EQ(io.CloseFile(), 0U);
    EXPECT_EQ(inner.Reply(), L"226 done");
    EXPECT_LT(PlaceOf("data close"), PlaceOf("listener close"));
    EXPECT_EQ(inner->m_DataChannel, nullptr);
    EXPECT_EQ(inner->m_SockSvr, nullptr);
}

TEST_F(WriteToFtpCloseTest, TheSecondCloseHasNothingToDo) {
    ftp.DExpectClosed().Say("451 disk full").Quiet();
    Open();
    EXPECT_EQ(io.CloseFile(), 0x80000108U);
    EXPECT_EQ(io.CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(WriteToFtpCloseTest, AReplyOfAnyOtherClassIsAWriteError) {
    ftp.DExpectClosed().Say("150 still here").Say("226 done");
    Open();
    EXPECT_EQ(io.CloseFile(), 0x80000108U) << "the first reply counts";
    EXPECT_EQ(inner.Reply(), L"150 still here");
}

TEST_F(WriteToFtpCloseTest, AReplyOfSeveralLinesIsReadToItsEnd) {
    ftp.DExpectClosed().Say("226-done").Say("451 no").Say("226 and well");
    Open();
    EXPECT_EQ(io.CloseFile(), 0U);
    EXPECT_EQ(inner.Reply(), L"226 and well");
}

TEST_F(WriteToFtpCloseTest, TheReplyIsWaitedForWithoutALimit) {
    ftp.DExpectClosed().After(40000).Say("226 done");
    Open();
    EXPECT_EQ(io.CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 40000);
}

TEST_F(WriteToFtpCloseTest, HoweverLongItTakes) {
    ftp.DExpectClosed().After(3'600'000).Say("226 done");
    Open();
    EXPECT_EQ(io.CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 3'600'000);
}

TEST_F(WriteToFtpCloseTest, TheEndOfTheSessionIsNoReply) {
    ftp.DExpectClosed().Say("421 good bye").After(500).Say("226 done");
    Open();
    EXPECT_EQ(io.CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 500);
}

TEST_F(WriteToFtpCloseTest, AfterAResetWritesFailAndTheFileIsClosedAllTheSame) {
    ftp.DRst().Say("426 gone").Expect("DELE /clip").Say("250 gone");
    Open();
    uint32 wentOut = 9;
    const uint8 bytes[10] = {};
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(io.Write(bytes, 10, &wentOut), -1) << i;
        EXPECT_EQ(wentOut, 1U);
        EXPECT_EQ(inner.Info(), kSendFailed);
        EXPECT_EQ(inner->m_DataChannel->m_nErr, kSocketReset);
    }
    EXPECT_EQ(inner->m_qwFileSize, ~uint64{1}) << "one off for each";
    EXPECT_EQ(io.CloseFile(), 0x80000108U);
    EXPECT_EQ(io.DeleteFile1(L"/clip"), 1) << "the session goes on";
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(WriteToFtpCloseTest, ASendThatThrowsLeavesTheFileOpen) {
    ftp.DReceive().Say("226 done");
    Open();
    ftp.ThrowNext(SocketCall::Send);
    EXPECT_EQ(Write("lost"), 0);
    EXPECT_EQ(Write("kept"), 4);
    EXPECT_EQ(inner->m_qwFileSize, 4U);
    EXPECT_EQ(io.CloseFile(), 0U);
    EXPECT_EQ(ftp.Received(), "kept");
}

TEST_F(WriteToFtpCloseTest, AfterTheEndNothingIsWritten) {
    ftp.DReceive().Say("226 done");
    Open();
    EXPECT_EQ(io.CloseFile(), 0U);
    uint32 wentOut = 9;
    const uint8 byte = 0;
    EXPECT_EQ(io.Write(&byte, 1, &wentOut), 0);
    EXPECT_EQ(wentOut, 9U);
}

TEST_F(WriteToFtpCloseTest, CloseEndsTheTransferAndTheSession) {
    ftp.DReceive().Say("226 done").Expect("QUIT").Say("221 bye").ExpectClosed();
    Open();
    EXPECT_EQ(Write("some bytes"), 10);
    EXPECT_EQ(io.Close(), 1);
    EXPECT_EQ(ftp.Received(), "some bytes");
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(io.CloseFile(), 0U) << "there is nothing left to close";
}

TEST_F(WriteToFtpCloseTest, TheEndOfASinkClosesNothing) {
    ftp.DHold();
    Open();
    auto sink = std::make_unique<CWriteToFtpEx1>();
    const InnerLook look(*sink);
    std::swap(look->m_DataChannel, inner->m_DataChannel);
    sink.reset();
    EXPECT_THAT(ftp.Story(), Not(Contains("data close")));
    std::swap(look->m_DataChannel, inner->m_DataChannel);
}
