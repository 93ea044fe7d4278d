// The FTP sinks without a server: what they refuse, how a write counts and is told, what is closed.
#include "ftp/BrowseFixture.h"
#include "ftp/WriteToFtp.h"

#include <climits>
#include <stdexcept>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr const wchar_t* kSendFailed = L" Can't send data to ftp sever , Socket Error !!!\n";
constexpr SocketToken kData = 7;
constexpr SocketToken kListener = 8;

int g_result;
bool g_throws;
std::vector<uint32> g_sizes;
const void* g_bytes;
std::vector<SocketToken> g_closed;

int SendAsTold(SocketToken socket, const void* data, uint32 bytes) {
    EXPECT_EQ(socket, kData);
    g_sizes.push_back(bytes);
    g_bytes = data;
    if (g_throws) {
        throw std::runtime_error("a send that throws");
    }
    return g_result;
}

// A sink whose data connection is made up.
class WriteToFtpTest : public ::testing::Test {
protected:
    WriteToFtpTest() {
        Sockets().send = SendAsTold;
        Sockets().lastError = [] { return kSocketReset; };
        Sockets().shutdown = [](SocketToken) { return 0; };
        Sockets().close = [](SocketToken socket) {
            g_closed.push_back(socket);
            return 0;
        };
        g_result = 0;
        g_throws = false;
        g_sizes.clear();
        inner->m_DataChannel = Made(kData);
        inner->m_strInfo = L"before";
        inner->m_qwFileSize = 100;
        g_closed.clear();
    }
    ~WriteToFtpTest() override {
        CInnerSoftDataIO::DropSocket(inner->m_DataChannel);
        CInnerSoftDataIO::DropSocket(inner->m_SockSvr);
    }

    static CFTPSocket* Made(SocketToken token) {
        auto* const socket = new CFTPSocket;
        socket->m_hSocket = token;
        return socket;
    }
    // A write of so many bytes, of which so many go out.
    int Write(uint32 bytes, int result) {
        g_result = result;
        return sink.Write(buffer, bytes, &wentOut);
    }

    const PlatformScope platform;
    CWriteToFtpEx1 sink;
    const InnerLook inner{sink};
    LogCapture log;
    uint32 wentOut = 9;
    uint8 buffer[100] = {};
};

} // namespace

// ---- What it answers without a session ----

TEST_F(WriteToFtpTest, WithoutAConnectNothingIsOpened) {
    EXPECT_EQ(sink.OpenFile(L"/clip", 0, 0, 0, 0, 0, 0, 0, 0, nullptr), 0x80000008U);
    EXPECT_EQ(sink.OpenFile(nullptr, 0, 0, 1, 0, 0, 0, 0, 0, nullptr), 0x80000008U);
    EXPECT_THAT(g_sizes, IsEmpty());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(WriteToFtpTest, AServersFileHasNoSizeNoPlacesAndIsNotReadBack) {
    EXPECT_EQ(sink.GetFileSize(), 0U);
    EXPECT_EQ(sink.Seek(5, 1), 0);
    EXPECT_EQ(sink.Seek(-5, 3), 0);
    buffer[0] = 0xEE;
    EXPECT_EQ(sink.ReadBack(buffer, 100), 0);
    EXPECT_EQ(sink.ReadBack(nullptr, 0xFFFFFFFF), 0);
    EXPECT_EQ(buffer[0], 0xEE);
    EXPECT_EQ(Write(10, 10), 10);
    EXPECT_EQ(inner->m_qwFileSize, 110U);
    EXPECT_EQ(sink.GetFileSize(), 0U);
}

TEST_F(WriteToFtpTest, ItGivesNoDigest) {
    uint8* digest = nullptr;
    int length = 5;
    EXPECT_EQ(sink.GetMD5_check(1, digest, length), 0);
    EXPECT_EQ(digest, nullptr);
    EXPECT_EQ(length, 5);
}

// ---- Write ----

TEST_F(WriteToFtpTest, AWriteIsOneSendOfTheCallersBytes) {
    EXPECT_EQ(Write(100, 100), 100);
    EXPECT_THAT(g_sizes, ElementsAre(100U));
    EXPECT_EQ(g_bytes, buffer);
    EXPECT_EQ(wentOut, 1U);
    EXPECT_EQ(inner->m_qwFileSize, 200U);
    EXPECT_EQ(inner.Info(), L"Send Data to sever!");
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(WriteToFtpTest, NobodyNeedsToAskWhetherItWentOut) {
    g_result = 3;
    EXPECT_EQ(sink.Write(buffer, 3, nullptr), 3);
}

TEST_F(WriteToFtpTest, NothingIsWrittenOfNothing) {
    EXPECT_EQ(sink.Write(nullptr, 5, &wentOut), 0);
    EXPECT_EQ(sink.Write(buffer, 0, &wentOut), 0);
    CInnerSoftDataIO::DropSocket(inner->m_DataChannel);
    EXPECT_EQ(sink.Write(buffer, 5, &wentOut), 0);
    EXPECT_EQ(wentOut, 9U);
    EXPECT_THAT(g_sizes, IsEmpty());
    EXPECT_EQ(inner.Info(), L"before");
    EXPECT_EQ(inner->m_qwFileSize, 100U);
}

TEST_F(WriteToFtpTest, AShortSendIsNotRepeatedAndIsToldAsAFailure) {
    EXPECT_EQ(Write(10, 4), 4);
    EXPECT_THAT(g_sizes, ElementsAre(10U));
    EXPECT_EQ(wentOut, 1U);
    EXPECT_EQ(inner->m_qwFileSize, 104U);
    EXPECT_EQ(inner.Info(), kSendFailed);
    EXPECT_EQ(inner->m_DataChannel->m_nErr, kSocketReset);
    EXPECT_THAT(log.Lines(), ElementsAre(Traced(L"send() err: WSAGetLastError() = 10054 \n"),
                                         LogLine{INFOTYPE_ERROR, L"VXCSoftCodecIO",
                                                 L"m_nErr = 10054 CFTPSocket::Send line:509"},
                                         Traced(kSendFailed)));
}

TEST_F(WriteToFtpTest, AFailureTakesOneOffAndChangesNothingElse) {
    EXPECT_EQ(Write(10, -1), -1);
    EXPECT_EQ(wentOut, 1U);
    EXPECT_EQ(inner->m_qwFileSize, 99U);
    EXPECT_EQ(inner.Info(), kSendFailed);
    EXPECT_EQ(log.Count(kSendFailed), 1U);
    EXPECT_TRUE(g_closed.empty());
    EXPECT_EQ(Write(10, 10), 10) << "the next may go";
    EXPECT_EQ(inner->m_qwFileSize, 109U);
    EXPECT_EQ(inner.Info(), L"Send Data to sever!");
}

TEST_F(WriteToFtpTest, BelowNothingTheCountWraps) {
    inner->m_qwFileSize = 0;
    EXPECT_EQ(Write(10, -1), -1);
    EXPECT_EQ(inner->m_qwFileSize, ~uint64{0});
    EXPECT_EQ(Write(10, 10), 10);
    EXPECT_EQ(inner->m_qwFileSize, 9U);
}

TEST_F(WriteToFtpTest, ASizeOfAllOnesIsNotTakenForAFailure) {
    EXPECT_EQ(Write(0xFFFFFFFF, -1), -1);
    EXPECT_EQ(inner.Info(), kSendFailed);
}

TEST_F(WriteToFtpTest, MoreThanASendTakesGoesOutInPart) {
    EXPECT_EQ(Write(0x80000000U, INT_MAX), INT_MAX);
    EXPECT_EQ(wentOut, 1U);
    EXPECT_EQ(inner->m_qwFileSize, 100U + INT_MAX);
    EXPECT_EQ(inner.Info(), kSendFailed);
    EXPECT_EQ(Write(INT_MAX, INT_MAX), INT_MAX);
    EXPECT_EQ(inner.Info(), L"Send Data to sever!");
    EXPECT_EQ(inner->m_qwFileSize, 100U + 2 * uint64{INT_MAX});
}

TEST_F(WriteToFtpTest, ASendThatThrowsIsNoWriteAndLeavesCountAndText) {
    g_throws = true;
    EXPECT_EQ(Write(10, 10), 0);
    EXPECT_EQ(wentOut, 1U);
    EXPECT_EQ(inner->m_qwFileSize, 100U);
    EXPECT_EQ(inner.Info(), L"before");
    EXPECT_THAT(log.Lines(), ElementsAre(Traced(L"WriteToFtp(287): Send Data exception!\n")));
}

// ---- CloseFile ----

TEST_F(WriteToFtpTest, WithoutADataConnectionOnlyTheListenerIsClosed) {
    CInnerSoftDataIO::DropSocket(inner->m_DataChannel);
    inner->m_SockSvr = Made(kListener);
    g_closed.clear();
    inner->m_nReplyClass = 5;
    EXPECT_EQ(sink.CloseFile(), 0U);
    EXPECT_EQ(inner->m_SockSvr, nullptr);
    EXPECT_THAT(g_closed, ElementsAre(kListener, kListener)) << "by Close, and once more by the end";
    EXPECT_EQ(sink.CloseFile(), 0U);
}

// The loop for the reply has no other end than a reply.
TEST_F(WriteToFtpTest, WithoutAControlConnectionTheReplyIsNotWaitedFor) {
    inner->m_SockSvr = Made(kListener);
    inner->m_nReplyClass = 2;
    g_closed.clear();
    EXPECT_EQ(sink.CloseFile(), 0x80000108U);
    EXPECT_EQ(inner->m_DataChannel, nullptr);
    EXPECT_EQ(inner->m_SockSvr, nullptr);
    EXPECT_THAT(g_closed, ElementsAre(kData, kData, kListener, kListener));
    EXPECT_EQ(sink.CloseFile(), 0U);
}

// ---- The facade ----

TEST(WriteToFtpFacadeTest, ItForwardsAndHasNothingOfItsOwn) {
    CWriteToFtp sink;
    uint8 byte = 0xEE;
    uint32 wentOut = 9;
    EXPECT_EQ(sink.OpenFile(L"/clip", 0, 0, 0, nullptr), 0x80000008U);
    EXPECT_EQ(sink.Write(&byte, 1, &wentOut), 0);
    EXPECT_EQ(wentOut, 9U);
    EXPECT_EQ(sink.ReadBack(&byte, 1), 0);
    EXPECT_EQ(sink.Seek(5, 1), 0);
    EXPECT_EQ(sink.GetFileSize(), 0U);
    EXPECT_EQ(sink.CloseFile(), 0U);
    EXPECT_EQ(sink.CloseFile(), 0U);
    EXPECT_EQ(byte, 0xEE);
}

class WriteToFtpFacadeSessionTest : public SessionTest<CWriteToFtp> {};

TEST_F(WriteToFtpFacadeSessionTest, ASessionIsTheFacadesAndNotThatOfTheSinkWithin) {
    ftp.Logon("u", "p").Expect("DELE /clip").Say("250 gone").Quiet();
    Connect();
    EXPECT_EQ(io.OpenFile(L"/clip", 0, 0, 0, nullptr), 0x80000008U);
    EXPECT_EQ(io.DeleteFile1(L"/clip"), 1);
    EXPECT_EQ(io.CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
}
