// The buffer of a listing is filled: how many bytes count, and what is told at the end.
#include "ftp/BrowseFixture.h"

#include <cstring>
#include <deque>
#include <stdexcept>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr const wchar_t* kEnd = L" Can't get data from ftp sever , dada transfer end !\n";
constexpr const wchar_t* kReceiveFailed = L"CFTPSocket:: recv() err: WSAGetLastError() = 10054 \n";

// What the receives give, one after the other: bytes, -1, or kThrows.
constexpr int kThrows = -1000;
std::deque<int> g_results;
std::vector<uint32> g_asked;

int ReceiveNext(SocketToken socket, void* buffer, uint32 bytes) {
    EXPECT_EQ(socket, 7U);
    g_asked.push_back(bytes);
    const int result = g_results.empty() ? 0 : g_results.front();
    if (!g_results.empty()) {
        g_results.pop_front();
    }
    if (result == kThrows) {
        throw std::runtime_error("a receive that throws");
    }
    EXPECT_LE(result, static_cast<int>(bytes));
    if (result > 0) {
        std::memset(buffer, 'a' + static_cast<int>(g_asked.size()) - 1, static_cast<std::size_t>(result));
    }
    return result;
}

class FtpListingBufferTest : public ::testing::Test {
protected:
    FtpListingBufferTest() {
        Sockets().receive = ReceiveNext;
        Sockets().lastError = [] { return kSocketReset; };
        Sockets().shutdown = [](SocketToken) { return 0; };
        Sockets().close = [](SocketToken) { return 0; };
        g_results.clear();
        g_asked.clear();
        inner->m_DataChannel = new CFTPSocket;
        inner->m_DataChannel->m_hSocket = 7;
        inner->m_strInfo = L"before";
    }
    ~FtpListingBufferTest() override { CInnerSoftDataIO::DropSocket(inner->m_DataChannel); }

    int Fill(std::deque<int> results, int size = 10) {
        g_results = std::move(results);
        return inner->ReadListData(buffer, size);
    }

    const PlatformScope platform;
    CSoftDataIO io;
    const InnerLook inner{io};
    LogCapture log;
    uint8 buffer[11] = {};
};

} // namespace

TEST_F(FtpListingBufferTest, ItIsFilledPieceByPiece) {
    EXPECT_EQ(Fill({3, 5, 2, 1}), 10);
    EXPECT_STREQ(reinterpret_cast<const char*>(buffer), "aaabbbbbcc");
    EXPECT_THAT(g_asked, ElementsAre(10U, 7U, 2U));
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_EQ(inner.Info(), L"before");
}

TEST_F(FtpListingBufferTest, TheEndOfTheDataEndsIt) {
    EXPECT_EQ(Fill({3, 0, 5}), 3);
    EXPECT_THAT(log.Lines(), ElementsAre(Traced(kEnd)));
    EXPECT_EQ(inner.Info(), kEnd);
}

TEST_F(FtpListingBufferTest, AFailureCountsAsOneByteLess) {
    EXPECT_EQ(Fill({3, -1, 5}), 2);
    EXPECT_THAT(log.Texts(INFOTYPE_TRACE), ElementsAre(kReceiveFailed, kEnd));
    EXPECT_EQ(inner.Info(), kEnd);
    EXPECT_EQ(Fill({1, -1}), 0);
    EXPECT_EQ(Fill({-1}), -1);
}

TEST_F(FtpListingBufferTest, OfAReceiveThatThrowsTheOneBeforeItCounts) {
    EXPECT_EQ(Fill({3, 5, kThrows}), 5);
    EXPECT_EQ(inner.Info(), L"File error!");
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_EQ(Fill({kThrows}), 0);
}

TEST_F(FtpListingBufferTest, WithoutABufferASizeOrAChannelNothingIsReceived) {
    EXPECT_EQ(inner->ReadListData(nullptr, 10), 0);
    EXPECT_EQ(inner->ReadListData(buffer, 0), 0);
    EXPECT_EQ(inner->ReadListData(buffer, -1), 0);
    CInnerSoftDataIO::DropSocket(inner->m_DataChannel);
    EXPECT_EQ(inner->ReadListData(buffer, 10), 0);
    EXPECT_THAT(g_asked, IsEmpty());
    EXPECT_EQ(inner.Info(), L"before");
}

TEST_F(FtpListingBufferTest, AnEntryAsksForTheWholeBuffer) {
    WIN32_FIND_DATAW record;
    EXPECT_EQ(io.FindNextFile1(&record), 0);
    EXPECT_THAT(g_asked, ElementsAre(102400U));
}

// Below 0 there is no byte to look at.
TEST_F(FtpListingBufferTest, AFailureAtTheStartIsNoEntryHoweverOftenItIsAskedFor) {
    WIN32_FIND_DATAW record;
    for (int i = 0; i < 3; ++i) {
        g_results = {-1};
        EXPECT_EQ(io.FindNextFile1(&record), 0);
    }
    EXPECT_EQ(g_asked.size(), 3U);
}

TEST_F(FtpListingBufferTest, AThrowAtTheStartIsNoEntry) {
    WIN32_FIND_DATAW record;
    g_results = {kThrows};
    EXPECT_EQ(io.FindNextFile1(&record), 0);
    EXPECT_EQ(inner.Info(), L"File error!");
}
