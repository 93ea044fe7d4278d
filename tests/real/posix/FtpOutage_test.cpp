// What is left of a transfer when the server stands still, dies, or the network between is cut.
#include "real/posix/CutNetwork.h"
#include "real/posix/FtpMatrix.h"
#include "real/posix/OwnConnections.h"

#include "frame/Status.h"
#include "support/LogCapture.h"
#include "support/SettingsScope.h"

#include <gmock/gmock.h>

#include <chrono>
#include <future>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr std::size_t kSize = 20'000'001; // far more than the system keeps on the way
constexpr uint32 kBlock = 1 << 20;

using Clock = std::chrono::steady_clock;

int64 MillisecondsSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

} // namespace

class FtpOutageTest : public FtpMatrixTest {
protected:
    const std::string m_content = ContentOf(kSize, 8);
    LogCapture m_log;

    void SetUp() override { m_settings.Set(L"FtpTimeOut", L"1000"); }

    // Reads until nothing comes any more, which must take the time-out once, and never again.
    void ExpectOneTimeOut(CSoftDataSource& source, std::size_t already) {
        const auto start = Clock::now();
        const std::string rest = ReadOn(source, kBlock);
        EXPECT_GE(MillisecondsSince(start), 1000);
        EXPECT_LT(rest.size() + already, kSize);
        EXPECT_TRUE(m_content.compare(already, rest.size(), rest) == 0);
        EXPECT_EQ(ReadOn(source, kBlock), "");
        EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
        EXPECT_EQ(m_log.Count(L"Can't get data from ftp sever(wait 1000 ms), Time Out!!!"), 1u);
    }

    void ExpectWholeFile(const FtpServer& server) {
        const FtpSource source = SourceOf(server);
        ASSERT_EQ(OpenIn(*source, server, "clip"), VXC_STATUS_OK);
        EXPECT_TRUE(ReadOn(*source) == m_content);
    }
};

TEST_P(FtpOutageTest, AServerThatStandsStillCostsTheTimeOutOnce) {
    FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", m_content);
    {
        const FtpSource source = SourceOf(server);
        ASSERT_EQ(OpenIn(*source, server, "clip"), VXC_STATUS_OK);
        EXPECT_TRUE(ReadFrom(*source, 0, kBlock) == m_content.substr(0, kBlock));
        server.Stop();
        ExpectOneTimeOut(*source, kBlock);
        server.Continue();
    }
    ExpectWholeFile(server);
}

TEST_P(FtpOutageTest, AServerThatStandsStillCostsReadAheadTheTimeOutOnce) {
    FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", m_content);
    const FtpSource source = SourceOf(server);
    ASSERT_EQ(OpenIn(*source, server, "clip"), VXC_STATUS_OK);
    source->EnablePreRead(1 << 20, 1 << 16);
    EXPECT_TRUE(ReadFrom(*source, 0, 50'000) == m_content.substr(0, 50'000));
    server.Stop();
    ExpectOneTimeOut(*source, 50'000);
    server.Continue();
}

TEST_P(FtpOutageTest, AServerThatGoesOnInTimeIsWaitedFor) {
    FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", m_content);
    m_settings.Set(L"FtpTimeOut", L"60000");
    const FtpSource source = SourceOf(server);
    ASSERT_EQ(OpenIn(*source, server, "clip"), VXC_STATUS_OK);
    server.Stop();
    std::promise<pid_t> reader;
    auto reading = std::async(std::launch::async, [&] {
        reader.set_value(OwnThread());
        return ReadOn(*source, kBlock);
    });
    // All that the server had sent is read, and more is waited for.
    EXPECT_TRUE(WaitUntilAtRest(reader.get_future().get(),
                                [](const KeptBytes& kept) { return kept.fromServers == 0; }));
    EXPECT_NE(reading.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    server.Continue();
    EXPECT_TRUE(reading.get() == m_content);
}

TEST_P(FtpOutageTest, AServerThatDiesIsTheEndOfTheData) {
    FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", m_content);
    const FtpSource source = SourceOf(server);
    ASSERT_EQ(OpenIn(*source, server, "clip"), VXC_STATUS_OK);
    EXPECT_TRUE(ReadFrom(*source, 0, kBlock) == m_content.substr(0, kBlock));
    server.Kill();
    const std::string rest = ReadOn(*source, kBlock);
    EXPECT_LT(rest.size() + kBlock, kSize);
    EXPECT_TRUE(m_content.compare(kBlock, rest.size(), rest) == 0);
    EXPECT_EQ(ReadOn(*source, kBlock), "");
    EXPECT_FALSE(m_log.Contains(L"Time Out!!!"));
    const ShortWaits waits(50);
    EXPECT_EQ(source->Seek(0, 1), 0); // nobody is there to begin anew
    EXPECT_EQ(ReadOn(*source, kBlock), "");
    EXPECT_EQ(source->CloseFile(), VXC_STATUS_OK);
}

TEST_P(FtpOutageTest, BrowsingEndsWithTheServer) {
    FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", "good morning");
    const FtpSession session = SessionOf(server);
    EXPECT_EQ(session->IsFileExist(server.WidePath("clip").c_str()), 1);
    server.Kill();
    const ShortWaits waits(50);
    EXPECT_EQ(session->IsFileExist(server.WidePath("clip").c_str()), 0);
    EXPECT_EQ(waits.Slept(), 15000u); // the end of a session looks like silence
    EXPECT_EQ(session->SetFindPath(server.WidePath("").c_str()), 0);
    EXPECT_EQ(waits.Slept(), 30000u); // and a new one is refused
    WIN32_FIND_DATAW record;
    EXPECT_EQ(session->FindNextFile1(&record), 0);
}

TEST_P(FtpOutageTest, ACutNetworkCostsTheTimeOutOnce) {
    CutNetwork network;
    if (!network.Lack().empty()) {
        GTEST_SKIP() << network.Lack();
    }
    const FtpServer server(GetParam(), {.address = network.Address(), .entry = network.Entry()});
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", m_content);
    {
        const FtpSource source = SourceOf(server);
        ASSERT_EQ(OpenIn(*source, server, "clip"), VXC_STATUS_OK);
        EXPECT_TRUE(ReadFrom(*source, 0, kBlock) == m_content.substr(0, kBlock));
        network.Cut();
        ExpectOneTimeOut(*source, kBlock);
        const ShortWaits waits(50);
        EXPECT_EQ(source->IsFileExist(server.WidePath("clip").c_str()), 0);
        EXPECT_EQ(waits.Slept(), 15000u);
        network.Mend();
    }
    ExpectWholeFile(server);
}

VXC_FOR_EACH_FTP_SERVER(FtpOutageTest);
