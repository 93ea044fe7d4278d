// The FTP sink against real servers.
#include "real/posix/FtpMatrix.h"
#include "real/posix/OwnConnections.h"

#include "frame/Status.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <future>

using namespace vxcio;
using namespace vxcio::test;
using Kind = FtpServer::Kind;

namespace {

uint32 Open(CQLSoftDataSinkEx1& sink, const std::wstring& path, uint32 openMode = 0) {
    return sink.OpenFile(path.c_str(), 0, 0, openMode, 0, 0, 0, 0, 0, nullptr);
}

int Write(CQLSoftDataSinkEx1& sink, const std::string& content) {
    return sink.Write(reinterpret_cast<const uint8*>(content.data()), static_cast<uint32>(content.size()),
                      nullptr);
}

} // namespace

class FtpWritingTest : public FtpMatrixTest {
protected:
    // Transfers that need none of the sink's looks ahead are active.
    FtpServer::Setting m_active{.address = AddressForActive()};

    void SendAllSizes(const FtpServer& server, CQLSoftDataSinkEx1& sink) {
        const ShortWaits waits;
        for (const std::size_t bytes : {0u, 1u, 65'537u, 3'000'001u}) {
            const std::string name = "Töne " + std::to_string(bytes) + ".mxf";
            const std::string content = ContentOf(bytes, 4);
            EXPECT_EQ(SendFile(sink, server.WidePath(name), content), VXC_STATUS_OK) << bytes;
            EXPECT_TRUE(server.Has(name)) << bytes;
            EXPECT_TRUE(server.Read(name) == content) << bytes;
            EXPECT_EQ(sink.GetFileSize(), 0u);
        }
        EXPECT_EQ(waits.Slept(), 0u); // one after the other without a wait in between
    }
};

TEST_P(FtpWritingTest, FilesOfAllSizesArriveWholeInPassiveTransfers) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    const FtpSink sink = SinkOf(server);
    ASSERT_EQ(sink->SetPASVMode(1), 1);
    SendAllSizes(server, *sink);
}

TEST_P(FtpWritingTest, FilesOfAllSizesArriveWholeInActiveTransfers) {
    VXC_NEEDS_ACTIVE_FTP();
    const FtpServer server(GetParam(), m_active);
    VXC_NEEDS_FTP_SERVER(server);
    const FtpSink sink = SinkOf(server);
    SendAllSizes(server, *sink);
}

TEST_P(FtpWritingTest, AFileIsReplacedOrContinued) {
    VXC_NEEDS_ACTIVE_FTP();
    const FtpServer server(GetParam(), m_active);
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", "what was there before");
    const FtpSink sink = SinkOf(server, kNoProbe);
    const ShortWaits waits;
    EXPECT_EQ(SendFile(*sink, server.WidePath("clip"), "first, ", 0), VXC_STATUS_OK);
    EXPECT_EQ(SendFile(*sink, server.WidePath("clip"), "second, ", 1), VXC_STATUS_OK);
    EXPECT_EQ(SendFile(*sink, server.WidePath("clip"), "third", 2), VXC_STATUS_OK);
    EXPECT_EQ(server.Read("clip"), "first, second, third");
    EXPECT_EQ(SendFile(*sink, server.WidePath("new"), "appended to nothing", 1), VXC_STATUS_OK);
    EXPECT_EQ(server.Read("new"), "appended to nothing");
    EXPECT_EQ(waits.Slept(), 0u);
}

TEST_P(FtpWritingTest, AFileOfMoreThan4GiBIsContinued) {
    VXC_NEEDS_ACTIVE_FTP();
    const FtpServer server(GetParam(), m_active);
    VXC_NEEDS_FTP_SERVER(server);
    constexpr uint64 kSize = (5ull << 30) + 7;
    server.Write("large", "");
    std::filesystem::resize_file(server.Root() + "/large", kSize);
    const FtpSink sink = SinkOf(server, kNoProbe);
    EXPECT_EQ(SendFile(*sink, server.WidePath("large"), "the end", 1), VXC_STATUS_OK);
    EXPECT_EQ(std::filesystem::file_size(server.Root() + "/large"), kSize + 7);
}

// The size is asked for by a RETR without a data connection, which most servers refuse. This one sends its
// answer where the upload's connection is meant to be, and the upload is lost, without a sign of it.
TEST_P(FtpWritingTest, AFileThatIsThereIsReplacedInTheOrdinaryModeUnlessItsServerQueuesTransfers) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", "what was there before");
    const FtpSink sink = SinkOf(server);
    ASSERT_EQ(sink->SetPASVMode(1), 1);
    const bool queues = GetParam() == Kind::PyFtpdLib;
    const ShortWaits waits;
    EXPECT_EQ(SendFile(*sink, server.WidePath("clip"), "good morning"), VXC_STATUS_OK);
    EXPECT_EQ(server.Read("clip"), queues ? "" : "good morning");
    EXPECT_EQ(waits.Slept(), queues ? 15000u : 0u);
}

TEST_P(FtpWritingTest, ARefusedFileIsToldAndTheNextOneWaitsForAReplyInVain) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    const FtpSink sink = SinkOf(server);
    ASSERT_EQ(sink->SetPASVMode(1), 1);
    EXPECT_EQ(Open(*sink, server.WidePath("missing/clip")), VXC_STATUS_FTP_STOR);
    const ShortWaits waits;
    EXPECT_EQ(SendFile(*sink, server.WidePath("clip"), "good morning"), VXC_STATUS_OK);
    EXPECT_EQ(waits.Slept(), 15000u);
    EXPECT_EQ(server.Read("clip"), "good morning");
}

TEST_P(FtpWritingTest, AServerThatStandsStillHoldsTheWriteUntilItGoesOn) {
    FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    const FtpSink sink = SinkOf(server);
    ASSERT_EQ(sink->SetPASVMode(1), 1);
    ASSERT_EQ(Open(*sink, server.WidePath("clip")), VXC_STATUS_OK);
    ASSERT_EQ(Write(*sink, "first"), 5);
    server.Stop();
    // Far more than the system keeps for the two of them.
    const std::string content = ContentOf(24'000'000, 9);
    std::promise<pid_t> writer;
    auto writing = std::async(std::launch::async, [&] {
        writer.set_value(OwnThread());
        return Write(*sink, content);
    });
    // The system has taken all that it keeps, and the rest waits.
    EXPECT_TRUE(
        WaitUntilAtRest(writer.get_future().get(), [](const KeptBytes& kept) { return kept.toServers > 0; }));
    EXPECT_NE(writing.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    server.Continue();
    EXPECT_EQ(writing.get(), static_cast<int>(content.size()));
    EXPECT_EQ(sink->CloseFile(), VXC_STATUS_OK);
    EXPECT_TRUE(server.Read("clip") == "first" + content);
}

TEST_P(FtpWritingTest, AServerThatDiesIsToldByAShortWrite) {
    FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    LogCapture log;
    const FtpSink sink = SinkOf(server);
    ASSERT_EQ(sink->SetPASVMode(1), 1);
    ASSERT_EQ(Open(*sink, server.WidePath("clip")), VXC_STATUS_OK);
    ASSERT_EQ(Write(*sink, "first"), 5);
    server.Kill();
    // What the system has taken before it learns of the end counts as sent.
    const std::string content = ContentOf(1'000'000, 9);
    int sent = 0;
    for (int i = 0; i < 100 && (sent = Write(*sink, content)) == static_cast<int>(content.size()); ++i) {
    }
    EXPECT_LT(sent, static_cast<int>(content.size()));
    EXPECT_TRUE(log.Contains(L" Can't send data to ftp sever , Socket Error !!!\n"));
    EXPECT_EQ(Write(*sink, content), -1);
}

VXC_FOR_EACH_FTP_SERVER(FtpWritingTest);
