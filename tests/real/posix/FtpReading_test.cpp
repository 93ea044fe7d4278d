// The FTP source against real servers.
#include "real/posix/FtpMatrix.h"

#include "frame/Status.h"
#include "support/Digests.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;
using Kind = FtpServer::Kind;

namespace {

constexpr std::size_t kSize = 30'000'001; // far more than the system keeps on the way

Digest DigestOfText(const std::string& content) {
    return DigestOf(std::vector<uint8>(content.begin(), content.end()));
}

} // namespace

class FtpReadingTest : public FtpMatrixTest {
protected:
    void ReadAllSizes(const FtpServer& server, FTPMODE mode) {
        const ShortWaits waits;
        for (const std::size_t bytes : {0u, 1u, 65'537u, 3'000'001u}) {
            const std::string name = "Töne " + std::to_string(bytes) + ".mxf";
            server.WritePattern(name, bytes, 4);
            const FtpSource source = SourceOf(server, mode);
            ASSERT_EQ(OpenIn(*source, server, name), VXC_STATUS_OK) << bytes;
            EXPECT_EQ(source->GetFileSize(), bytes);
            source->EnableMD5_Check(0);
            source->BeginMD5_Check(0);
            EXPECT_TRUE(ReadOn(*source, 100'000) == server.Read(name)) << bytes;
            EXPECT_EQ(DigestOf(*source), DigestOfText(server.Read(name))) << bytes;
            EXPECT_EQ(source->CloseFile(), VXC_STATUS_OK);
        }
        EXPECT_EQ(waits.Slept(), 0u);
    }
};

TEST_P(FtpReadingTest, FilesOfAllSizesComeWholeInPassiveTransfers) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    ReadAllSizes(server, FTPMODE_NORMAL);
}

TEST_P(FtpReadingTest, FilesOfAllSizesComeWholeInActiveTransfers) {
    VXC_NEEDS_ACTIVE_FTP();
    const FtpServer server(GetParam(), {.address = AddressForActive()});
    VXC_NEEDS_FTP_SERVER(server);
    ReadAllSizes(server, kNoProbe);
}

TEST_P(FtpReadingTest, ReadsAtEveryPlaceAreRight) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    const std::string content = ContentOf(kSize, 8);
    server.Write("clip.mxf", content);
    const FtpSource source = SourceOf(server);
    ASSERT_EQ(OpenIn(*source, server, "clip.mxf"), VXC_STATUS_OK);
    const ShortWaits waits;
    // A little on, far on, back, to the last byte, behind the end, and to the start.
    for (const std::size_t place : {10u, 1'000'000u, 20'000'000u, 29'000'000u, 5'000'000u, 30'000'000u, 0u}) {
        EXPECT_TRUE(ReadFrom(*source, static_cast<int64>(place), 70'000) == content.substr(place, 70'000))
            << place;
    }
    EXPECT_EQ(source->Seek(-1, 2), static_cast<int64>(kSize) - 1);
    EXPECT_EQ(ReadOn(*source), content.substr(kSize - 1));
    EXPECT_EQ(source->Seek(-12'000'000, 3), static_cast<int64>(kSize) - 12'000'000);
    EXPECT_TRUE(ReadOn(*source) == content.substr(kSize - 12'000'000));
    EXPECT_EQ(waits.Slept(), 0u);
}

TEST_P(FtpReadingTest, AFileOfMoreThan4GiBIsReadAtItsMarks) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    const SparseFile sparse = server.WriteSparse("large.mxf", (5ull << 30) + 7);
    const FtpSource source = SourceOf(server);
    ASSERT_EQ(OpenIn(*source, server, "large.mxf"), VXC_STATUS_OK);
    EXPECT_EQ(source->GetFileSize(), sparse.Size());
    const ShortWaits waits;
    sparse.ExpectMarks([&](uint64 position, uint8* data, uint32 bytes) {
        const int64 place = static_cast<int64>(position);
        return source->Seek(place, 1) == place ? source->Read(data, bytes) : -1;
    });
    EXPECT_EQ(waits.Slept(), 0u);
}

TEST_P(FtpReadingTest, ReadAheadGivesTheSameBytes) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    const std::string content = ContentOf(8'000'001, 8);
    server.Write("clip.mxf", content);
    const FtpSource source = SourceOf(server);
    ASSERT_EQ(OpenIn(*source, server, "clip.mxf"), VXC_STATUS_OK);
    const ShortWaits waits;
    // Before the thread begins to read: what it has read by then would be read again.
    source->EnableMD5_Check(0);
    source->BeginMD5_Check(0);
    source->EnablePreRead(1 << 20, 1 << 16);
    EXPECT_TRUE(ReadOn(*source, 40'009) == content);
    EXPECT_EQ(DigestOf(*source), DigestOfText(content));
    source->DisablePreRead();
    EXPECT_EQ(source->CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(waits.Slept(), 0u);
}

// To catch up, the digest begins a transfer of its own, for which the session waits for the reply of the one
// that it has closed itself.
TEST_P(FtpReadingTest, TheDigestIsThatOfTheFileWhateverIsReadOfIt) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    const std::string content = ContentOf(8'000'001, 8);
    server.Write("clip.mxf", content);
    const FtpSource source = SourceOf(server);
    ASSERT_EQ(OpenIn(*source, server, "clip.mxf"), VXC_STATUS_OK);
    const ShortWaits waits;
    source->EnableMD5_Check(0);
    source->BeginMD5_Check(0);
    EXPECT_EQ(ReadFrom(*source, 0, 1000), content.substr(0, 1000));
    EXPECT_EQ(ReadFrom(*source, 6'000'000, 1000), content.substr(6'000'000, 1000));
    EXPECT_TRUE(ReadOn(*source) == content.substr(6'001'000));
    EXPECT_EQ(DigestOf(*source), DigestOfText(content));
    EXPECT_EQ(waits.Slept(), 15000u);
}

TEST_P(FtpReadingTest, AMissingFileIsToldAndTheNextOneWaitsForAReplyInVain) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", "good morning");
    const FtpSource source = SourceOf(server);
    EXPECT_EQ(OpenIn(*source, server, "missing"), VXC_STATUS_FTP_RETR);
    const ShortWaits waits;
    EXPECT_EQ(OpenIn(*source, server, "clip"), VXC_STATUS_OK);
    EXPECT_EQ(waits.Slept(), 15000u);
    // Where the server took back its offer before our connection stood, that error stays with the data
    // channel and ends the reads of this session. Another one is sound in any case.
    const FtpSource other = SourceOf(server);
    ASSERT_EQ(OpenIn(*other, server, "clip"), VXC_STATUS_OK);
    EXPECT_EQ(ReadOn(*other), "good morning");
}

TEST_P(FtpReadingTest, AClosedFileCanBeOpenedAgainAfterAWaitForAReplyInVain) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", "good morning");
    const FtpSource source = SourceOf(server);
    const ShortWaits waits;
    EXPECT_EQ(OpenIn(*source, server, "clip"), VXC_STATUS_OK);
    EXPECT_EQ(ReadOn(*source), "good morning");
    EXPECT_EQ(source->CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(waits.Slept(), 0u);
    EXPECT_EQ(OpenIn(*source, server, "clip"), VXC_STATUS_OK);
    EXPECT_EQ(waits.Slept(), 15000u);
    EXPECT_EQ(ReadOn(*source), "good morning");
}

TEST_P(FtpReadingTest, AFileThatIsClosedInTheMiddleWaitsOnlyForTheServersWord) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    const SparseFile sparse = server.WriteSparse("large.mxf", 1ull << 30);
    const FtpSource source = SourceOf(server);
    ASSERT_EQ(OpenIn(*source, server, "large.mxf"), VXC_STATUS_OK);
    EXPECT_EQ(ReadFrom(*source, 5000, 1000), std::string(1000, 0));
    const ShortWaits waits;
    EXPECT_EQ(source->CloseFile(), VXC_STATUS_OK);
    // Pure-FTPd says neither 226 nor 426 then.
    EXPECT_EQ(waits.Slept(), GetParam() == Kind::PureFtpd ? 2000u : 0u);
}

// No server forgets it with TYPE, PASV or SIZE.
TEST_P(FtpReadingTest, TheProbeForSeekingIsLeftForTheNextTransfer) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    const std::string content = ContentOf(5000, 8);
    server.Write("clip", content);
    const FtpSource source = SourceOf(server);
    const ShortWaits waits;
    // Two of them want to be told of binary transfers first, which any transfer does.
    const bool atOnce = GetParam() == Kind::Vsftpd || GetParam() == Kind::PureFtpd;
    EXPECT_EQ(source->CanSeek(), atOnce ? 1 : 0);
    if (!atOnce) {
        ASSERT_EQ(OpenIn(*source, server, "clip"), VXC_STATUS_OK);
        EXPECT_TRUE(ReadOn(*source) == content);
        source->CloseFile();
        EXPECT_EQ(source->CanSeek(), 1);
    }
    ASSERT_EQ(OpenIn(*source, server, "clip"), VXC_STATUS_OK);
    EXPECT_EQ(source->GetFileSize(), 5000u);
    EXPECT_TRUE(ReadOn(*source) == content.substr(100));
}

TEST_P(FtpReadingTest, AFileIsReadBehindAListingOfTheSameSession) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", "good morning");
    const FtpSource source = SourceOf(server);
    ASSERT_EQ(source->SetPASVMode(1), 1);
    const ShortWaits waits;
    ASSERT_EQ(source->SetFindPath(server.WidePath("").c_str()), 1);
    EXPECT_EQ(Entries(*source).size(), 1u);
    // The listing's closing reply is taken by the transfer, so that each command meets its own again.
    ASSERT_EQ(OpenIn(*source, server, "clip"), VXC_STATUS_OK);
    EXPECT_EQ(ReadOn(*source), "good morning");
    EXPECT_EQ(source->CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(source->DeleteFile1(server.WidePath("missing").c_str()), 0);
    EXPECT_EQ(source->DeleteFile1(server.WidePath("clip").c_str()), 1);
    EXPECT_EQ(waits.Slept(), 0u);
}

VXC_FOR_EACH_FTP_SERVER(FtpReadingTest);
