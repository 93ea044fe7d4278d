// Copies between local files and real servers.
#include "real/posix/FtpMatrix.h"

#include "frame/Status.h"
#include "ftp/FileCopyReports.h"
#include "support/Prompts.h"

#include <gmock/gmock.h>

#include <filesystem>

using namespace vxcio;
using namespace vxcio::test;
using Kind = FtpServer::Kind;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const std::vector<std::size_t> kSizes = {0, 1, 1000, 1'048'576, 3'000'001};

} // namespace

// In real time: no reply is waited for in vain, and the operations on local files have time-outs too.
class FtpFileCopyTest : public FtpMatrixTest {
protected:
    uint32 Copy(const FtpServer& server, const std::string& file) {
        local = folder.Wide(file);
        const std::wstring remote = server.WidePath(file);
        const std::wstring host = Wide(server.Host());
        m_reports.clear();
        return static_cast<uint32>(QLFileCopy(upload, local.c_str(), remote.c_str(), mode, host.c_str(),
                                              Wide(server.User()).c_str(), Wide(server.Password()).c_str(),
                                              server.Port(), &cancel, Receive, this, resume, passive));
    }
    static std::wstring Wide(const std::string& text) { return std::wstring(text.begin(), text.end()); }
    const std::vector<CopyReport>& Reports() const { return m_reports; }

    // Files that are there already.
    void CopySizes(const FtpServer& server, const std::vector<std::size_t>& sizes) {
        prompts.SetAnswers(std::vector<int>(sizes.size(), kPromptYes));
        for (const std::size_t bytes : sizes) {
            const std::string file = "Töne " + std::to_string(bytes) + ".mxf";
            server.WritePattern(file, bytes, 4);
            folder.WritePattern(file, 5000, 9);
            EXPECT_EQ(Copy(server, file), VXC_STATUS_OK) << bytes;
            const int64 size = static_cast<int64>(bytes);
            ASSERT_FALSE(Reports().empty()) << bytes;
            EXPECT_EQ(Reports().back(), (CopyReport{VXC_COPY_ENDED, kCopied, size, size}));
            EXPECT_TRUE(folder.Read(file) == server.Read(file)) << bytes;
            EXPECT_FALSE(std::filesystem::exists(folder.Path() / (file + ".qlqlql"))) << bytes;
        }
        EXPECT_EQ(prompts.Asked().size(), sizes.size());
    }

    TempFolder folder;
    Prompts prompts;
    std::wstring local;
    int upload = 0;
    FTPMODE mode = FTPMODE_NORMAL;
    int resume = 0;
    int passive = 1;
    int cancel = 0;
    int64 cancelAt = -1; // where so many bytes are done

private:
    static int Receive(int code, const wchar_t* text, int64 total, int64 done, void* context) {
        auto& self = *static_cast<FtpFileCopyTest*>(context);
        self.m_reports.push_back({code, text, total, done});
        self.cancel = done == self.cancelAt ? 1 : self.cancel;
        return 0;
    }

    std::vector<CopyReport> m_reports;
};

TEST_P(FtpFileCopyTest, FilesOfAllSizesComeWholeInPassiveTransfers) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    CopySizes(server, kSizes);
}

TEST_P(FtpFileCopyTest, FilesOfAllSizesComeWholeUnderATemporaryName) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    resume = 1;
    passive = 0; // which changes nothing
    CopySizes(server, kSizes);
}

TEST_P(FtpFileCopyTest, AFileComesWholeInAnActiveTransfer) {
    VXC_NEEDS_ACTIVE_FTP();
    const FtpServer server(GetParam(), {.address = AddressForActive()});
    VXC_NEEDS_FTP_SERVER(server);
    mode = FTPMODE_DELAYED;
    resume = 1;                     // which changes nothing
    CopySizes(server, {3'000'001}); // one: each of its replies is read 300 ms late
}

TEST_P(FtpFileCopyTest, AFileThatIsNotToBeOverwrittenStays) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.WritePattern("clip", 3'000'001, 4);
    folder.Write("clip", "what was there");
    EXPECT_EQ(Copy(server, "clip"), 1U);
    EXPECT_THAT(Reports(), IsEmpty());
    EXPECT_EQ(folder.Read("clip"), "what was there");
}

TEST_P(FtpFileCopyTest, AMissingFileIsToldAndNothingIsAsked) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    folder.Write("missing", "what was there");
    EXPECT_EQ(Copy(server, "missing"), VXC_STATUS_FTP_RETR);
    EXPECT_THAT(Reports(),
                ElementsAre(CopyReport{VXC_COPY_REFUSED,
                                       L"Open source file " + server.WidePath("missing") + L" error!"}));
    EXPECT_THAT(prompts.Asked(), IsEmpty());
    EXPECT_EQ(folder.Read("missing"), "what was there");
}

TEST_P(FtpFileCopyTest, ACancelledCopyEndsBehindItsBlock) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    constexpr int64 kDone = 2 << 20;
    constexpr int64 kSize = 30'000'001;
    server.WritePattern("clip", kSize, 4);
    cancelAt = kDone;
    resume = 1;
    EXPECT_EQ(Copy(server, "clip"), VXC_STATUS_OK);
    ASSERT_FALSE(Reports().empty());
    EXPECT_EQ(Reports().back(), (CopyReport{VXC_COPY_ENDED, kCancelled, kSize, kDone}));
    EXPECT_TRUE(folder.Read("clip.qlqlql") == ContentOf(kDone, 4));
    EXPECT_FALSE(std::filesystem::exists(folder.Path() / "clip"));
}

// Nothing is sent, but the questions and deletions reach the server.
TEST_P(FtpFileCopyTest, AnUploadIsRefusedBehindTheDeletionOfItsTarget) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    upload = 1;
    folder.Write("clip", "what is to be sent");
    server.Write("clip", "what was there");
    server.Write("clip.qlqlql", "and there");
    EXPECT_EQ(Copy(server, "clip"), 1U);
    EXPECT_EQ(server.Read("clip"), "what was there");
    prompts.SetAnswers({kPromptYes});
    EXPECT_EQ(Copy(server, "clip"), 0x80000008U);
    EXPECT_THAT(Reports(), ElementsAre(CopyReport{
                               VXC_COPY_REFUSED, L"Open dest file " + server.WidePath("clip") + L" error!"}));
    EXPECT_FALSE(server.Has("clip"));
    EXPECT_FALSE(server.Has("clip.qlqlql"));
    EXPECT_EQ(folder.Read("clip"), "what is to be sent");
}

VXC_FOR_EACH_FTP_SERVER(FtpFileCopyTest);
